// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"
#include "segment/LayerMat.h"

#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <random>

namespace pxmtest {

/// Intersection over union of two binary matrices.
inline double iou(const cv::Mat& a, const cv::Mat& b) {
    const double both = cv::countNonZero(a & b);
    const double either = cv::countNonZero(a | b);
    return either > 0 ? both / either : 1.0;
}

/// Objects (`truth`) textured around `inside` on noise around `outside`, times `scale` (16 bits 200, float
/// 1/255).
inline KYVO::CImage texturedPicture(KYVO::EnImageType type, const cv::Mat& truth, double inside,
                                    double outside, double scale = 1) {
    KYVO::CImage picture(type, KYVO::CSize(std::size_t(truth.cols), std::size_t(truth.rows), 1));
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-8, 8);
    const int channels = KYVO::ImageTypeChannels(type);
    cv::Mat values(truth.rows, truth.cols, CV_64FC(channels));
    for (int y = 0; y < truth.rows; ++y)
        for (int x = 0; x < truth.cols; ++x)
            for (int c = 0; c < channels; ++c) {
                const double base = truth.at<uint8_t>(y, x)
                                        ? inside + 10 * std::sin(x * 0.3 + c) * std::cos(y * 0.2)
                                        : outside + noise(random);
                values.ptr<double>(y)[x * channels + c] = (base + 20 * c) * scale;
            }
    cv::Mat layer = pxm::segment::layerMat(picture, 0);
    values.convertTo(layer, layer.type());
    return picture;
}

/// A binary disc (and optionally a second, touching or not) in a matrix.
inline cv::Mat discs(int width, int height, cv::Point centre, int radius, cv::Point second = {-1, -1},
                     int secondRadius = 0) {
    cv::Mat mask = cv::Mat::zeros(height, width, CV_8UC1);
    cv::circle(mask, centre, radius, cv::Scalar(255), cv::FILLED);
    if (second.x >= 0)
        cv::circle(mask, second, secondRadius, cv::Scalar(255), cv::FILLED);
    return mask;
}

} // namespace pxmtest
