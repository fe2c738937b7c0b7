// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

namespace KYVO {
class CImage;
}

namespace pxm::segment {

/// How the magic wand grows a region.
struct WandSettings {
    int connectivity = 8; ///< 4 or 8 neighbours within a layer
    double sigma = 0;     ///< Gaussian pre-smoothing in pixels; 0 leaves the values as they are
    bool volume = false;  ///< grow through the layers of a volume too (face neighbours across layers)
};

/// One click of the magic wand. The image is prepared around the click once (converted to
/// floating point for 16-bit and float data, smoothed when asked), so that growing the region
/// again for another tolerance costs only the fill.
///
/// The region is the connected set of pixels, around the clicked one, whose values lie within
/// the tolerance of the clicked value in every channel. Values are the image's own (8-bit,
/// 16-bit or float, grey or RGB), never a display copy; NaN never belongs to a region.
class WandSession {
public:
    WandSession(const KYVO::CImage& image, std::size_t z, int x, int y, const WandSettings& settings);

    /// False when the click lies outside the image or the image has no pixels.
    bool valid() const { return !m_layers.empty(); }
    /// The layer clicked.
    std::size_t layer() const { return m_z; }
    /// The clicked value per channel, after smoothing.
    const cv::Scalar& seedValue() const { return m_seed; }

    /// The region for a tolerance, one binary matrix (CV_8UC1, 0 or 255) per layer of the image;
    /// layers the region does not reach are empty matrices. Without `volume` only the clicked
    /// layer can be reached.
    std::vector<cv::Mat> grow(double tolerance) const;

private:
    cv::Mat grow2D(double tolerance) const;
    std::vector<cv::Mat> grow3D(double tolerance) const;

    std::vector<cv::Mat> m_layers; // prepared layers; only the clicked one without `volume`
    std::size_t m_z = 0;
    std::size_t m_depth = 0;
    cv::Point m_point;
    cv::Scalar m_seed;
    WandSettings m_settings;
};

} // namespace pxm::segment
