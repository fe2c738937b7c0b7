// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace pxm::segment {

/// Segments the object inside a box with GrabCut: everything outside the box is background,
/// the object is what GrabCut's colour models find inside. Works on a crop around the box, so
/// its cost follows the box's size, not the image's; a crop of more than MaxPixels pixels is
/// segmented at a reduced scale and the result scaled back. Strokes marked as sure foreground
/// or sure background refine the result.
class BoxCut {
public:
    static constexpr int Iterations = 5;
    static constexpr int MaxPixels = 160000;

    /// `layer` holds the layer's values (see layerMat); the box is clipped to it. Only the crop
    /// is converted to 8-bit colour (see colour8), windowed to its own values.
    BoxCut(const cv::Mat& layer, const cv::Rect& box);

    /// False when the box holds too little to segment (under 2 x 2 pixels inside the image).
    bool valid() const { return !m_models.empty(); }

    /// Marks pixels (a binary matrix the size of the layer) as sure object or sure background
    /// and segments again.
    void refine(const cv::Mat& pixels, bool foreground);

    /// The object's pixels in layer coordinates: only the largest 8-connected part unless
    /// `allParts`.
    cv::Mat foreground(bool allParts) const;

private:
    void run(int mode);

    cv::Size m_layerSize;
    cv::Rect m_crop;  // the part of the layer worked on
    double m_scale = 1; // of the work below against the crop
    cv::Mat m_image;    // the crop of the picture, scaled
    cv::Mat m_labels;   // GrabCut's per-pixel classes over the scaled crop
    cv::Mat m_models; // background and foreground models, one after the other
    cv::Rect m_box;     // in scaled crop coordinates
};

/// Grows labelled seeds into regions with a watershed on the picture's gradient: `seeds`
/// (CV_32SC1) holds 0 for unknown pixels and 1..count for the seed of each region. Returns one
/// binary matrix per region (index 0 for seed 1). Only the seeds' bounding box, widened by a
/// quarter on each side, is flooded; pixels outside it belong to no region.
std::vector<cv::Mat> growSeeds(const cv::Mat& colour, const cv::Mat& seeds, int count);

} // namespace pxm::segment
