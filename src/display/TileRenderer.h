// SPDX-License-Identifier: MIT
#pragma once

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
class TileRenderer {
public:
    /// True when the mapping needs the image statistics (the window).
    static bool needsImageInfo(KYVO::EnImageType type, bool normalize);

    /// `info` is the record of `image`; it may be null when `needsImageInfo` is false.
    TileRenderer(const KYVO::CImage* image, std::size_t z, bool normalize, const CImageInfo* info);

    /// Converts the pixels of `source` (a rectangle inside the layer) taking one pixel out of every
    /// 2^level in each direction, the one nearest the middle of its block, into an image of
    /// ceil(width / 2^level) × ceil(height / 2^level) pixels.
    QImage render(const QRect& source, int level) const;

private:
    template <typename Map> void renderRows(QImage& out, const QRect& source, int level, Map map) const;

    const KYVO::CImage* m_image;
    std::size_t m_z;
    std::vector<uint32_t> m_lut;       // value → 0xffRRGGBB grey, for 8- and 16-bit values
    std::vector<uint8_t> m_channelLut; // RGB channel value → displayed channel value
    float m_floatMin = 0.0f;
    float m_floatScale = 0.0f; // 0 for a window of zero width
};

} // namespace Pictor
