// SPDX-License-Identifier: MIT
#include "scene/MaskFlood.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace pxm::maskflood {

uint8_t readValue(const Layer& layer, int x, int y) {
    if (!layer.mask || x < 0 || y < 0 || x >= layer.width || y >= layer.height)
        return 0;
    const std::size_t offset = std::size_t(x) + std::size_t(layer.width) * std::size_t(y);
    if (layer.overlay && layer.overlay[offset] != 0)
        return 0;
    return layer.mask[offset];
}

namespace {

/// The bytes a fill may take: those holding the old value and not erased.
template <bool HasOverlay> class OpenBytes {
public:
    OpenBytes(const uint8_t* mask, const uint8_t* overlay, uint8_t oldValue)
        : m_mask(mask), m_overlay(overlay), m_old(oldValue) {}

    bool open(std::size_t i) const { return m_mask[i] == m_old && (!HasOverlay || m_overlay[i] == 0); }

    /// The first index in [i, end) that is not open, or end.
    std::size_t runEnd(std::size_t i, std::size_t end) const {
#if defined(__SSE2__)
        const __m128i old = _mm_set1_epi8(char(m_old));
        for (; i + 16 <= end; i += 16) {
            const unsigned bits = openBits(i, old);
            if (bits != 0xFFFFu)
                return i + std::size_t(__builtin_ctz(~bits));
        }
#endif
        while (i < end && open(i))
            ++i;
        return i;
    }

    /// The first index in [i, end) that is open, or end.
    std::size_t nextOpen(std::size_t i, std::size_t end) const {
#if defined(__SSE2__)
        const __m128i old = _mm_set1_epi8(char(m_old));
        for (; i + 16 <= end; i += 16) {
            const unsigned bits = openBits(i, old);
            if (bits != 0)
                return i + std::size_t(__builtin_ctz(bits));
        }
#endif
        while (i < end && !open(i))
            ++i;
        return i;
    }

    /// For an open i: the first index, not below lo, of the open run that ends at i.
    std::size_t runStart(std::size_t i, std::size_t lo) const {
#if defined(__SSE2__)
        const __m128i old = _mm_set1_epi8(char(m_old));
        while (i >= lo + 16) {
            const unsigned bits = openBits(i - 16, old);
            if (bits != 0xFFFFu)
                return i - 16 + std::size_t(32 - __builtin_clz(~bits & 0xFFFFu));
            i -= 16;
        }
#endif
        while (i > lo && open(i - 1))
            --i;
        return i;
    }

private:
#if defined(__SSE2__)
    unsigned openBits(std::size_t i, __m128i old) const {
        __m128i eq = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(m_mask + i)), old);
        if (HasOverlay) {
            const __m128i ov = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_overlay + i));
            eq = _mm_and_si128(eq, _mm_cmpeq_epi8(ov, _mm_setzero_si128()));
        }
        return unsigned(_mm_movemask_epi8(eq));
    }
#endif
    const uint8_t* m_mask;
    const uint8_t* m_overlay;
    uint8_t m_old;
};

/// The scanline fill: each run taken is filled at once, so a byte that holds the new value
/// is closed and no pixel is taken twice; the rows above and below are then searched for open
/// runs touching the run's columns widened by one on each side (8-connectivity).
template <bool HasOverlay>
void scanlineFill(const Layer& layer, int x, int y, uint8_t oldValue, uint8_t newValue, std::vector<Run>* filled) {
    const OpenBytes<HasOverlay> bytes(layer.mask, layer.overlay, oldValue);
    const std::size_t w = std::size_t(layer.width);
    const std::size_t h = std::size_t(layer.height);
    std::vector<Run> todo;
    todo.reserve(256);
    auto take = [&](std::size_t row, std::size_t i) {
        const std::size_t rowStart = row * w;
        const std::size_t first = bytes.runStart(i, rowStart);
        const std::size_t last = bytes.runEnd(i + 1, rowStart + w) - 1;
        std::memset(layer.mask + first, newValue, last - first + 1);
        const Run run{int(row), int(first - rowStart), int(last - rowStart)};
        todo.push_back(run);
        if (filled)
            filled->push_back(run);
        return last;
    };
    // Takes every open run of the row that meets columns [from, to].
    auto scan = [&](std::size_t row, std::size_t from, std::size_t to) {
        const std::size_t rowStart = row * w;
        const std::size_t end = rowStart + std::min(to, w - 1) + 1;
        for (std::size_t i = bytes.nextOpen(rowStart + from, end); i < end; i = bytes.nextOpen(i, end))
            i = take(row, i) + 2; // the byte after a run is closed
    };
    take(std::size_t(y), std::size_t(x) + w * std::size_t(y));
    while (!todo.empty()) {
        const Run r = todo.back();
        todo.pop_back();
        const std::size_t from = r.first > 0 ? std::size_t(r.first) - 1 : 0;
        const std::size_t to = std::size_t(r.last) + 1;
        if (std::size_t(r.y) + 1 < h)
            scan(std::size_t(r.y) + 1, from, to);
        if (r.y > 0)
            scan(std::size_t(r.y) - 1, from, to);
    }
}

} // namespace

void flood(const Layer& layer, int x, int y, uint8_t newValue, std::vector<Run>* filled) {
    const uint8_t oldValue = readValue(layer, x, y);
    if (oldValue == 0 || oldValue == newValue)
        return;
    if (layer.overlay)
        scanlineFill<true>(layer, x, y, oldValue, newValue, filled);
    else
        scanlineFill<false>(layer, x, y, oldValue, newValue, filled);
}

void fillRuns(const Layer& layer, const std::vector<Run>& runs, uint8_t value) {
    if (!layer.mask)
        return;
    for (const Run& r : runs) {
        if (r.y < 0 || r.y >= layer.height)
            continue;
        const int first = std::max(r.first, 0);
        const int last = std::min(r.last, layer.width - 1);
        if (first <= last)
            std::memset(layer.mask + std::size_t(r.y) * std::size_t(layer.width) + std::size_t(first), value,
                        std::size_t(last - first + 1));
    }
}

} // namespace pxm::maskflood
