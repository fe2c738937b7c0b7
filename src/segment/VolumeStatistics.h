// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace pxm::segment {

/// What one label covers in a volume.
struct VolumeStatistics {
    int64_t voxels = 0;
    /// The smallest box holding every voxel: x, y and z of its first and last voxel (all -1
    /// when there is none).
    int x0 = -1, y0 = -1, z0 = -1, x1 = -1, y1 = -1, z1 = -1;
    /// Parts connected within a layer by 8 neighbours and across layers face to face.
    int components = 0;
    /// The layers with at least one voxel, in order.
    std::vector<int> layers;
};

/// The statistics of a binary volume given layer by layer (empty matrices count as empty
/// layers).
VolumeStatistics volumeStatistics(const std::vector<cv::Mat>& layers);

} // namespace pxm::segment
