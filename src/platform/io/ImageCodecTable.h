// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

#include <string>
#include <vector>

namespace KYVO {
namespace io {

/// The one list of image formats that loading, saving and the file-dialog filters share.
class ImageCodecTable {
public:
    /// Every codec, in the order of their endings: .ppm .pgm .pbm .pfm .pam .jpg .jpeg .jp2
    /// .j2k .bmp .tif .tiff .png .gif .ico .okav .okav.gz.
    static const std::vector<const ImageCodec*>& codecs();
    /// The codec whose ending ends `path` (ASCII case ignored, longest ending first), or null.
    static const ImageCodec* forPath(const std::string& path);
};

} // namespace io
} // namespace KYVO
