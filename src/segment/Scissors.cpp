// SPDX-License-Identifier: MIT
#include "segment/Scissors.h"

#include <algorithm>

namespace pxm::segment {

Scissors::Scissors(const cv::Mat& colour) {
    if (colour.empty() || (colour.type() != CV_8UC3 && colour.type() != CV_8UC1))
        return;
    m_tool.setEdgeFeatureCannyParameters(32, 100);
    m_tool.setGradientMagnitudeMaxLimit(200);
    m_colour = colour;
    m_size = colour.size();
}

cv::Point Scissors::clamped(cv::Point p) const {
    return {std::clamp(p.x, 0, m_size.width - 1), std::clamp(p.y, 0, m_size.height - 1)};
}

void Scissors::setAnchor(cv::Point anchor) {
    if (!valid())
        return;
    m_anchor = clamped(anchor);
    // The costs of a whole large layer take seconds; a window around the anchor keeps a click
    // quick, and outlines are drawn with anchors much closer than that.
    m_window = cv::Rect(m_anchor.x - Reach, m_anchor.y - Reach, 2 * Reach + 1, 2 * Reach + 1) &
               cv::Rect(cv::Point(), m_size);
    m_tool.applyImage(m_colour(m_window));
    m_tool.buildMap(m_anchor - m_window.tl());
    m_hasAnchor = true;
}

std::vector<cv::Point> Scissors::pathTo(cv::Point target) const {
    std::vector<cv::Point> path;
    if (!m_hasAnchor)
        return path;
    const cv::Point inside(std::clamp(target.x, m_window.x, m_window.x + m_window.width - 1),
                           std::clamp(target.y, m_window.y, m_window.y + m_window.height - 1));
    m_tool.getContour(inside - m_window.tl(), path, false);
    for (cv::Point& p : path)
        p += m_window.tl();
    return path;
}

} // namespace pxm::segment
