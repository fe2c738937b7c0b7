// SPDX-License-Identifier: MIT
#pragma once

#include "display/SliceStatistics.h"

#include <QString>
#include <cstdint>
#include <vector>

namespace KYVO {
class CImage;
}

namespace Pictor {

/// The image information record: size, pixel type and grey-value statistics of a CImage,
/// for the whole volume and for each z-layer.
///
/// What enters the statistics:
/// - IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_BOOL: every voxel value (bool as 0 or 1).
/// - IMAGE_GREY_F: every value except NaN; `count` tells how many were used. Infinite values are kept,
///   so they show up in min, max and mean.
/// - IMAGE_RGB_8I: every channel value of every voxel, red, green and blue alike, so `count` is three
///   times the number of voxels.
/// A set without values (an empty image, an all-NaN slice) has every field 0.
struct CImageInfo {
    uint64_t width = 0;
    uint64_t height = 0;
    /// Number of z-layers (1 for a 2D image).
    uint64_t depth = 0;
    /// Pixel type name as the platform spells it, e.g. "IMAGE_GREY_8".
    QString typeName;

    // Whole-image statistics.
    double min = 0.0;
    double max = 0.0;
    double mean = 0.0;
    double sumSquaredDeviations = 0.0;
    uint64_t count = 0;

    /// One record per z-layer.
    std::vector<SliceStatistics> slices;

    /// The whole-image statistics as one record.
    SliceStatistics whole() const { return {min, max, mean, sumSquaredDeviations, count}; }
};

/// Computes the record in one pass over the voxels.
///
/// Integer types are summed exactly (sums and sums of squares in wide integers), so the per-slice and
/// whole-image figures agree to the last bit with a two-pass computation. Float images are reduced in
/// short blocks whose partial results are combined with Chan's parallel formula. Large volumes are split
/// by slices over a few threads.
CImageInfo computeImageInfo(const KYVO::CImage& image);

} // namespace Pictor
