// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <memory>
#include <string>

namespace KYVO {
namespace io {

/// Reads a TIFF file through libtiff, every page (directory) as one z-layer.
///
/// Greyscale pages of 1 bit (IMAGE_BOOL), 2, 4 and 8 bits (IMAGE_GREY_8), 16 bits and 32-bit
/// floats, 8-bit RGB in one or separate planes and palette images are read as they are stored;
/// other colour models go through libtiff's RGBA conversion. Extra samples such as alpha are
/// dropped. "White is zero" pages are inverted so that 0 is always black (for bilevel pages:
/// voxel 1 is white). Reduced-resolution pages (thumbnails) are skipped; all other pages must
/// share size and pixel type.
class TiffReader {
public:
    static std::unique_ptr<CImage> read(const std::string& path);
};

} // namespace io
} // namespace KYVO
