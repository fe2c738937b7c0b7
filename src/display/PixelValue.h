// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <cstddef>

namespace KYVO {
class CImage;
}

namespace Pictor {

/// Fills `format` with the position and value of voxel (x, y, z):
/// "%x", "%y", "%z" become the coordinates, "%1", "%2", "%3" the channel values. Integer types
/// (8-bit, 16-bit, bool, RGB) give integers, float images decimals with `precision` digits after the
/// point (clamped to 0…17). A grey image has one channel: "%2" and "%3" become empty text. Any other
/// "%" sequence stays as it is. A null image or a position outside the image gives an empty string.
QString pixelValueAsString(const KYVO::CImage* image, std::size_t x, std::size_t y, std::size_t z,
                           const QString& format, int precision);

/// True for an image with one channel per voxel; false for RGB and for null.
bool isGreyImage(const KYVO::CImage* image);

} // namespace Pictor
