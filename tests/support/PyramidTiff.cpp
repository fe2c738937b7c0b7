// SPDX-License-Identifier: MIT
#include "support/PyramidTiff.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <tiffio.h>
#include <vector>
#include <zlib.h>

namespace pxmtest {

namespace {

void fillTile(const PyramidTiff& tiff, int level, uint32_t column, uint32_t row,
              std::vector<uint8_t>& pixels) {
    const int channels = tiff.rgb ? 3 : 1;
    for (uint32_t j = 0; j < tiff.tile; ++j) {
        for (uint32_t i = 0; i < tiff.tile; ++i) {
            // Whole tiles carry a texture, so that they cost what real tiles cost to decode.
            const uint8_t v = tiff.tileValue
                                  ? uint8_t(tiff.tileValue(level, column, row) + ((i * 7 ^ j * 3) & 31))
                                  : tiff.value(level, column * tiff.tile + i, row * tiff.tile + j);
            uint8_t* p = &pixels[(std::size_t(j) * tiff.tile + i) * std::size_t(channels)];
            p[0] = v;
            if (tiff.rgb) {
                p[1] = uint8_t(v / 2);
                p[2] = uint8_t(255 - v);
            }
        }
    }
}

} // namespace

void writePyramidTiff(const std::string& path, const PyramidTiff& tiff) {
    TIFF* tif = TIFFOpen(path.c_str(), tiff.bigTiff ? "w8" : "w");
    if (!tif)
        throw std::runtime_error("cannot create " + path);
    const int channels = tiff.rgb ? 3 : 1;
    std::vector<uint8_t> pixels(std::size_t(tiff.tile) * tiff.tile * std::size_t(channels));
    std::map<uint8_t, std::vector<uint8_t>> compressed;
    for (int level = 0; level < tiff.levels; ++level) {
        const int shift = tiff.halve ? level : 0;
        const uint32_t w = std::max<uint32_t>(1, tiff.width >> shift);
        const uint32_t h = std::max<uint32_t>(1, tiff.height >> shift);
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
        const bool striped = level == 0 && tiff.rowsPerStrip > 0;
        if (striped) {
            TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, tiff.rowsPerStrip);
        } else {
            TIFFSetField(tif, TIFFTAG_TILEWIDTH, tiff.tile);
            TIFFSetField(tif, TIFFTAG_TILELENGTH, tiff.tile);
        }
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, tiff.rgb ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
        if (level > 0 && tiff.halve)
            TIFFSetField(tif, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
        if (level == 0 && tiff.subIfds && tiff.levels > 1) {
            std::vector<toff_t> offsets(std::size_t(tiff.levels - 1), 0);
            TIFFSetField(tif, TIFFTAG_SUBIFD, uint16_t(offsets.size()), offsets.data());
        }
        for (uint32_t y = 0; striped && y < h; y += tiff.rowsPerStrip) {
            const uint32_t rows = std::min(tiff.rowsPerStrip, h - y);
            std::vector<uint8_t> strip(std::size_t(w) * rows * std::size_t(channels));
            for (uint32_t j = 0; j < rows; ++j)
                for (uint32_t i = 0; i < w; ++i)
                    for (int c = 0; c < channels; ++c)
                        strip[(std::size_t(j) * w + i) * std::size_t(channels) + std::size_t(c)] =
                            tiff.value(0, i, y + j);
            if (TIFFWriteEncodedStrip(tif, TIFFComputeStrip(tif, y, 0), strip.data(),
                                      tmsize_t(strip.size())) < 0)
                throw std::runtime_error("cannot write a strip of " + path);
        }
        for (uint32_t row = 0; !striped && row * tiff.tile < h; ++row) {
            for (uint32_t column = 0; column * tiff.tile < w; ++column) {
                const ttile_t index = TIFFComputeTile(tif, column * tiff.tile, row * tiff.tile, 0, 0);
                if (!tiff.tileValue) {
                    fillTile(tiff, level, column, row, pixels);
                    if (TIFFWriteEncodedTile(tif, index, pixels.data(), tmsize_t(pixels.size())) < 0)
                        throw std::runtime_error("cannot write a tile of " + path);
                    continue;
                }
                // Identical tiles compress identically: deflate each kind once and write it raw.
                const uint8_t kind = tiff.tileValue(level, column, row);
                std::vector<uint8_t>& bytes = compressed[kind];
                if (bytes.empty()) {
                    fillTile(tiff, level, column, row, pixels);
                    uLongf size = compressBound(uLong(pixels.size()));
                    bytes.resize(size);
                    compress2(bytes.data(), &size, pixels.data(), uLong(pixels.size()), 1);
                    bytes.resize(size);
                }
                if (TIFFWriteRawTile(tif, index, bytes.data(), tmsize_t(bytes.size())) < 0)
                    throw std::runtime_error("cannot write a tile of " + path);
            }
        }
        if (!TIFFWriteDirectory(tif))
            throw std::runtime_error("cannot finish a level of " + path);
    }
    TIFFClose(tif);
}

} // namespace pxmtest
