// SPDX-License-Identifier: MIT
#include "segment/Wand.h"

#include "platform/CImage.h"
#include "segment/LayerMat.h"

#include <opencv2/imgproc.hpp>

namespace pxm::segment {

namespace {

/// The layer as the fill reads it: 8-bit data as it is (shared), other depths as float, both
/// smoothed when sigma is set.
cv::Mat prepare(const KYVO::CImage& image, std::size_t z, double sigma) {
    cv::Mat raw = layerMat(image, z);
    cv::Mat work = raw;
    if (raw.depth() != CV_8U)
        raw.convertTo(work, CV_MAKETYPE(CV_32F, raw.channels()));
    if (sigma > 0) {
        cv::Mat smooth;
        cv::GaussianBlur(work, smooth, cv::Size(), sigma, sigma, cv::BORDER_REPLICATE);
        work = smooth;
    }
    return work;
}

int fillFlags(int connectivity) {
    return (connectivity == 4 ? 4 : 8) | cv::FLOODFILL_MASK_ONLY | cv::FLOODFILL_FIXED_RANGE | (255 << 8);
}

} // namespace

WandSession::WandSession(const KYVO::CImage& image, std::size_t z, int x, int y, const WandSettings& settings)
    : m_z(z), m_depth(image.size().z), m_point(x, y), m_settings(settings) {
    if (z >= image.size().z || x < 0 || y < 0 || std::size_t(x) >= image.size().x || std::size_t(y) >= image.size().y)
        return;
    if (layerMat(image, z).empty())
        return;
    if (settings.volume) {
        for (std::size_t layer = 0; layer < m_depth; ++layer)
            m_layers.push_back(prepare(image, layer, settings.sigma));
    } else {
        m_layers.push_back(prepare(image, z, settings.sigma));
    }
    const cv::Mat& clicked = m_layers[settings.volume ? z : 0];
    for (int c = 0; c < clicked.channels(); ++c) {
        if (clicked.depth() == CV_8U)
            m_seed[c] = clicked.ptr<uint8_t>(y)[x * clicked.channels() + c];
        else
            m_seed[c] = clicked.ptr<float>(y)[x * clicked.channels() + c];
    }
}

std::vector<cv::Mat> WandSession::grow(double tolerance) const {
    if (!valid())
        return {};
    if (m_settings.volume)
        return grow3D(tolerance);
    std::vector<cv::Mat> result(m_depth);
    result[m_z] = grow2D(tolerance);
    return result;
}

cv::Mat WandSession::grow2D(double tolerance) const {
    const cv::Mat& work = m_layers.front();
    // A NaN seed matches nothing, not even itself.
    if (m_seed[0] != m_seed[0])
        return cv::Mat::zeros(work.size(), CV_8UC1);
    cv::Mat mask = cv::Mat::zeros(work.rows + 2, work.cols + 2, CV_8UC1);
    cv::floodFill(work, mask, m_point, cv::Scalar(), nullptr, cv::Scalar::all(tolerance),
                  cv::Scalar::all(tolerance), fillFlags(m_settings.connectivity));
    return mask(cv::Rect(1, 1, work.cols, work.rows));
}

std::vector<cv::Mat> WandSession::grow3D(double tolerance) const {
    const int rows = m_layers.front().rows;
    const int cols = m_layers.front().cols;
    std::vector<cv::Mat> result(m_depth);
    if (m_seed[0] != m_seed[0])
        return result;
    // Each layer's pixels within the tolerance of the clicked value; the region is the part of
    // them connected to the click, within layers and across neighbouring layers.
    std::vector<cv::Mat> inside(m_depth);
    cv::Scalar low, high;
    for (int c = 0; c < 4; ++c) {
        low[c] = m_seed[c] - tolerance;
        high[c] = m_seed[c] + tolerance;
    }
    for (std::size_t z = 0; z < m_depth; ++z)
        cv::inRange(m_layers[z], low, high, inside[z]);
    // The fill masks are one pixel wider on each side, as floodFill wants; a pixel set in one
    // stops later fills there, so each mask collects its layer's region.
    std::vector<cv::Mat> masks(m_depth);
    for (auto& mask : masks)
        mask = cv::Mat::zeros(rows + 2, cols + 2, CV_8UC1);
    const int flags = fillFlags(m_settings.connectivity);
    auto fillFrom = [&](std::size_t z, cv::Point p) {
        cv::floodFill(inside[z], masks[z], p, cv::Scalar(), nullptr, cv::Scalar(), cv::Scalar(), flags);
    };
    auto region = [&](std::size_t z) { return masks[z](cv::Rect(1, 1, cols, rows)); };
    fillFrom(m_z, m_point);
    // Spreads from layer `from` into layer `to`: wherever the region of `from` lies over a pixel
    // of `to` that is inside but not yet reached, the component there joins. Returns whether
    // anything joined.
    auto spread = [&](std::size_t from, std::size_t to) {
        cv::Mat seeds;
        cv::bitwise_and(region(from), inside[to], seeds);
        cv::Mat fresh;
        cv::bitwise_and(seeds, ~region(to), fresh);
        std::vector<cv::Point> points;
        cv::findNonZero(fresh, points);
        bool grew = false;
        for (const cv::Point& p : points) {
            if (masks[to].at<uint8_t>(p.y + 1, p.x + 1))
                continue;
            fillFrom(to, p);
            grew = true;
        }
        return grew;
    };
    // Up and down sweeps until nothing joins: a component reached from above may lead back down
    // to parts of earlier layers.
    for (bool grew = true; grew;) {
        grew = false;
        for (std::size_t z = 1; z < m_depth; ++z)
            grew |= spread(z - 1, z);
        for (std::size_t z = m_depth - 1; z > 0; --z)
            grew |= spread(z, z - 1);
    }
    for (std::size_t z = 0; z < m_depth; ++z)
        if (cv::countNonZero(region(z)))
            result[z] = region(z).clone();
    return result;
}

} // namespace pxm::segment
