// SPDX-License-Identifier: MIT
#include "display/LayerHistogram.h"

#include "platform/CException.h"
#include "platform/CImage.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Pictor {

namespace {

constexpr std::size_t kFloatBins = 65536;

/// Calls `visit(value pointer)` for every voxel of the region of layer z, row by row.
template <typename T, typename Visit>
void forEachValue(const KYVO::CImage& image, std::size_t z, const QRect& r, int stride, int offset,
                  Visit visit) {
    const std::size_t width = image.size().x;
    const T* layer = reinterpret_cast<const T*>(image.layer(z));
    for (int y = r.top(); y <= r.bottom(); ++y) {
        const T* row = layer + (std::size_t(y) * width + std::size_t(r.left())) * std::size_t(stride) +
                       std::size_t(offset);
        const std::size_t n = std::size_t(r.width());
        visit(row, n);
    }
}

/// Integer values straight into one bin each. Rows are counted into two interleaved tables
/// so that runs of equal values do not stall on one counter.
template <typename T>
void countIntegral(const KYVO::CImage& image, std::size_t z, const QRect& r, const HistogramOptions& o,
                   LayerHistogram& h) {
    const int channels = image.channels();
    std::vector<uint64_t> second(h.bins.size(), 0);
    uint64_t* a = h.bins.data();
    uint64_t* b = second.data();
    const int first = o.channel >= 0 && channels > 1 ? o.channel : 0;
    const int last = o.channel >= 0 && channels > 1 ? o.channel : channels - 1;
    for (int c = first; c <= last; ++c) {
        forEachValue<T>(image, z, r, channels, c, [&](const T* row, std::size_t n) {
            std::size_t i = 0;
            if (channels == 1) {
                for (; i + 1 < n; i += 2) {
                    ++a[row[i]];
                    ++b[row[i + 1]];
                }
            }
            for (; i < n; ++i)
                ++a[row[i * std::size_t(channels)]];
        });
    }
    for (std::size_t i = 0; i < h.bins.size(); ++i)
        h.bins[i] += second[i];
    if (image.type() == KYVO::IMAGE_BOOL) {
        // Any non-zero byte of a bool image means 1.
        for (std::size_t i = 2; i < h.bins.size(); ++i)
            h.bins[1] += std::exchange(h.bins[i], 0);
    }
    if (o.ignoreZerosAndNonFinite)
        h.bins[0] = 0;
}

void countFloat(const KYVO::CImage& image, std::size_t z, const QRect& r, const HistogramOptions& o,
                LayerHistogram& h) {
    const bool ignore = o.ignoreZerosAndNonFinite;
    float lo = std::numeric_limits<float>::infinity();
    float hi = -lo;
    forEachValue<float>(image, z, r, 1, 0, [&](const float* row, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            const float v = row[i];
            if (std::isfinite(v) && !(ignore && v == 0.0f)) {
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        }
    });
    h.integral = false;
    if (!(hi >= lo)) {
        // No finite value: infinities, when counted, still need somewhere to go.
        lo = hi = 0.0f;
    }
    h.lo = lo;
    h.hi = hi > lo ? double(hi) : double(lo) + 1.0;
    h.bins.assign(kFloatBins, 0);
    const double scale = double(kFloatBins) / (h.hi - h.lo);
    const double top = double(kFloatBins - 1);
    forEachValue<float>(image, z, r, 1, 0, [&](const float* row, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            const float v = row[i];
            if (std::isnan(v) || (ignore && (v == 0.0f || std::isinf(v))))
                continue;
            const double t = (double(v) - h.lo) * scale;
            ++h.bins[std::size_t(t <= 0.0 ? 0.0 : t >= top ? top : t)];
        }
    });
}

} // namespace

ChannelWindow LayerHistogram::range() const {
    if (count == 0)
        return {};
    std::size_t first = 0;
    while (bins[first] == 0)
        ++first;
    std::size_t last = bins.size() - 1;
    while (bins[last] == 0)
        --last;
    return {binStart(first), integral ? binStart(last) : binStart(last + 1)};
}

ChannelWindow LayerHistogram::clipped(double clip) const {
    if (count == 0)
        return {};
    const uint64_t k = uint64_t(std::floor(double(count) * std::clamp(clip, 0.0, 0.5)));
    const uint64_t lowRank = std::min(k, count - 1);
    const uint64_t highRank = count - 1 - lowRank;
    // The first bin whose running total passes each rank.
    std::size_t low = 0, high = 0;
    uint64_t total = 0;
    bool lowFound = false;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        total += bins[i];
        if (!lowFound && total > lowRank) {
            low = i;
            lowFound = true;
        }
        if (total > highRank) {
            high = i;
            break;
        }
    }
    ChannelWindow w{binStart(low), integral ? binStart(high) : binStart(high + 1)};
    if (!(w.max > w.min))
        w = range();
    if (!(w.max > w.min))
        w.max = w.min + (integral ? 1.0 : std::max(binWidth(), 1.0));
    return w;
}

LayerHistogram computeLayerHistogram(const KYVO::CImage& image, std::size_t z,
                                     const HistogramOptions& options) {
    if (z >= image.size().z)
        KYVO_THROW("layer " + std::to_string(z) + " is outside the image");
    LayerHistogram h;
    QRect r(0, 0, int(image.size().x), int(image.size().y));
    if (!options.region.isEmpty())
        r &= options.region;
    if (r.isEmpty())
        return h;
    switch (image.type()) {
    case KYVO::IMAGE_GREY_16:
        h.bins.assign(65536, 0);
        countIntegral<uint16_t>(image, z, r, options, h);
        break;
    case KYVO::IMAGE_GREY_F:
        countFloat(image, z, r, options, h);
        break;
    case KYVO::IMAGE_GREY_8:
    case KYVO::IMAGE_BOOL:
    case KYVO::IMAGE_RGB_8I:
        h.bins.assign(256, 0);
        countIntegral<uint8_t>(image, z, r, options, h);
        break;
    default:
        KYVO_THROW("no histogram for pixel type " + std::string(KYVO::ImageTypeName(image.type())));
    }
    if (h.integral) {
        h.lo = 0.0;
        h.hi = double(h.bins.size());
    }
    for (uint64_t b : h.bins)
        h.count += b;
    return h;
}

double autoClipFraction(int press) {
    static const double fractions[] = {0.001, 0.0035, 0.01, 0.02};
    return fractions[std::size_t(std::max(press, 0)) % 4];
}

} // namespace Pictor
