// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace pxm::segment {

/// Fills the layers between key slices of one label's region in a volume.
///
/// Key slices are the layers whose binary matrix has pixels. Every run of empty layers between
/// two key slices is filled by shape-based interpolation: the parts of the two key slices are
/// matched (parts that overlap, or else lie close, belong together; a part may match several,
/// which is how splits and merges go), each matched group is moved along the line between its
/// centroids, and the signed distance maps of its two ends are blended by the layer's position
/// between them. A part without a match shrinks away by the middle of the run. Layers before the
/// first and after the last key slice stay empty.
///
/// Returns one matrix per layer: the filled region on filled layers, empty matrices on key
/// slices and on layers left alone.
std::vector<cv::Mat> fillBetweenSlices(const std::vector<cv::Mat>& layers);

/// The signed distance of each pixel to the region's boundary: positive inside (half a pixel
/// at the boundary's pixels), negative outside.
cv::Mat signedDistance(const cv::Mat& region);

} // namespace pxm::segment
