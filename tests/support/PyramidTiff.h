// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace pxmtest {

/// A tiled, deflate-compressed pyramid TIFF to write: level k is 2^k times smaller than level 0.
struct PyramidTiff {
    uint32_t width = 0;
    uint32_t height = 0;
    int levels = 1;
    uint32_t tile = 256;
    bool rgb = false;
    bool bigTiff = true;
    /// Coarser levels as SubIFDs of the first page (OME-TIFF style), else as further pages.
    bool subIfds = true;
    /// When set, the first level is written in strips of this many rows instead of tiles.
    uint32_t rowsPerStrip = 0;
    /// False writes every level at full size: a stack of equal pages, not a pyramid.
    bool halve = true;
    /// Grey value (RGB: red; green and blue are derived) of pixel (x, y) of a level, in that level's pixels.
    std::function<uint8_t(int level, uint32_t x, uint32_t y)> value;
    /// When set, whole tiles of one kind (the value plus a fixed texture): fast for huge files, each
    /// distinct tile is compressed once.
    std::function<uint8_t(int level, uint32_t column, uint32_t row)> tileValue;
};

/// Writes `tiff` to `path` through libtiff; throws std::runtime_error on failure.
void writePyramidTiff(const std::string& path, const PyramidTiff& tiff);

} // namespace pxmtest
