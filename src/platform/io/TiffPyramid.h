// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace KYVO {
namespace io {

class TiffHandle;

/// A 2D TIFF or BigTIFF read on demand, region by region, at any of its resolution levels,
/// without ever holding the whole image.
///
/// Level 0 is the first page. Coarser levels are its SubIFDs (as OME-TIFF writes pyramids) or,
/// failing that, the following pages as long as each is smaller than the one before with the
/// same pixels (a multi-page pyramid). Tiled and striped levels are both read; a striped level
/// decodes only the strips a region touches.
///
/// Pixels: 8- and 16-bit grey, and 8-bit RGB (extra samples dropped, JPEG's YCbCr converted to
/// RGB). Every level is opened with its own libtiff handle, which loads tile offsets on demand;
/// reads are serialised, so one pyramid may be shared between threads.
class TiffPyramid {
public:
    struct Level {
        uint32_t width = 0;
        uint32_t height = 0;
        /// Tile size for tiled levels; for striped levels the width and the rows per strip.
        uint32_t blockWidth = 0;
        uint32_t blockHeight = 0;
        bool tiled = false;
    };

    /// Opens `path`, with the first pages of `overviews` (each smaller than the level before, of
    /// the same pixel type) as further levels; throws CException when it cannot be read this way (a
    /// stack of equal pages, an unsupported pixel layout, a broken header, an overview that does
    /// not fit).
    explicit TiffPyramid(const std::string& path, const std::vector<std::string>& overviews = {});
    ~TiffPyramid();
    TiffPyramid(const TiffPyramid&) = delete;
    TiffPyramid& operator=(const TiffPyramid&) = delete;

    const std::string& path() const { return m_path; }
    EnImageType type() const { return m_type; }
    int levelCount() const { return int(m_levels.size()); }
    /// Level `i`, clamped to the levels there are.
    const Level& level(int i) const;
    /// Size of level 0.
    CSize size() const { return CSize(m_levels.front().width, m_levels.front().height, 1); }

    /// The pixels of the rectangle (x, y, width, height) of level `i`, clipped to the level, as an
    /// image of type(). Throws CException for a region outside the level or a tile libtiff cannot
    /// decode.
    std::unique_ptr<CImage> read(int i, uint32_t x, uint32_t y, uint32_t width, uint32_t height) const;

private:
    struct Opened;
    void addLevel(std::unique_ptr<TiffHandle> handle);
    void copyBlock(const uint8_t* block, int samples, uint32_t bx, uint32_t by, uint32_t bw, uint32_t bh,
                   uint32_t x, uint32_t y, CImage& out) const;

    std::string m_path;
    EnImageType m_type = IMAGE_GREY_8;
    int m_samples = 1; // samples per pixel as stored
    std::vector<Level> m_levels;
    std::vector<std::unique_ptr<Opened>> m_opened;
    mutable std::mutex m_mutex;
};

} // namespace io
} // namespace KYVO
