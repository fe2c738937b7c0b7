// SPDX-License-Identifier: MIT
#include "segment/Colour8.h"

#include "segment/LayerMat.h"

#include <opencv2/imgproc.hpp>

#include <limits>

namespace pxm::segment {

cv::Mat colour8(const KYVO::CImage& image, std::size_t z) {
    return colour8(layerMat(image, z));
}

cv::Mat colour8(const cv::Mat& raw) {
    if (raw.empty())
        return {};
    if (raw.type() == CV_8UC3)
        return raw.clone();
    cv::Mat grey = raw;
    if (raw.depth() != CV_8U) {
        cv::Mat values;
        raw.convertTo(values, CV_32F);
        cv::patchNaNs(values, 0);
        // Infinities would swallow the window.
        cv::Mat finite = (values == values) & (cv::abs(values) < std::numeric_limits<float>::max());
        values.setTo(0, ~finite);
        double low = 0;
        double high = 0;
        cv::minMaxLoc(values, &low, &high);
        const double scale = high > low ? 255.0 / (high - low) : 0;
        values.convertTo(grey, CV_8U, scale, -low * scale);
    }
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGR);
    return colour;
}

} // namespace pxm::segment
