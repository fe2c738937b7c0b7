// SPDX-License-Identifier: MIT
#include "platform/io/TiffCodec.h"

#include "platform/CException.h"
#include "platform/io/TiffHandle.h"
#include "platform/io/TiffReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tiffio.h>
#include <vector>

namespace KYVO {
namespace io {

namespace {

constexpr std::size_t kStripBytes = 1 << 20;

std::uint16_t compressionFor(const std::string& name) {
    if (name.empty() || name == "none")
        return COMPRESSION_NONE;
    if (name == "deflate" || name == "zip")
        return COMPRESSION_ADOBE_DEFLATE;
    if (name == "lzw")
        return COMPRESSION_LZW;
    if (name == "packbits")
        return COMPRESSION_PACKBITS;
    KYVO_THROW("unknown TIFF compression \"" + name + "\"");
}

void setPageTags(TIFF* tif, const CImage& image, std::size_t z, std::uint16_t compression, int level,
                 std::uint32_t rowsPerStrip) {
    const EnImageType type = image.type();
    const int bits = type == IMAGE_BOOL ? 1 : ImageTypeBytesPerChannel(type) * 8;
    TIFFSetField(tif, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
    if (image.size().z <= 0xffff)
        TIFFSetField(tif, TIFFTAG_PAGENUMBER, int(z), int(image.size().z));
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, std::uint32_t(image.size().x));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, std::uint32_t(image.size().y));
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, image.channels());
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, type == IMAGE_GREY_F ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, type == IMAGE_RGB_8I ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
    if (compression == COMPRESSION_ADOBE_DEFLATE || compression == COMPRESSION_LZW) {
        if (type != IMAGE_BOOL)
            TIFFSetField(tif, TIFFTAG_PREDICTOR,
                         type == IMAGE_GREY_F ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL);
        if (compression == COMPRESSION_ADOBE_DEFLATE && level >= 1 && level <= 9)
            TIFFSetField(tif, TIFFTAG_ZIPQUALITY, level);
    }
}

} // namespace

std::unique_ptr<CImage> TiffCodec::read(const std::string& path, const Options&) const {
    return TiffReader::read(path);
}

CSize TiffCodec::readSize(const std::string& path) const {
    // The first page's size and the number of pages, as the reader stacks them; no strip or
    // tile is decoded.
    TiffHandle handle(path, "r");
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    if (!TIFFGetField(handle.get(), TIFFTAG_IMAGEWIDTH, &width) ||
        !TIFFGetField(handle.get(), TIFFTAG_IMAGELENGTH, &height) || width == 0 || height == 0)
        handle.fail("the first page has no size");
    const tdir_t pages = TIFFNumberOfDirectories(handle.get());
    return CSize(width, height, pages > 0 ? pages : 1);
}

bool TiffCodec::voxelSize(const std::string& path, double size[3]) {
    TiffHandle handle(path, "r");
    float x = 0;
    float y = 0;
    std::uint16_t unit = RESUNIT_NONE;
    if (!TIFFGetField(handle.get(), TIFFTAG_XRESOLUTION, &x) || !TIFFGetField(handle.get(), TIFFTAG_YRESOLUTION, &y) ||
        !(x > 0) || !(y > 0))
        return false;
    TIFFGetFieldDefaulted(handle.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
    char* text = nullptr;
    const std::string description =
        TIFFGetField(handle.get(), TIFFTAG_IMAGEDESCRIPTION, &text) && text ? std::string(text) : std::string();
    auto entry = [&description](const std::string& key) {
        const std::size_t at = description.find("\n" + key + "=");
        if (at == std::string::npos)
            return std::string();
        const std::size_t start = at + key.size() + 2;
        return description.substr(start, description.find('\n', start) - start);
    };
    // Micrometres per unit of the resolution.
    double micrometres = 0;
    if (unit == RESUNIT_INCH)
        micrometres = 25400;
    else if (unit == RESUNIT_CENTIMETER)
        micrometres = 10000;
    else if (const std::string named = entry("unit"); named == "micron" || named == "um" || named == "\u00b5m")
        micrometres = 1;
    else if (named == "nm")
        micrometres = 0.001;
    else if (named == "mm")
        micrometres = 1000;
    if (micrometres <= 0)
        return false;
    size[0] = micrometres / x;
    size[1] = micrometres / y;
    const double spacing = std::atof(entry("spacing").c_str());
    size[2] = spacing > 0 ? spacing * (unit == RESUNIT_NONE ? micrometres : 1) : size[0];
    return true;
}

void TiffCodec::checkWritable(const CImage& image) const {
    if (image.size().x > 0xffffffffu || image.size().y > 0xffffffffu)
        KYVO_THROW("TIFF pages cannot be wider or higher than 4294967295 pixels");
}

void TiffCodec::write(const std::string& path, const CImage& image, const Options& options) const {
    checkWritable(image);
    const std::uint16_t compression = compressionFor(options.compression);
    TiffHandle handle(path, image.byteCount() > BigTiffThreshold ? "w8" : "w");
    TIFF* tif = handle.get();
    const std::size_t w = image.size().x, h = image.size().y;
    const bool packBits = image.type() == IMAGE_BOOL;
    const std::size_t rowBytes = packBits ? (w + 7) / 8 : w * std::size_t(image.bytesPerVoxel());
    const std::uint32_t rowsPerStrip = std::uint32_t(std::clamp<std::size_t>(kStripBytes / rowBytes, 1, h));
    // libtiff may rework the strip it is given; ours is const, so compressed and packed
    // strips are staged in a buffer of our own.
    const bool stage = packBits || compression != COMPRESSION_NONE;
    std::vector<std::uint8_t> strip(stage ? rowBytes * rowsPerStrip : 0);

    for (std::size_t z = 0; z < image.size().z; ++z) {
        setPageTags(tif, image, z, compression, options.level, rowsPerStrip);
        const std::uint8_t* layer = image.layer(z);
        for (std::size_t y0 = 0, s = 0; y0 < h; y0 += rowsPerStrip, ++s) {
            const std::size_t rows = std::min<std::size_t>(rowsPerStrip, h - y0);
            const std::uint8_t* src = layer + y0 * w * std::size_t(image.bytesPerVoxel());
            void* data = const_cast<std::uint8_t*>(src);
            if (packBits) {
                std::fill(strip.begin(), strip.end(), 0);
                for (std::size_t r = 0; r < rows; ++r)
                    for (std::size_t x = 0; x < w; ++x)
                        if (src[r * w + x])
                            strip[r * rowBytes + (x >> 3)] |= std::uint8_t(0x80 >> (x & 7));
                data = strip.data();
            } else if (stage) {
                std::memcpy(strip.data(), src, rows * rowBytes);
                data = strip.data();
            }
            if (TIFFWriteEncodedStrip(tif, std::uint32_t(s), data, tmsize_t(rows * rowBytes)) < 0)
                handle.fail("cannot write the TIFF data");
        }
        if (!TIFFWriteDirectory(tif))
            handle.fail("cannot write the TIFF directory");
    }
    if (!TIFFFlush(tif))
        handle.fail("cannot write the TIFF file");
    handle.close();
}

} // namespace io
} // namespace KYVO
