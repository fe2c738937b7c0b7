// SPDX-License-Identifier: MIT
#include "scene/MaskFlood.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// ---------------------------------------------------------------------------------------
// Breadth-first form
// ---------------------------------------------------------------------------------------

/// The breadth-first fill on a grid with a border of one around [0, width] × [0, height],
/// which holds every neighbour of a filled point. Points are packed as (row << 16) | column,
/// so taking one from the queue needs no division. The border reads 0 and is never filled:
/// marking it queued up front spares the bounds tests. The queued marks are kept column by
/// column, so that the neighbours in the order they are queued, column x − 1 top to bottom,
/// then column x, then column x + 1, lie in three runs of three bytes: inside a region,
/// where all eight are queued already, one test of each run is all a point costs.
template <bool HasOverlay>
void floodExactPacked(const MaskData& d, int startX, int startY, uint8_t oldValue, uint8_t newValue) {
    const std::size_t gridW = std::size_t(d.width) + 3;
    const std::size_t gridH = std::size_t(d.height) + 3;
    const std::size_t points = gridW * gridH;
    // Index gy + gridH·gx; four spare bytes for the word-wide reads of the last column.
    std::vector<uint8_t> queued(points + 4, 0);
    std::fill(queued.begin(), queued.begin() + std::ptrdiff_t(gridH), uint8_t(1));
    std::fill(queued.begin() + std::ptrdiff_t(points - gridH), queued.end(), uint8_t(1));
    for (std::size_t x = 1; x + 1 < gridW; ++x) {
        queued[x * gridH] = 1;
        queued[x * gridH + gridH - 1] = 1;
    }
    // Every point is queued at most once and the border never, so this never overflows;
    // pages are touched only as far as the queue grows.
    std::unique_ptr<uint32_t[]> queue(new uint32_t[points]);
    const uint32_t row = 1u << 16;
    std::size_t head = 0, tail = 0;
    queued[std::size_t(startY + 1) + gridH * std::size_t(startX + 1)] = 1;
    queue[tail++] = uint32_t(startY + 1) * row + uint32_t(startX + 1);

    uint8_t* mask = d.mask;
    const uint8_t* overlay = d.overlay;
    const std::size_t w = std::size_t(d.width), h = std::size_t(d.height), bytes = d.bytes;
    uint8_t* seen = queued.data();
    uint32_t* q = queue.get();
    auto allQueued = [](const uint8_t* run) {
        uint32_t word;
        std::memcpy(&word, run, sizeof word);
        return (word & 0xFFFFFFu) == 0x010101u;
    };
    // The queue runs round the region's growing rim, a row apart from one point to the next
    // along its sides: fetching a little ahead hides most of the cache misses.
    constexpr std::size_t Ahead = 20;
    while (head < tail) {
        if (head + Ahead < tail) {
            const uint32_t f = q[head + Ahead];
            const std::size_t fx = (f & (row - 1)) - 1, fy = (f >> 16) - 1;
            __builtin_prefetch(mask + std::min(fx + h * fy, bytes - 1));
            __builtin_prefetch(mask + std::min(fx + w * fy, bytes - 1), 1);
            const uint8_t* column = seen + (fy + 1) + gridH * (fx + 1);
            __builtin_prefetch(column - gridH, 1);
            __builtin_prefetch(column, 1);
            __builtin_prefetch(column + gridH, 1);
        }
        const uint32_t p = q[head++];
        const std::size_t gx = p & (row - 1), gy = p >> 16;
        const std::size_t x = gx - 1, y = gy - 1;
        const std::size_t read = x + h * y;
        if (read >= bytes || mask[read] != oldValue || (HasOverlay && overlay[read] != 0))
            continue;
        const std::size_t write = x + w * y;
        if (write < bytes)
            mask[write] = newValue;
        const std::size_t t = gy + gridH * gx;
        uint8_t* left = seen + t - gridH - 1;
        uint8_t* right = seen + t + gridH - 1;
        if (allQueued(left) && seen[t - 1] && seen[t + 1] && allQueued(right))
            continue;
        // Branch-free: store unconditionally, advance only for a point not queued before.
        auto push = [&](uint8_t* mark, uint32_t pn) {
            q[tail] = pn;
            tail += std::size_t(*mark ^ 1u);
            *mark = 1;
        };
        push(left, p - row - 1);
        push(left + 1, p - 1);
        push(left + 2, p + row - 1);
        push(seen + t - 1, p - row);
        push(seen + t + 1, p + row);
        push(right, p - row + 1);
        push(right + 1, p + 1);
        push(right + 2, p + row + 1);
    }
}

/// The same fill for grids too large to pack a point into 32 bits.
void floodExactWide(const MaskData& d, int startX, int startY, uint8_t oldValue, uint8_t newValue) {
    const std::size_t gridW = std::size_t(d.width) + 3;
    const std::size_t gridH = std::size_t(d.height) + 3;
    std::vector<bool> queued(gridW * gridH, false);
    std::vector<std::size_t> queue;
    auto push = [&](long long x, long long y) {
        const std::size_t g = std::size_t(x + 1) + gridW * std::size_t(y + 1);
        if (!queued[g]) {
            queued[g] = true;
            queue.push_back(g);
        }
    };
    push(startX, startY);
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const std::size_t g = queue[head];
        const long long x = (long long)(g % gridW) - 1;
        const long long y = (long long)(g / gridW) - 1;
        const uint8_t v = readValue(d, int(x), int(y));
        if (v != oldValue || v == newValue)
            continue;
        const std::size_t write = std::size_t(x) + std::size_t(d.width) * std::size_t(y);
        if (write < d.bytes)
            d.mask[write] = newValue;
        for (long long dx = -1; dx <= 1; ++dx)
            for (long long dy = -1; dy <= 1; ++dy)
                if (dx || dy)
                    push(x + dx, y + dy);
    }
}

// ---------------------------------------------------------------------------------------
// Scanline form for square layers
// ---------------------------------------------------------------------------------------

/// The bytes a square fill may take: those holding the old value and not erased.
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

/// The scanline fill of a square layer. Reads and writes share one stride, so a point is
/// filled exactly when it is reached while its byte is still open. The points of columns 1
/// to width − 1 (rows 0 to height) own their bytes; they are filled by an ordinary 2D
/// scanline (K below). Column 0 and the accepted column x = width hold the bytes at
/// multiples of width ("seams"), most of them shared: (0, j) and (width, j − 1) are one byte,
/// and only the one of the two that the breadth-first order reaches first passes. The
/// order is not needed when every seam byte next to K is filled and neither of its points
/// leads to an open byte left unfilled: then the result is K and those seams, whichever
/// point of a seam came first. Otherwise everything written is put back and false returned.
template <bool HasOverlay>
bool floodSquareImpl(const MaskData& d, std::size_t startX, std::size_t startY, std::size_t count,
                     uint8_t oldValue, uint8_t newValue) {
    const OpenBytes<HasOverlay> bytes(d.mask, d.overlay, oldValue);
    const std::size_t w = std::size_t(d.width);
    const std::size_t h = std::size_t(d.height);
    const std::size_t start = startX + w * startY;
    auto isOpen = [&](std::size_t i) { return i < count && bytes.open(i); };

    // Which rows of K reach column 1 and column w − 1 (the seams' interior neighbours).
    std::vector<uint8_t> reachesFirst(h + 1, 0), reachesLast(h + 1, 0);
    struct Span {
        std::size_t row, first, last;
    };
    std::vector<Span> todo, done;
    todo.reserve(256);
    auto take = [&](std::size_t row, std::size_t i) {
        const std::size_t rowStart = row * w;
        const std::size_t first = bytes.runStart(i, rowStart + 1);
        const std::size_t last = bytes.runEnd(i + 1, std::min(rowStart + w, count)) - 1;
        std::memset(d.mask + first, newValue, last - first + 1);
        reachesFirst[row] |= uint8_t(first == rowStart + 1);
        reachesLast[row] |= uint8_t(last == rowStart + w - 1);
        todo.push_back({row, first, last});
        done.push_back({row, first, last});
        return last;
    };
    // Takes every open run of the row meeting columns [from, to] (clipped to 1 .. w − 1).
    auto scan = [&](std::size_t row, std::size_t from, std::size_t to) {
        const std::size_t rowStart = row * w;
        const std::size_t end = std::min(rowStart + std::min(to, w - 1) + 1, count);
        for (std::size_t i = bytes.nextOpen(rowStart + std::max<std::size_t>(from, 1), end); i < end;
             i = bytes.nextOpen(i, end))
            i = take(row, i) + 2; // the byte after a run is closed
    };

    if (startX > 0) {
        take(startY, start);
    } else {
        for (std::size_t row = startY > 0 ? startY - 1 : 0; row <= startY + 1 && row <= h; ++row)
            scan(row, 1, 1);
    }
    while (!todo.empty()) {
        const Span s = todo.back();
        todo.pop_back();
        const std::size_t from = s.first - s.row * w - 1, to = s.last - s.row * w + 1;
        if (s.row + 1 <= h)
            scan(s.row + 1, from, to);
        if (s.row > 0)
            scan(s.row - 1, from, to);
    }

    // Seam byte j·w: point (0, j) for j ≤ h, point (w, j − 1) for j ≥ 1.
    std::vector<std::size_t> seams;
    for (std::size_t j = 0; j <= h + 1 && j * w < count; ++j) {
        const std::size_t o = j * w;
        if (!bytes.open(o))
            continue;
        bool reached = o == start;
        for (std::size_t r = j > 0 ? j - 1 : 0; !reached && j <= h && r <= j + 1 && r <= h; ++r)
            reached = reachesFirst[r];
        for (std::size_t r = j > 1 ? j - 2 : 0; !reached && j >= 1 && r <= j && r <= h; ++r)
            reached = reachesLast[r];
        if (reached)
            seams.push_back(o);
    }
    for (const std::size_t o : seams)
        d.mask[o] = newValue;

    bool closed = true;
    for (std::size_t k = 0; closed && k < seams.size(); ++k) {
        const std::size_t j = seams[k] / w;
        if (j <= h) { // (0, j): seams (0, j ± 1), interior (1, j − 1 .. j + 1)
            closed = !(j >= 1 && isOpen((j - 1) * w)) && !(j + 1 <= h && isOpen((j + 1) * w));
            for (std::size_t r = j > 0 ? j - 1 : 0; closed && r <= j + 1 && r <= h; ++r)
                closed = !isOpen(r * w + 1);
        }
        if (closed && j >= 1) { // (w, j − 1): seams (w, j − 2), (w, j), interior (w − 1, j − 2 .. j)
            closed = !(j >= 2 && isOpen((j - 1) * w)) && !(j <= h && isOpen((j + 1) * w));
            for (std::size_t r = j > 1 ? j - 2 : 0; closed && r <= j && r <= h; ++r)
                closed = !isOpen(r * w + w - 1);
        }
    }
    if (closed)
        return true;
    for (const Span& s : done)
        std::memset(d.mask + s.first, oldValue, s.last - s.first + 1);
    for (const std::size_t o : seams)
        d.mask[o] = oldValue;
    return false;
}

} // namespace

void floodExact(const MaskData& d, int x, int y, uint8_t oldValue, uint8_t newValue) {
    if (!d.mask || d.width <= 0 || d.height <= 0)
        return;
    if (x < 0 || y < 0 || x > d.width || y > d.height)
        return; // reads 0, which no fill takes
    if (oldValue == newValue)
        return; // no point passes the test
    if (std::size_t(d.width) + 3 <= 65536 && std::size_t(d.height) + 3 <= 65536) {
        if (d.overlay)
            floodExactPacked<true>(d, x, y, oldValue, newValue);
        else
            floodExactPacked<false>(d, x, y, oldValue, newValue);
    } else {
        floodExactWide(d, x, y, oldValue, newValue);
    }
}

bool floodSquare(const MaskData& d, int x, int y, uint8_t oldValue, uint8_t newValue) {
    if (!d.mask || d.width != d.height || d.width < 3 || oldValue == 0)
        return false;
    if (x < 0 || y < 0 || x >= d.width || y >= d.height || oldValue == newValue)
        return false;
    const std::size_t w = std::size_t(d.width);
    // Beyond the layer the accepted row y = height and the point (width, height) follow on.
    const std::size_t count = std::min(d.bytes, w * w + w + 1);
    const std::size_t start = std::size_t(x) + w * std::size_t(y);
    if (start >= count)
        return true; // reads 0
    if (d.overlay) {
        if (!OpenBytes<true>(d.mask, d.overlay, oldValue).open(start))
            return true;
        return floodSquareImpl<true>(d, std::size_t(x), std::size_t(y), count, oldValue, newValue);
    }
    if (d.mask[start] != oldValue)
        return true;
    return floodSquareImpl<false>(d, std::size_t(x), std::size_t(y), count, oldValue, newValue);
}

void flood(const MaskData& d, int x, int y, uint8_t oldValue, uint8_t newValue) {
    if (!floodSquare(d, x, y, oldValue, newValue))
        floodExact(d, x, y, oldValue, newValue);
}

} // namespace pxm::maskflood
