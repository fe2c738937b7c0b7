// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"
#include "platform/CImage.h"

#include <QImage>
#include <QRect>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Pictor {

struct CImageInfo;

/// Turns the voxels of one z-layer into displayable RGB32 images.
///
/// Grey levels:
/// - IMAGE_GREY_8 as they are; with normalisation the data's min–max range is stretched to 0–255.
/// - IMAGE_GREY_16 and IMAGE_GREY_F always through the min–max window of the whole volume, so all
///   slices share one grey scale. NaN shows black. A window of zero width (a constant image) or of
///   infinite width (a float image holding infinities) shows black.
/// - IMAGE_BOOL: 0 black, anything else white.
/// - IMAGE_RGB_8I as it is; with normalisation all three channels are stretched by the one min–max
///   range of all channel values (the range the image statistics report), which keeps the hues.
/// An 8-bit or RGB range of zero width leaves the values as they are.
///
/// A contrast the user set (DisplayContrast::isSet) replaces all of this for every type but bool:
/// each value goes through its channel's window and the gamma, and normalisation is ignored.
class TileRenderer {
public:
    /// True when the mapping needs the image statistics (the window).
    static bool needsImageInfo(KYVO::EnImageType type, bool normalize,
                               const DisplayContrast& contrast = DisplayContrast());

    /// `info` is the record of `image`; it may be null when `needsImageInfo` is false.
    TileRenderer(const KYVO::CImage* image, std::size_t z, bool normalize, const CImageInfo* info,
                 const DisplayContrast& contrast = DisplayContrast());

    /// Converts the pixels of `source` (a rectangle inside the layer) taking one pixel out of every
    /// 2^level in each direction, the one nearest the middle of its block, into an image of
    /// ceil(width / 2^level) × ceil(height / 2^level) pixels.
    QImage render(const QRect& source, int level) const;

private:
    void setUpContrast(const DisplayContrast& contrast);
    template <typename Map> void renderRows(QImage& out, const QRect& source, int level, Map map) const;

    const KYVO::CImage* m_image;
    std::size_t m_z;
    std::vector<uint32_t> m_lut;       // value → 0xffRRGGBB grey, for 8- and 16-bit values
    std::vector<uint8_t> m_channelLut; // RGB: 256 entries per channel, red first
    float m_floatMin = 0.0f;
    float m_floatScale = 0.0f; // 0 for a window of zero width
    // Float values with a gamma: t in [0, 1] sampled at kGammaSteps + 1 points → grey.
    std::vector<uint32_t> m_gammaLut;
};

} // namespace Pictor
