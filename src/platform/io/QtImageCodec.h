// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

#include <QByteArray>

namespace KYVO {
namespace io {

/// A 2D format handled by Qt's image plugins (PNG, JPEG, BMP, GIF, ICO).
///
/// Reading: 8-bit greyscale files give IMAGE_GREY_8, 16-bit greyscale PNG IMAGE_GREY_16,
/// 1-bit images whose two colours are black and white IMAGE_BOOL (1 for white), palette
/// images with an all-grey palette IMAGE_GREY_8, everything else IMAGE_RGB_8I with any alpha
/// dropped. The format is recognised from the content.
///
/// Writing: IMAGE_GREY_8 and IMAGE_RGB_8I everywhere; IMAGE_GREY_16 only where the format
/// holds 16 bits (PNG); IMAGE_BOOL as a 1-bit black-and-white image where the format has
/// one (PNG, BMP), otherwise as greyscale 0/255, which reads back as IMAGE_GREY_8. Formats
/// that store only colour (ICO) read greyscale back as IMAGE_RGB_8I. Volumes with more than
/// one z-layer and floating-point images are refused.
class QtImageCodec : public ImageCodec {
public:
    struct Traits {
        const char* name;
        QByteArray qtFormat;
        std::vector<std::string> endings;
        bool writable;
        bool holds16Bit;
        bool holdsMono;
        /// The format stores greyscale only as a palette image (BMP).
        bool greyAsPalette;
    };

    explicit QtImageCodec(Traits traits) : m_traits(std::move(traits)) {}

    std::string name() const override { return m_traits.name; }
    std::vector<std::string> endings() const override { return m_traits.endings; }
    bool canWrite() const override { return m_traits.writable; }
    std::unique_ptr<CImage> read(const std::string& path, const Options& options) const override;
    CSize readSize(const std::string& path) const override;
    void checkWritable(const CImage& image) const override;
    void write(const std::string& path, const CImage& image, const Options& options) const override;

private:
    Traits m_traits;
};

} // namespace io
} // namespace KYVO
