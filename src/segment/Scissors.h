// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc/segmentation.hpp>

#include <vector>

namespace pxm::segment {

/// Intelligent scissors: the cheapest path along strong edges from an anchor to any point.
/// Setting an anchor computes the path costs from it once, within Reach pixels of it; each path
/// to the pointer (clamped into that window) is then a walk back along them.
class Scissors {
public:
    static constexpr int Reach = 512;

    /// `colour` is the layer as CV_8UC3 (see colour8) or 8-bit grey; it is kept, not copied.
    explicit Scissors(const cv::Mat& colour);

    bool valid() const { return !m_size.empty(); }
    /// Starts paths at `anchor` (clamped to the layer).
    void setAnchor(cv::Point anchor);
    bool hasAnchor() const { return m_hasAnchor; }
    /// The path from the anchor to `target` (clamped), anchor first; empty without an anchor.
    std::vector<cv::Point> pathTo(cv::Point target) const;

private:
    cv::Point clamped(cv::Point p) const;

    cv::segmentation::IntelligentScissorsMB m_tool;
    cv::Mat m_colour;
    cv::Size m_size;
    cv::Rect m_window; // where the anchor's costs are known
    cv::Point m_anchor;
    bool m_hasAnchor = false;
};

} // namespace pxm::segment
