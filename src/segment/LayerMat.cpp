// SPDX-License-Identifier: MIT
#include "segment/LayerMat.h"

#include "platform/CImage.h"

#include <limits>

namespace pxm::segment {

cv::Mat layerMat(const KYVO::CImage& image, std::size_t z) {
    const KYVO::CSize& size = image.size();
    constexpr std::size_t maxSide = std::size_t(std::numeric_limits<int>::max());
    if (z >= size.z || size.x == 0 || size.y == 0 || size.x > maxSide || size.y > maxSide)
        return {};
    int type = CV_8UC1;
    switch (image.type()) {
    case KYVO::IMAGE_GREY_16:
        type = CV_16UC1;
        break;
    case KYVO::IMAGE_GREY_F:
        type = CV_32FC1;
        break;
    case KYVO::IMAGE_RGB_8I:
        type = CV_8UC3;
        break;
    default:
        break;
    }
    // OpenCV wants a mutable pointer even for a matrix only read from.
    return cv::Mat(int(size.y), int(size.x), type, const_cast<uint8_t*>(image.layer(z)));
}

} // namespace pxm::segment
