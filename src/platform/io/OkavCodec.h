// SPDX-License-Identifier: MIT
#pragma once

#include "platform/io/ImageCodec.h"

namespace KYVO {
namespace io {

/// Our own volume format ".okav" and its gzip-compressed form ".okav.gz": a 64-byte
/// little-endian header followed by the raw voxels (layout described in docs/okav.md).
/// Holds every pixel type and any number of z-layers.
class OkavCodec : public ImageCodec {
public:
    explicit OkavCodec(bool compressed) : m_compressed(compressed) {}

    std::string name() const override;
    std::vector<std::string> endings() const override;
    std::unique_ptr<CImage> read(const std::string& path, const Options& options) const override;
    void checkWritable(const CImage& image) const override;
    void write(const std::string& path, const CImage& image, const Options& options) const override;

    /// The gzip level used when the options name none: fast, and close to level 6 in size
    /// for masks and smooth images.
    static constexpr int DefaultLevel = 1;

private:
    bool m_compressed;
};

} // namespace io
} // namespace KYVO
