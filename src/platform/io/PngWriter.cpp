// SPDX-License-Identifier: MIT
#include "platform/io/PngWriter.h"

#include "platform/CException.h"

#include <csetjmp>
#include <cstdio>
#include <png.h>
#include <zlib.h>

namespace KYVO {
namespace io {

namespace {

struct Failure {
    char text[256] = "libpng failed";
};

void onError(png_structp png, png_const_charp message) {
    auto* failure = static_cast<Failure*>(png_get_error_ptr(png));
    std::snprintf(failure->text, sizeof failure->text, "%s", message);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

/// The libpng part, free of C++ objects that a longjmp would skip.
bool writeRows(std::FILE* file, uint32_t width, uint32_t height, int channels, int bitDepth,
               const std::function<const uint8_t*(uint32_t)>& rowAt, bool labels, Failure* failure) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, failure, onError, onWarning);
    if (!png)
        return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, info ? &info : nullptr);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, bitDepth, channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_compression_level(png, 1);
    png_set_compression_strategy(png, Z_RLE);
    png_write_info(png, info);
    if (bitDepth == 16) {
        const uint16_t probe = 1;
        if (*reinterpret_cast<const uint8_t*>(&probe) == 1)
            png_set_swap(png);
    }
    for (uint32_t y = 0; y < height; ++y)
        png_write_row(png, rowAt(y));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

} // namespace

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const uint8_t* data, std::size_t rowBytes, Content content) {
    write(path, width, height, channels, bitDepth, [data, rowBytes](uint32_t y) { return data + y * rowBytes; },
          content);
}

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const std::function<const uint8_t*(uint32_t)>& rowAt, Content content) {
    if (width == 0 || height == 0 || (channels != 1 && channels != 3) || (bitDepth != 8 && bitDepth != 16))
        KYVO_THROW("cannot write " + path + ": not an image PNG can hold");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        KYVO_THROW("cannot create " + path);
    Failure failure;
    const bool written =
        writeRows(file, width, height, channels, bitDepth, rowAt, content == Content::Labels, &failure);
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        std::remove(path.c_str());
        KYVO_THROW("cannot write " + path + ": " + (written ? "the disk refused the data" : failure.text));
    }
}

} // namespace io
} // namespace KYVO
