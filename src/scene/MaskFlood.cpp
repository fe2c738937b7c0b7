// SPDX-License-Identifier: MIT
#include "scene/MaskFlood.h"

#include <vector>

namespace pxm::maskflood {

uint8_t readValue(const MaskData& d, int x, int y) {
    if (x < 0 || y < 0 || x > d.width || y > d.height)
        return 0;
    const std::size_t offset = std::size_t(x) + std::size_t(d.height) * std::size_t(y);
    if (offset >= d.bytes)
        return 0;
    if (d.overlay && d.overlay[offset] != 0)
        return 0;
    return d.mask[offset];
}

namespace {

/// A bitmap over a grid of points.
class Bits {
public:
    explicit Bits(std::size_t count) : m_words((count + 63) / 64, 0) {}
    bool test(std::size_t i) const { return (m_words[i >> 6] >> (i & 63)) & 1u; }
    void set(std::size_t i) { m_words[i >> 6] |= uint64_t(1) << (i & 63); }
    /// Sets i and tells whether it was clear before.
    bool testAndSet(std::size_t i) {
        uint64_t& w = m_words[i >> 6];
        const uint64_t bit = uint64_t(1) << (i & 63);
        const bool wasClear = !(w & bit);
        w |= bit;
        return wasClear;
    }
    uint64_t word(std::size_t w) const { return m_words[w]; }

private:
    std::vector<uint64_t> m_words;
};

template <class Index>
void floodExactImpl(const MaskData& d, int startX, int startY, uint8_t oldValue, uint8_t newValue) {
    // Neighbours of filled points lie in [-1, width + 1] × [-1, height + 1]; a grid with a
    // border of one covers them all.
    const std::size_t gridW = std::size_t(d.width) + 3;
    const std::size_t gridH = std::size_t(d.height) + 3;
    Bits queued(gridW * gridH);
    std::vector<Index> queue;
    queue.reserve(1024);
    auto push = [&](int x, int y) {
        const std::size_t g = std::size_t(x + 1) + gridW * std::size_t(y + 1);
        if (queued.testAndSet(g))
            queue.push_back(Index(g));
    };
    push(startX, startY);
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const std::size_t g = queue[head];
        const int x = int(g % gridW) - 1;
        const int y = int(g / gridW) - 1;
        const uint8_t v = readValue(d, x, y);
        if (v != oldValue || v == newValue)
            continue;
        const std::size_t write = std::size_t(x) + std::size_t(d.width) * std::size_t(y);
        if (write < d.bytes)
            d.mask[write] = newValue;
        push(x - 1, y - 1);
        push(x - 1, y);
        push(x - 1, y + 1);
        push(x, y - 1);
        push(x, y + 1);
        push(x + 1, y - 1);
        push(x + 1, y);
        push(x + 1, y + 1);
    }
}

} // namespace

void floodExact(const MaskData& d, int x, int y, uint8_t oldValue, uint8_t newValue) {
    if (!d.mask || d.width <= 0 || d.height <= 0)
        return;
    const uint64_t points = (uint64_t(d.width) + 3) * (uint64_t(d.height) + 3);
    if (points < (uint64_t(1) << 32))
        floodExactImpl<uint32_t>(d, x, y, oldValue, newValue);
    else
        floodExactImpl<uint64_t>(d, x, y, oldValue, newValue);
}

bool floodScanline(const MaskData& d, int startX, int startY, uint8_t oldValue, uint8_t newValue) {
    const int w = d.width;
    const int h = d.height;
    if (!d.mask || w <= 0 || w != h || std::size_t(w) * std::size_t(h) > d.bytes)
        return false;
    if (startX < 0 || startY < 0 || startX >= w || startY >= h)
        return false;
    if (oldValue == newValue)
        return true; // nothing can change
    auto inRegion = [&](std::size_t i) { return d.mask[i] == oldValue && (!d.overlay || d.overlay[i] == 0); };
    const std::size_t start = std::size_t(startX) + std::size_t(w) * std::size_t(startY);
    if (!inRegion(start))
        return true;

    // Mark the region first and write only when it is known to be exact.
    Bits filled(std::size_t(w) * std::size_t(h));
    struct Seed {
        int x, y;
    };
    std::vector<Seed> stack{{startX, startY}};
    while (!stack.empty()) {
        const Seed s = stack.back();
        stack.pop_back();
        const std::size_t row = std::size_t(w) * std::size_t(s.y);
        if (filled.test(row + std::size_t(s.x)) || !inRegion(row + std::size_t(s.x)))
            continue;
        int left = s.x;
        while (left > 0 && !filled.test(row + std::size_t(left - 1)) && inRegion(row + std::size_t(left - 1)))
            --left;
        int right = s.x;
        while (right + 1 < w && !filled.test(row + std::size_t(right + 1)) &&
               inRegion(row + std::size_t(right + 1)))
            ++right;
        // The exact fill reads past the row end from the last column and past the layer
        // from the last row; only the breadth-first form reproduces that.
        if (right == w - 1 || s.y == h - 1)
            return false;
        for (int x = left; x <= right; ++x)
            filled.set(row + std::size_t(x));
        // 8-connectivity: the neighbouring rows are scanned one pixel beyond the span.
        const int from = left > 0 ? left - 1 : 0;
        const int to = right + 1 < w ? right + 1 : w - 1;
        for (int ny : {s.y - 1, s.y + 1}) {
            if (ny < 0 || ny >= h)
                continue;
            const std::size_t nrow = std::size_t(w) * std::size_t(ny);
            bool inRun = false;
            for (int x = from; x <= to; ++x) {
                const bool open = !filled.test(nrow + std::size_t(x)) && inRegion(nrow + std::size_t(x));
                if (open && !inRun)
                    stack.push_back({x, ny});
                inRun = open;
            }
        }
    }
    const std::size_t total = std::size_t(w) * std::size_t(h);
    for (std::size_t word = 0; word * 64 < total; ++word) {
        uint64_t bits = filled.word(word);
        while (bits) {
            const int bit = __builtin_ctzll(bits);
            d.mask[word * 64 + std::size_t(bit)] = newValue;
            bits &= bits - 1;
        }
    }
    return true;
}

void flood(const MaskData& d, int x, int y, uint8_t oldValue, uint8_t newValue) {
    if (!floodScanline(d, x, y, oldValue, newValue))
        floodExact(d, x, y, oldValue, newValue);
}

} // namespace pxm::maskflood
