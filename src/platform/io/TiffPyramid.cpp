// SPDX-License-Identifier: MIT
#include "platform/io/TiffPyramid.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"
#include "platform/io/TiffHandle.h"

#include <algorithm>
#include <cstring>
#include <tiffio.h>

namespace KYVO {
namespace io {

struct TiffPyramid::Opened {
    std::unique_ptr<TiffHandle> handle;
    int samples = 1; // as stored
    std::vector<uint8_t> buffer;
};

namespace {

/// How one directory stores its pixels.
struct Layout {
    EnImageType type = IMAGE_GREY_8;
    int samples = 1;
    TiffPyramid::Level level;
};

template <typename T> T field(TIFF* tif, ttag_t tag, T fallback) {
    T value = fallback;
    TIFFGetFieldDefaulted(tif, tag, &value);
    return value;
}

/// The layout of the current directory of `handle`, which is set up to decode to that layout
/// (JPEG's YCbCr as RGB). Throws for what cannot be read region by region.
Layout describe(const TiffHandle& handle) {
    TIFF* tif = handle.get();
    Layout layout;
    uint32_t width = 0;
    uint32_t height = 0;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height) ||
        width == 0 || height == 0)
        handle.fail("the TIFF page has no size");
    const auto bits = field<uint16_t>(tif, TIFFTAG_BITSPERSAMPLE, 1);
    const auto samples = field<uint16_t>(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    const auto format = field<uint16_t>(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const auto planar = field<uint16_t>(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    const auto photometric = field<uint16_t>(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    const auto compression = field<uint16_t>(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (format != SAMPLEFORMAT_UINT || (samples > 1 && planar != PLANARCONFIG_CONTIG))
        handle.fail("the TIFF page's samples cannot be read region by region");
    layout.samples = samples;
    if (photometric == PHOTOMETRIC_MINISBLACK && samples >= 1 && (bits == 8 || bits == 16)) {
        layout.type = bits == 8 ? IMAGE_GREY_8 : IMAGE_GREY_16;
    } else if (photometric == PHOTOMETRIC_RGB && samples >= 3 && bits == 8) {
        layout.type = IMAGE_RGB_8I;
    } else if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG && samples == 3 && bits == 8) {
        TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        layout.type = IMAGE_RGB_8I;
    } else {
        handle.fail("only 8- and 16-bit grey and 8-bit RGB TIFF pages are read region by region");
    }
    layout.level.width = width;
    layout.level.height = height;
    layout.level.tiled = TIFFIsTiled(tif) != 0;
    if (layout.level.tiled) {
        layout.level.blockWidth = field<uint32_t>(tif, TIFFTAG_TILEWIDTH, 0);
        layout.level.blockHeight = field<uint32_t>(tif, TIFFTAG_TILELENGTH, 0);
        if (layout.level.blockWidth == 0 || layout.level.blockHeight == 0)
            handle.fail("the TIFF page has tiles of no size");
    } else {
        layout.level.blockWidth = width;
        layout.level.blockHeight = std::clamp<uint32_t>(field<uint32_t>(tif, TIFFTAG_ROWSPERSTRIP, height), 1, height);
    }
    return layout;
}

std::unique_ptr<TiffHandle> openFile(const std::string& path) {
    // "O": tile and strip offsets are loaded when needed, not a BigTIFF's millions at once.
    auto handle = std::make_unique<TiffHandle>(path, "rO");
    handle->detach();
    return handle;
}

} // namespace

TiffPyramid::TiffPyramid(const std::string& path, const std::vector<std::string>& overviews) : m_path(path) {
    auto first = openFile(path);
    const Layout base = describe(*first);
    m_type = base.type;
    m_samples = base.samples;
    std::vector<uint64_t> subIfds;
    uint16_t count = 0;
    uint64_t* offsets = nullptr;
    if (TIFFGetField(first->get(), TIFFTAG_SUBIFD, &count, &offsets) && offsets)
        subIfds.assign(offsets, offsets + count);
    const bool multiPage = subIfds.empty() && TIFFNumberOfDirectories(first->get()) > 1;
    addLevel(std::move(first));
    const std::size_t more = subIfds.empty() ? (multiPage ? std::size_t(64) : 0) : subIfds.size();
    for (std::size_t i = 0; i < more; ++i) {
        auto handle = openFile(path);
        const bool found = subIfds.empty() ? TIFFSetDirectory(handle->get(), tdir_t(i + 1))
                                           : TIFFSetSubDirectory(handle->get(), subIfds[i]);
        if (!found)
            break;
        const Layout layout = describe(*handle);
        const Level& previous = m_levels.back();
        const bool smaller = layout.level.width < previous.width && layout.level.height < previous.height;
        if (layout.type != m_type || layout.samples != m_samples || !smaller) {
            if (m_levels.size() == 1 && layout.level.width == previous.width && layout.level.height == previous.height)
                KYVO_THROW("the TIFF file is a stack of pages, not one image");
            break;
        }
        addLevel(std::move(handle));
    }
    for (const std::string& overview : overviews) {
        auto handle = openFile(overview);
        const Layout layout = describe(*handle);
        const Level& previous = m_levels.back();
        if (layout.type != m_type || layout.level.width >= previous.width || layout.level.height >= previous.height)
            KYVO_THROW("the overview " + overview + " does not fit the image");
        addLevel(std::move(handle));
    }
}

TiffPyramid::~TiffPyramid() = default;

void TiffPyramid::addLevel(std::unique_ptr<TiffHandle> handle) {
    const Layout layout = describe(*handle);
    m_levels.push_back(layout.level);
    auto opened = std::make_unique<Opened>();
    opened->samples = layout.samples;
    opened->handle = std::move(handle);
    m_opened.push_back(std::move(opened));
}

const TiffPyramid::Level& TiffPyramid::level(int i) const {
    return m_levels[std::size_t(std::clamp(i, 0, levelCount() - 1))];
}

void TiffPyramid::copyBlock(const uint8_t* block, int samples, uint32_t bx, uint32_t by, uint32_t bw, uint32_t bh,
                            uint32_t x, uint32_t y, CImage& out) const {
    const uint32_t x0 = std::max(bx, x);
    const uint32_t x1 = std::min<uint64_t>(uint64_t(bx) + bw, uint64_t(x) + out.size().x);
    const uint32_t y0 = std::max(by, y);
    const uint32_t y1 = std::min<uint64_t>(uint64_t(by) + bh, uint64_t(y) + out.size().y);
    if (x0 >= x1 || y0 >= y1)
        return;
    const std::size_t channelBytes = std::size_t(ImageTypeBytesPerChannel(m_type));
    const std::size_t stored = channelBytes * std::size_t(samples);
    const std::size_t kept = std::size_t(out.bytesPerVoxel());
    for (uint32_t row = y0; row < y1; ++row) {
        const uint8_t* from = block + (std::size_t(row - by) * bw + (x0 - bx)) * stored;
        uint8_t* to = out.voxel(x0 - x, row - y, 0);
        if (stored == kept) {
            std::memcpy(to, from, std::size_t(x1 - x0) * kept);
            continue;
        }
        for (uint32_t col = x0; col < x1; ++col, from += stored, to += kept)
            std::memcpy(to, from, kept);
    }
}

std::unique_ptr<CImage> TiffPyramid::read(int i, uint32_t x, uint32_t y, uint32_t width, uint32_t height) const {
    const Level& lv = level(i);
    if (x >= lv.width || y >= lv.height || width == 0 || height == 0)
        KYVO_THROW("the region lies outside the TIFF image");
    width = std::min(width, lv.width - x);
    height = std::min(height, lv.height - y);
    auto out = std::make_unique<CImage>(m_type, CSize(width, height, 1));
    std::lock_guard<std::mutex> lock(m_mutex);
    Opened& opened = *m_opened[std::size_t(std::clamp(i, 0, levelCount() - 1))];
    TIFF* tif = opened.handle->get();
    const tmsize_t blockBytes = lv.tiled ? TIFFTileSize(tif) : TIFFStripSize(tif);
    const std::size_t stored = std::size_t(ImageTypeBytesPerChannel(m_type)) * std::size_t(opened.samples);
    if (blockBytes <= 0 || std::size_t(blockBytes) < std::size_t(lv.blockWidth) * lv.blockHeight * stored)
        opened.handle->fail("the TIFF page's blocks have an unexpected size");
    // A hostile header may claim blocks of any size; one block never gets more than a region's share.
    if (!MemoryBudget::fits(std::uint64_t(blockBytes)) || std::uint64_t(blockBytes) > (std::uint64_t(1) << 30))
        opened.handle->fail("the TIFF page's blocks are too large to read");
    opened.buffer.resize(std::size_t(blockBytes));
    const uint32_t firstRow = y / lv.blockHeight * lv.blockHeight;
    const uint32_t firstColumn = lv.tiled ? x / lv.blockWidth * lv.blockWidth : 0;
    for (uint64_t by = firstRow; by < uint64_t(y) + height; by += lv.blockHeight) {
        for (uint64_t bx = firstColumn; bx < uint64_t(x) + width; bx += lv.blockWidth) {
            // A short or broken block leaves zeros, not the previous block's pixels.
            std::fill(opened.buffer.begin(), opened.buffer.end(), uint8_t(0));
            const tmsize_t got =
                lv.tiled ? TIFFReadEncodedTile(tif, TIFFComputeTile(tif, uint32_t(bx), uint32_t(by), 0, 0),
                                               opened.buffer.data(), blockBytes)
                         : TIFFReadEncodedStrip(tif, TIFFComputeStrip(tif, uint32_t(by), 0), opened.buffer.data(),
                                                blockBytes);
            if (got < 0)
                opened.handle->fail("cannot decode a block of the TIFF image");
            copyBlock(opened.buffer.data(), opened.samples, uint32_t(bx), uint32_t(by), lv.blockWidth, lv.blockHeight, x, y,
                      *out);
        }
    }
    return out;
}

} // namespace io
} // namespace KYVO
