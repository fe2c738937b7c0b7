// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

namespace KYVO {
namespace io {

/// TIFF through libtiff: reading as TiffReader describes; writing one page per z-layer
/// (SubfileType "page", PageNumber page/total), IMAGE_BOOL as 1-bit "black is zero",
/// uncompressed unless the options ask for "deflate", "lzw" or "packbits". Volumes too large
/// for classic TIFF's 4 GB offsets are written as BigTIFF.
class TiffCodec : public ImageCodec {
public:
    std::string name() const override { return "TIFF images"; }
    std::vector<std::string> endings() const override { return {".tif", ".tiff"}; }
    std::unique_ptr<CImage> read(const std::string& path, const Options& options) const override;
    CSize readSize(const std::string& path) const override;
    void checkWritable(const CImage& image) const override;
    void write(const std::string& path, const CImage& image, const Options& options) const override;

    /// Volumes with more voxel bytes than this are written as BigTIFF (classic offsets end at
    /// 4 GiB; the rest is headroom for tags and compression overhead).
    static constexpr std::uint64_t BigTiffThreshold = 3900000000ull;

    /// The physical size of one voxel from the first page's resolution tags (pixels per inch or
    /// centimetre) or an ImageJ description ("unit=micron", "spacing=" for the layer distance),
    /// in micrometres; the layer distance is the pixel width where none is given. False when the
    /// file gives no physical size.
    static bool voxelSize(const std::string& path, double size[3]);
};

} // namespace io
} // namespace KYVO
