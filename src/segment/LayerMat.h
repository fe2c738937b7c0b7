// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <cstddef>

namespace KYVO {
class CImage;
}

namespace pxm::segment {

/// Layer z of a volume as an OpenCV matrix that shares the volume's memory (read it only):
/// CV_8UC1 for 8-bit grey and boolean, CV_16UC1, CV_32FC1, or CV_8UC3 (red, green, blue) for
/// RGB. An empty matrix for a layer outside the volume.
cv::Mat layerMat(const KYVO::CImage& image, std::size_t z);

/// A binary matrix (CV_8UC1, 0 or 255) the size of a layer.
inline cv::Mat emptyMask(int width, int height) { return cv::Mat::zeros(height, width, CV_8UC1); }

} // namespace pxm::segment
