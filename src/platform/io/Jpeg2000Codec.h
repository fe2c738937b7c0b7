// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

namespace KYVO {
namespace io {

/// JPEG 2000 through OpenJPEG, as a JP2 file (".jp2") or a bare codestream (".j2k").
///
/// Reading recognises either form from the content. One component (plus alpha) gives
/// IMAGE_BOOL at 1 bit, IMAGE_GREY_8 up to 8 bits and IMAGE_GREY_16 up to 16 bits; three or
/// more give IMAGE_RGB_8I (deeper colour is scaled to 8 bits, alpha dropped). Writing is
/// lossless (reversible 5/3 wavelet) for IMAGE_BOOL, IMAGE_GREY_8, IMAGE_GREY_16 and
/// IMAGE_RGB_8I, with as many resolution levels as the image size allows.
class Jpeg2000Codec : public ImageCodec {
public:
    explicit Jpeg2000Codec(bool container) : m_container(container) {}

    std::string name() const override;
    std::vector<std::string> endings() const override;
    std::unique_ptr<CImage> read(const std::string& path, const Options& options) const override;
    void checkWritable(const CImage& image) const override;
    void write(const std::string& path, const CImage& image, const Options& options) const override;

private:
    bool m_container;
};

} // namespace io
} // namespace KYVO
