// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <memory>
#include <string>
#include <vector>

namespace KYVO {
namespace io {

/// One image file format: its file-name endings and how to read and write it.
///
/// Codecs report failures by throwing CException with a short reason ("the file ends
/// inside the image data"); CImageIo2 adds the path. Codecs never pick the format from
/// the path they are given: when saving they write to a temporary name.
class ImageCodec {
public:
    /// Settings a caller may pass for writing; the defaults suit every format.
    struct Options {
        /// TIFF compression: "none", "deflate" (or "zip"), "lzw" or "packbits".
        std::string compression = "none";
        /// Compression level where the format has one (zlib 1–9); -1 for the codec's default.
        int level = -1;
        /// JPEG quality 0–100; -1 for the codec's default.
        int quality = -1;
    };

    virtual ~ImageCodec() = default;

    /// Human-readable name for file dialogs, such as "TIFF images".
    virtual std::string name() const = 0;
    /// The lower-case file-name endings this codec owns, with their dot (".tif", ".okav.gz").
    virtual std::vector<std::string> endings() const = 0;
    /// True when the codec can read files.
    virtual bool canRead() const { return true; }
    /// True when the codec can write files.
    virtual bool canWrite() const { return true; }

    /// Reads the file. Throws CException with the reason on any failure.
    virtual std::unique_ptr<CImage> read(const std::string& path, const Options& options) const = 0;
    /// The size the file's image has, from its header where the format allows (the default
    /// decodes the whole file). Throws CException when the header cannot be read.
    virtual CSize readSize(const std::string& path) const { return read(path, Options())->size(); }
    /// Throws CException when the format cannot hold `image`; called before any file is created.
    virtual void checkWritable(const CImage& image) const = 0;
    /// Writes `image` (already accepted by checkWritable) to `path`. Throws CException on failure.
    virtual void write(const std::string& path, const CImage& image, const Options& options) const = 0;
};

} // namespace io
} // namespace KYVO
