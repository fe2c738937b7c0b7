// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"

#include <QRect>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KYVO {
class CImage;
}

namespace Pictor {

/// What a LayerHistogram counts.
struct HistogramOptions {
    /// 0, 1 or 2 for one channel of an RGB image; −1 for all channels together.
    int channel = -1;
    /// The part of the layer to count (layer pixels); an empty rectangle means the whole layer.
    QRect region;
    /// Leaves out zeros, infinities and NaN. NaN is never counted: it has no place in an order.
    bool ignoreZerosAndNonFinite = false;
};

/// The value histogram of one z-layer.
///
/// 8-bit, bool and RGB layers have 256 bins and 16-bit layers 65536, one per value. Float layers
/// have 65536 bins of equal width between the smallest and the largest finite value; infinities,
/// when counted, go to the first or last bin.
struct LayerHistogram {
    /// Lower edge of the first bin and upper edge of the last.
    double lo = 0.0;
    double hi = 0.0;
    std::vector<uint64_t> bins;
    /// Values counted (the sum of the bins).
    uint64_t count = 0;
    /// One bin per integer value, starting at 0.
    bool integral = true;

    double binWidth() const { return bins.empty() ? 0.0 : (hi - lo) / double(bins.size()); }
    /// The value the lower edge of bin `i` stands for.
    double binStart(std::size_t i) const { return lo + double(i) * binWidth(); }
    /// Smallest and largest counted value (integral) or the edges of their bins (float); both 0
    /// when nothing was counted.
    ChannelWindow range() const;
    /// The window that leaves out a fraction `clip` (0 ≤ clip < 0.5) of the counted values at
    /// each end: from the value of rank ⌊n·clip⌋ to that of rank n − 1 − ⌊n·clip⌋. A window that
    /// would be empty widens to the whole range, and past that to one unit (or bin) wide.
    ChannelWindow clipped(double clip) const;
};

/// Counts layer `z` of `image`. Throws KYVO::CException for a layer outside the image.
LayerHistogram computeLayerHistogram(const KYVO::CImage& image, std::size_t z,
                                     const HistogramOptions& options = HistogramOptions());

/// The share of values "Auto" clips at each end on its `press`-th press in a row (0 first):
/// 0.1 %, 0.35 %, 1 %, 2 %, then from the start again.
double autoClipFraction(int press);

} // namespace Pictor
