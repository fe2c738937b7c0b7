// SPDX-License-Identifier: MIT
#include "platform/io/TiffReader.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"
#include "platform/io/TiffHandle.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tiffio.h>
#include <vector>

namespace KYVO {
namespace io {

namespace {

// Compressed pages may expand a lot (a blank fax page), but not without bound: a header that
// promises more than this is refused before anything is allocated for it.
constexpr std::uint64_t kMaxExpansion = 4096;
constexpr std::uint64_t kExpansionSlack = std::uint64_t(256) << 20;

// Alpha, masks and the like beyond a pixel's colour samples. Files with a few such channels are
// common; thousands only come from a damaged or hostile header, whose rows would be gigabytes.
constexpr std::uint16_t kMaxExtraSamples = 16;

enum class Method { Samples, Palette, Rgba };

/// How one page is stored and what it becomes.
struct Page {
    std::uint32_t width = 0, height = 0;
    std::uint16_t spp = 1, bps = 1, sampleFormat = SAMPLEFORMAT_UINT;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK, planar = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE, fillOrder = FILLORDER_MSB2LSB;
    bool tiled = false;
    std::uint32_t rowsPerStrip = 0, tileWidth = 0, tileHeight = 0;
    EnImageType type = IMAGE_GREY_8;
    int channels = 1;
    Method method = Method::Samples;
    bool invert = false;
    std::vector<std::array<std::uint8_t, 3>> palette;
};

[[noreturn]] void unsupported(const std::string& what) {
    KYVO_THROW("unsupported TIFF content: " + what);
}

/// The colour samples of one pixel in that photometric interpretation; anything we cannot
/// read is refused later, so the largest model we know (CMYK) stands in for it.
int colourSamples(std::uint16_t photometric) {
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
    case PHOTOMETRIC_MASK:
    case PHOTOMETRIC_LOGL:
        return 1;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_YCBCR:
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case PHOTOMETRIC_ITULAB:
    case PHOTOMETRIC_LOGLUV:
        return 3;
    default:
        return 4;
    }
}

void checkSampleCount(const Page& p) {
    const int colours = colourSamples(p.photometric);
    if (p.spp > colours + kMaxExtraSamples)
        unsupported(std::to_string(p.spp) +
                    " samples per pixel, where a pixel of photometric interpretation " +
                    std::to_string(p.photometric) + " has " + std::to_string(colours) + " colour sample" +
                    (colours == 1 ? "" : "s") + " and we read at most " + std::to_string(kMaxExtraSamples) +
                    " extra ones");
}

void readPalette(TIFF* tif, Page& p) {
    std::uint16_t *r = nullptr, *g = nullptr, *b = nullptr;
    if (!TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b) || !r || !g || !b)
        KYVO_THROW("the TIFF palette is missing");
    const std::size_t n = std::size_t(1) << p.bps;
    // Some old writers store 8-bit entries; proper ones use the full 16 bits.
    bool eightBit = true;
    for (std::size_t i = 0; i < n; ++i)
        eightBit = eightBit && r[i] < 256 && g[i] < 256 && b[i] < 256;
    const int shift = eightBit ? 0 : 8;
    bool grey = true;
    p.palette.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        p.palette[i] = {std::uint8_t(r[i] >> shift), std::uint8_t(g[i] >> shift),
                        std::uint8_t(b[i] >> shift)};
        grey = grey && p.palette[i][0] == p.palette[i][1] && p.palette[i][1] == p.palette[i][2];
    }
    p.type = grey ? IMAGE_GREY_8 : IMAGE_RGB_8I;
    p.channels = grey ? 1 : 3;
}

void useRgbaConversion(TIFF* tif, Page& p) {
    char message[1024] = "";
    if (!TIFFRGBAImageOK(tif, message))
        unsupported(message);
    p.method = Method::Rgba;
    p.type = IMAGE_RGB_8I;
    p.channels = 3;
}

Page describePage(const TiffHandle& handle) {
    TIFF* tif = handle.get();
    Page p;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &p.width) ||
        !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &p.height) || p.width == 0 || p.height == 0)
        handle.fail("the TIFF page has no valid size");
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &p.spp);
    // Bilevel files may leave BitsPerSample out; libtiff's default is 1.
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &p.bps);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &p.sampleFormat);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &p.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &p.compression);
    TIFFGetFieldDefaulted(tif, TIFFTAG_FILLORDER, &p.fillOrder);
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &p.photometric))
        p.photometric = p.spp >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    p.tiled = TIFFIsTiled(tif);
    if (p.tiled) {
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &p.tileWidth);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &p.tileHeight);
        if (p.tileWidth == 0 || p.tileHeight == 0)
            handle.fail("the TIFF tile size is invalid");
    } else {
        TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &p.rowsPerStrip);
        p.rowsPerStrip = std::max<std::uint32_t>(1, std::min(p.rowsPerStrip, p.height));
    }
    if (p.spp == 0)
        handle.fail("the TIFF page has no samples");
    checkSampleCount(p);
    if (p.photometric == PHOTOMETRIC_YCBCR && p.compression == COMPRESSION_JPEG) {
        // Let libtiff's JPEG codec hand out RGB.
        TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        p.photometric = PHOTOMETRIC_RGB;
    }

    const bool uint = p.sampleFormat == SAMPLEFORMAT_UINT;
    switch (p.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
        p.invert = p.photometric == PHOTOMETRIC_MINISWHITE;
        if (uint && p.bps < 8 && (p.bps == 1 || p.bps == 2 || p.bps == 4) && p.spp == 1)
            p.type = p.bps == 1 ? IMAGE_BOOL : IMAGE_GREY_8;
        else if (uint && p.bps == 8)
            p.type = IMAGE_GREY_8;
        else if (uint && p.bps == 16)
            p.type = IMAGE_GREY_16;
        else if (p.sampleFormat == SAMPLEFORMAT_IEEEFP && p.bps == 32)
            p.type = IMAGE_GREY_F, p.invert = false;
        else
            unsupported(std::to_string(p.bps) + "-bit greyscale samples of format " +
                        std::to_string(p.sampleFormat));
        break;
    case PHOTOMETRIC_RGB:
        if (uint && p.bps == 8 && p.spp >= 3) {
            p.type = IMAGE_RGB_8I;
            p.channels = 3;
        } else {
            useRgbaConversion(tif, p);
        }
        break;
    case PHOTOMETRIC_PALETTE:
        if (p.spp != 1 || !uint || (p.bps != 1 && p.bps != 2 && p.bps != 4 && p.bps != 8))
            unsupported("palette with " + std::to_string(p.bps) + " bits");
        p.method = Method::Palette;
        readPalette(tif, p);
        break;
    default:
        useRgbaConversion(tif, p);
        break;
    }
    return p;
}

bool sameLayout(const Page& a, const Page& b) {
    return a.width == b.width && a.height == b.height && a.type == b.type;
}

/// One stored sample of `bits` bits (1, 2, 4 or 8) from a packed row.
inline unsigned packedSample(const std::uint8_t* row, std::size_t x, int bits) {
    if (bits == 8)
        return row[x];
    const std::size_t bit = x * std::size_t(bits);
    return (row[bit >> 3] >> (8 - bits - int(bit & 7))) & ((1u << bits) - 1);
}

/// Turns one stored row of one plane into voxels.
void convertRow(const Page& p, int plane, const std::uint8_t* in, std::uint8_t* out) {
    const std::size_t w = p.width;
    if (p.method == Method::Palette) {
        for (std::size_t x = 0; x < w; ++x) {
            const auto& c = p.palette[packedSample(in, x, p.bps)];
            if (p.channels == 1)
                out[x] = c[0];
            else
                std::memcpy(out + 3 * x, c.data(), 3);
        }
        return;
    }
    if (p.bps < 8) {
        const unsigned max = (1u << p.bps) - 1;
        for (std::size_t x = 0; x < w; ++x) {
            const unsigned v = packedSample(in, x, p.bps);
            out[x] = std::uint8_t(p.invert ? max - v : v);
        }
        return;
    }
    const std::size_t B = p.bps / 8, C = std::size_t(p.channels), bpv = B * C;
    if (p.planar == PLANARCONFIG_SEPARATE && p.spp > 1) {
        for (std::size_t x = 0; x < w; ++x)
            std::memcpy(out + x * bpv + std::size_t(plane) * B, in + x * B, B);
    } else if (p.spp == C) {
        std::memcpy(out, in, w * bpv);
    } else {
        for (std::size_t x = 0; x < w; ++x)
            std::memcpy(out + x * bpv, in + x * p.spp * B, bpv);
    }
}

bool separatePlanes(const Page& p) {
    return p.planar == PLANARCONFIG_SEPARATE && p.spp > 1;
}

/// The planes of a separately stored page that are decoded: the colour ones, for libtiff's
/// RGBA conversion alpha as well.
int planesRead(const Page& p) {
    if (!separatePlanes(p))
        return 1;
    return p.method == Method::Rgba ? std::min<int>(p.spp, 4) : std::min<int>(p.spp, p.channels);
}

/// The most bytes `stored` bytes in the page's compression can decode to, rows of `rowBytes`
/// each; UINT64_MAX where the compression sets no useful limit (JPEG, whose progressive runs
/// skip any number of blocks; zstd, LZMA and the rest): there the budget alone bounds the buffers.
std::uint64_t decodableBytes(const Page& p, std::uint64_t stored, std::uint64_t rowBytes) {
    std::uint64_t ratio;
    switch (p.compression) {
    case COMPRESSION_NONE:
        ratio = 1;
        break;
    case COMPRESSION_PACKBITS:
        ratio = 64; // a two-byte run stands for at most 128 bytes
        break;
    case COMPRESSION_LZW:
        ratio = 3414; // a 12-bit code stands for at most a whole string of libtiff's 5119-entry table
        break;
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
        ratio = 1032; // a 258-byte match in two bits
        break;
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTRLEW:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4:
        ratio = 8 * std::max<std::uint64_t>(rowBytes, 1); // a blank row may take a single bit
        break;
    default:
        return UINT64_MAX;
    }
    std::uint64_t bytes = 0;
    return mulOverflow(stored, ratio, &bytes) ? bytes : UINT64_MAX;
}

/// Refuses a page whose strips or tiles are too short for what the header says they decode to,
/// before any buffer is sized by the header. Only the planes that are read count.
void checkStoredSizes(const TiffHandle& handle, const Page& p) {
    TIFF* tif = handle.get();
    if (decodableBytes(p, 1, 1) == UINT64_MAX)
        return;
    const std::uint64_t w = p.width, h = p.height;
    const std::uint64_t bandRows = p.tiled ? p.tileHeight : p.rowsPerStrip;
    const std::uint64_t perPlane =
        p.tiled ? ((w + p.tileWidth - 1) / p.tileWidth) * ((h + bandRows - 1) / bandRows)
                : (h + bandRows - 1) / bandRows;
    const std::uint64_t stored = p.tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
    const std::uint64_t count = std::min(stored, perPlane * std::uint64_t(planesRead(p)));
    const std::uint64_t rowBytes = std::uint64_t(p.tiled ? TIFFTileRowSize64(tif) : TIFFScanlineSize64(tif));
    const std::uint64_t tileBytes = p.tiled ? std::uint64_t(TIFFTileSize64(tif)) : 0;
    for (std::uint64_t s = 0; s < count; ++s) {
        // Every strip but a plane's last holds bandRows rows.
        const std::uint64_t decoded =
            p.tiled ? tileBytes
                    : std::uint64_t(TIFFVStripSize64(
                          tif, std::uint32_t(std::min(bandRows, h - s % perPlane * bandRows))));
        const std::uint64_t bytes = TIFFGetStrileByteCount(tif, std::uint32_t(s));
        if (decoded > decodableBytes(p, bytes, rowBytes))
            KYVO_THROW("the TIFF file is damaged: " + std::string(p.tiled ? "tile " : "strip ") +
                       std::to_string(s) + " holds " + MemoryBudget::describe(bytes) +
                       ", too little to decode to the " + MemoryBudget::describe(decoded) +
                       " its header promises");
    }
}

/// Decodes the page band by band (a strip or a row of tiles) and converts each row.
void readBands(const TiffHandle& handle, const Page& p, std::uint8_t* dst) {
    TIFF* tif = handle.get();
    const bool separate = separatePlanes(p);
    const int planes = planesRead(p);
    const std::uint64_t planeSamples = separate ? 1 : p.spp;
    const std::size_t rowBytes = std::size_t((std::uint64_t(p.width) * planeSamples * p.bps + 7) / 8);
    const std::size_t outRow = std::size_t(p.width) * std::size_t(ImageTypeBytesPerVoxel(p.type));
    const std::uint32_t bandRows = p.tiled ? p.tileHeight : p.rowsPerStrip;
    const std::uint64_t bandBytes = std::uint64_t(rowBytes) * std::min(bandRows, p.height);
    std::uint64_t tileBytes = 0;
    std::size_t tileRowBytes = 0;
    if (p.tiled) {
        tileBytes = std::uint64_t(TIFFTileSize64(tif));
        tileRowBytes = std::size_t(TIFFTileRowSize64(tif));
        if (tileBytes == 0 || tileRowBytes == 0 ||
            tileBytes > std::max<std::uint64_t>(std::uint64_t(64) << 20, 4 * bandBytes))
            handle.fail("the TIFF tile size is invalid");
    }
    const MemoryClaim buffers(bandBytes + tileBytes, std::string("Reading TIFF ") +
                                                         (p.tiled ? "tiles" : "strips") + " of " +
                                                         std::to_string(p.width) + " pixels with " +
                                                         std::to_string(p.spp) + " samples each");
    std::vector<std::uint8_t> band(static_cast<std::size_t>(bandBytes));
    std::vector<std::uint8_t> tile(static_cast<std::size_t>(tileBytes));
    for (int plane = 0; plane < planes; ++plane) {
        for (std::uint32_t y0 = 0; y0 < p.height; y0 += bandRows) {
            const std::uint32_t rows = std::min(bandRows, p.height - y0);
            if (!p.tiled) {
                const tmsize_t want = tmsize_t(rows * rowBytes);
                if (TIFFReadEncodedStrip(tif, TIFFComputeStrip(tif, y0, std::uint16_t(plane)), band.data(),
                                         want) != want)
                    handle.fail("cannot read TIFF strip at row " + std::to_string(y0));
            } else {
                for (std::uint32_t x0 = 0; x0 < p.width; x0 += p.tileWidth) {
                    const ttile_t t = TIFFComputeTile(tif, x0, y0, 0, std::uint16_t(plane));
                    if (TIFFReadEncodedTile(tif, t, tile.data(), tmsize_t(tile.size())) < 0)
                        handle.fail("cannot read TIFF tile " + std::to_string(t));
                    // Tile widths are multiples of 16 pixels, so x0 starts on a byte.
                    const std::size_t offset = std::size_t(std::uint64_t(x0) * planeSamples * p.bps / 8);
                    const std::size_t n = std::min(tileRowBytes, rowBytes - offset);
                    for (std::uint32_t r = 0; r < rows; ++r)
                        std::memcpy(band.data() + r * rowBytes + offset, tile.data() + r * tileRowBytes, n);
                }
            }
            for (std::uint32_t r = 0; r < rows; ++r)
                convertRow(p, plane, band.data() + r * rowBytes, dst + (y0 + r) * outRow);
        }
    }
}

/// Reads strips whose stored rows already are voxel rows straight into the volume.
void readStripsDirect(const TiffHandle& handle, const Page& p, std::uint8_t* dst) {
    TIFF* tif = handle.get();
    const std::size_t rowBytes = std::size_t(p.width) * std::size_t(ImageTypeBytesPerVoxel(p.type));
    const std::uint32_t strips = (p.height + p.rowsPerStrip - 1) / p.rowsPerStrip;
    if (TIFFNumberOfStrips(tif) < strips)
        handle.fail("the TIFF page has too few strips");
    // Uncompressed strips in our bit order are plain file bytes: one read each, no staging.
    const bool raw = p.compression == COMPRESSION_NONE && p.fillOrder == FILLORDER_MSB2LSB;
    for (std::uint32_t s = 0; s < strips; ++s) {
        const std::uint32_t rows = std::min(p.rowsPerStrip, p.height - s * p.rowsPerStrip);
        const tmsize_t want = tmsize_t(rows * rowBytes);
        std::uint8_t* out = dst + std::size_t(s) * p.rowsPerStrip * rowBytes;
        if (raw && TIFFGetStrileByteCount(tif, s) >= std::uint64_t(want)) {
            if (TIFFReadRawStrip(tif, s, out, want) != want)
                handle.fail("cannot read TIFF strip " + std::to_string(s));
            if (TIFFIsByteSwapped(tif) && p.bps == 16)
                TIFFSwabArrayOfShort(reinterpret_cast<std::uint16_t*>(out), tmsize_t(want / 2));
            else if (TIFFIsByteSwapped(tif) && p.bps == 32)
                TIFFSwabArrayOfLong(reinterpret_cast<std::uint32_t*>(out), tmsize_t(want / 4));
        } else if (TIFFReadEncodedStrip(tif, s, out, want) != want) {
            handle.fail("cannot read TIFF strip " + std::to_string(s));
        }
    }
}

void readRgba(const TiffHandle& handle, const Page& p, std::uint8_t* dst) {
    const std::uint64_t pixels = std::uint64_t(p.width) * p.height;
    const MemoryClaim claim(4 * pixels, "Converting a TIFF page of " + std::to_string(p.width) + "x" +
                                            std::to_string(p.height) + " pixels to RGBA");
    std::vector<std::uint32_t> raster(static_cast<std::size_t>(pixels));
    if (!TIFFReadRGBAImageOriented(handle.get(), p.width, p.height, raster.data(), ORIENTATION_TOPLEFT, 1))
        handle.fail("cannot decode the TIFF page");
    for (std::size_t i = 0; i < raster.size(); ++i) {
        dst[3 * i] = std::uint8_t(TIFFGetR(raster[i]));
        dst[3 * i + 1] = std::uint8_t(TIFFGetG(raster[i]));
        dst[3 * i + 2] = std::uint8_t(TIFFGetB(raster[i]));
    }
}

void invertLayer(const Page& p, CImage& image, std::size_t z) {
    std::uint8_t* d = image.layer(z);
    const std::size_t n = image.layerBytes();
    if (p.type == IMAGE_GREY_16) {
        for (std::size_t i = 0; i < n; i += 2) {
            std::uint16_t v;
            std::memcpy(&v, d + i, 2);
            v = std::uint16_t(0xffff - v);
            std::memcpy(d + i, &v, 2);
        }
    } else {
        for (std::size_t i = 0; i < n; ++i)
            d[i] = std::uint8_t(255 - d[i]);
    }
}

void readPage(const TiffHandle& handle, const Page& p, CImage& image, std::size_t z) {
    std::uint8_t* dst = image.layer(z);
    if (p.method == Method::Rgba) {
        readRgba(handle, p, dst);
        return;
    }
    if (p.method == Method::Samples && p.bps >= 8 && p.spp == p.channels && !p.tiled &&
        (p.planar == PLANARCONFIG_CONTIG || p.spp == 1))
        readStripsDirect(handle, p, dst);
    else
        readBands(handle, p, dst);
    // Sub-byte samples were inverted while unpacking.
    if (p.invert && p.bps >= 8)
        invertLayer(p, image, z);
}

bool isReducedImage(TIFF* tif) {
    std::uint32_t kind = 0;
    return TIFFGetField(tif, TIFFTAG_SUBFILETYPE, &kind) && (kind & FILETYPE_REDUCEDIMAGE);
}

} // namespace

std::unique_ptr<CImage> TiffReader::read(const std::string& path) {
    std::uint64_t fileSize;
    {
        BinaryFile probe(path, BinaryFile::Read);
        fileSize = probe.size();
    }
    // "m": no memory mapping, so that raw strips are read straight into the volume.
    TiffHandle handle(path, "rm");
    TIFF* tif = handle.get();
    // An unreadable link in the page chain (a cut-off file) is an error, not a shorter stack.
    const std::uint64_t directories = TIFFNumberOfDirectories(tif);
    if (handle.hasErrors())
        handle.fail("cannot read the list of TIFF pages");
    MemoryClaim held;
    std::unique_ptr<CImage> image;
    Page first;
    std::size_t pages = 0;
    for (std::uint64_t d = 0; d < directories; ++d) {
        if (d > 0 && !TIFFReadDirectory(tif))
            handle.fail("cannot read TIFF page " + std::to_string(d + 1));
        if (isReducedImage(tif) && directories > 1)
            continue;
        const Page page = describePage(handle);
        // Before the volume too: where the compression tells, the strips bound it better than the file's
        // size.
        checkStoredSizes(handle, page);
        if (!image) {
            first = page;
            std::uint64_t bytes = 0;
            if (!mulOverflow(std::uint64_t(page.width) * page.height,
                             std::uint64_t(ImageTypeBytesPerVoxel(page.type)), &bytes) ||
                !mulOverflow(bytes, directories - d, &bytes) ||
                bytes > fileSize * kMaxExpansion + kExpansionSlack)
                KYVO_THROW("the TIFF header promises more pixels than the file can hold");
            image = std::make_unique<CImage>(page.type, CSize(page.width, page.height, directories - d),
                                             CImage::Uninitialised);
            // The volume is held while strips, tiles and a trimmed copy are staged.
            held.add(image->byteCount(), "A TIFF volume");
        } else if (!sameLayout(first, page)) {
            KYVO_THROW("TIFF page " + std::to_string(d + 1) +
                       " differs in size or pixel type from the first page");
        }
        readPage(handle, page, *image, pages++);
    }
    if (!image)
        KYVO_THROW("the TIFF file holds no image");
    if (pages < image->size().z) {
        auto trimmed = std::make_unique<CImage>(image->type(), CSize(first.width, first.height, pages),
                                                CImage::Uninitialised);
        std::memcpy(trimmed->data(), image->data(), trimmed->byteCount());
        image = std::move(trimmed);
    }
    return image;
}

} // namespace io
} // namespace KYVO
