// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <cstddef>

namespace KYVO {
class CImage;
}

namespace pxm::segment {

/// Layer z as an 8-bit, three-channel picture (CV_8UC3) for the analyses that take only that:
/// RGB as it is, 8-bit grey replicated, and 16-bit or float windowed from the layer's smallest
/// to its largest finite value (non-finite values become 0). Empty outside the volume.
cv::Mat colour8(const KYVO::CImage& image, std::size_t z);

/// The same for a matrix of a layer's values (CV_8UC1, CV_8UC3, CV_16UC1 or CV_32FC1), windowed
/// from its own smallest to largest finite value.
cv::Mat colour8(const cv::Mat& raw);

} // namespace pxm::segment
