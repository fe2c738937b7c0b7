// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

namespace KYVO {
namespace io {

/// One Netpbm file ending. Every instance reads all Netpbm flavours (see NetpbmReader);
/// writing depends on the ending:
///
/// - ".pbm": raw P4. IMAGE_BOOL voxel 1 is a set (black) bit; IMAGE_GREY_8 sets the bit
///   of every non-zero voxel.
/// - ".pgm": raw P5. IMAGE_GREY_8 with maxval 255, IMAGE_GREY_16 with maxval 65535,
///   IMAGE_BOOL with maxval 1 (so it reads back as IMAGE_GREY_8 holding 0 and 1).
/// - ".ppm": raw P6 with maxval 255 from IMAGE_RGB_8I, or IMAGE_GREY_8 copied to all channels.
/// - ".pam": P7 with TUPLTYPE GRAYSCALE (8 and 16 bits), RGB or BLACKANDWHITE (IMAGE_BOOL,
///   where 1 is white, as PAM defines it).
/// - ".pfm": greyscale "Pf", little-endian, bottom row first, from IMAGE_GREY_F.
///
/// Volumes are written as one image per z-layer, one after another, and read back whole.
class NetpbmCodec : public ImageCodec {
public:
    enum Format { Pbm, Pgm, Ppm, Pam, Pfm };

    explicit NetpbmCodec(Format format) : m_format(format) {}

    std::string name() const override;
    std::vector<std::string> endings() const override;
    std::unique_ptr<CImage> read(const std::string& path, const Options& options) const override;
    /// From the headers, without reading raw rasters.
    CSize readSize(const std::string& path) const override;
    void checkWritable(const CImage& image) const override;
    void write(const std::string& path, const CImage& image, const Options& options) const override;

private:
    Format m_format;
};

} // namespace io
} // namespace KYVO
