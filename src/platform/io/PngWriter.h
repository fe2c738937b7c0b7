// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace KYVO {
namespace io {

/// Writes PNG files through libpng for data that is written once and read many times, as
/// training sets are: no row filters and the fastest compression that keeps them small. Labels,
/// and pictures found to be made of long runs of one value, go through RunDeflater; other
/// pictures through zlib's fastest level with run-length matching.
class PngWriter {
public:
    enum class Content { Picture, Labels };

    /// Writes `height` rows of `width` pixels of `channels` (1 grey or 3 RGB) samples of `bitDepth`
    /// (8 or 16, native byte order) bits, each row `rowBytes` after the previous one. Throws
    /// CException with the reason when the file cannot be written; no partial file is left.
    static void write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const uint8_t* data, std::size_t rowBytes, Content content);
    /// The same with the rows asked for one after another (y = 0, 1, ...), so that they need
    /// never be held all at once; pictures then always go through zlib. `rowAt` must not throw.
    static void write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const std::function<const uint8_t*(uint32_t y)>& rowAt, Content content);
};

} // namespace io
} // namespace KYVO
