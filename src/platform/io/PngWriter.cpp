// SPDX-License-Identifier: MIT
#include "platform/io/PngWriter.h"

#include "platform/CException.h"

#include <csetjmp>
#include <cstdio>
#include <libdeflate.h>
#include <png.h>
#include <vector>
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

/// Deflates the rows into a zlib stream and hands it to libpng as IDAT chunks. The stream is
/// raw deflate with our own zlib header and checksum: zlib's checksum runs byte by byte and cost
/// as much as the compression of a label image, libdeflate's is many times faster.
class IdatWriter {
public:
    explicit IdatWriter(png_structp png) : m_png(png) {
        // windowBits -15: no zlib wrapper, whose checksum we compute ourselves.
        m_ready = deflateInit2(&m_stream, 1, Z_DEFLATED, -15, 8, Z_RLE) == Z_OK;
        m_buffer[0] = 0x78; // deflate, 32K window
        m_buffer[1] = 0x01; // fastest level, header check bits
        m_used = 2;
    }
    ~IdatWriter() {
        if (m_ready)
            deflateEnd(&m_stream);
    }
    IdatWriter(const IdatWriter&) = delete;
    IdatWriter& operator=(const IdatWriter&) = delete;

    bool ready() const { return m_ready; }

    /// Adds bytes of the filtered image data; false when zlib fails.
    bool add(const uint8_t* data, std::size_t size) {
        m_adler = uint32_t(libdeflate_adler32(m_adler, data, size));
        m_stream.next_in = const_cast<uint8_t*>(data);
        m_stream.avail_in = uInt(size);
        while (m_stream.avail_in > 0)
            if (!run(Z_NO_FLUSH))
                return false;
        return true;
    }

    /// Ends the stream and writes what is left; false when zlib fails.
    bool finish() {
        m_stream.avail_in = 0;
        int status = Z_OK;
        while (status != Z_STREAM_END) {
            m_stream.next_out = m_buffer + m_used;
            m_stream.avail_out = uInt(sizeof m_buffer - m_used);
            status = deflate(&m_stream, Z_FINISH);
            if (status != Z_OK && status != Z_STREAM_END)
                return false;
            m_used = sizeof m_buffer - m_stream.avail_out;
            if (status != Z_STREAM_END || m_used + 4 > sizeof m_buffer)
                flush();
        }
        for (int shift = 24; shift >= 0; shift -= 8)
            m_buffer[m_used++] = uint8_t(m_adler >> shift);
        flush();
        return true;
    }

private:
    bool run(int mode) {
        m_stream.next_out = m_buffer + m_used;
        m_stream.avail_out = uInt(sizeof m_buffer - m_used);
        if (deflate(&m_stream, mode) == Z_STREAM_ERROR)
            return false;
        m_used = sizeof m_buffer - m_stream.avail_out;
        if (m_used == sizeof m_buffer)
            flush();
        return true;
    }

    void flush() {
        if (m_used > 0)
            png_write_chunk(m_png, reinterpret_cast<png_const_bytep>("IDAT"), m_buffer, m_used);
        m_used = 0;
    }

    png_structp m_png;
    z_stream m_stream{};
    bool m_ready = false;
    uint32_t m_adler = 1;
    uint8_t m_buffer[1 << 16];
    std::size_t m_used = 0;
};

/// The libpng part, free of C++ objects that a longjmp would skip: the IDAT writer lives in the
/// caller.
bool writeRows(std::FILE* file, uint32_t width, uint32_t height, int channels, int bitDepth,
               const std::function<const uint8_t*(uint32_t)>& rowAt, std::vector<uint8_t>& swapped,
               IdatWriter*& idat, Failure* failure) {
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
    png_write_info(png, info);
    idat = new IdatWriter(png);
    bool ok = idat->ready();
    const std::size_t rowBytes = std::size_t(width) * std::size_t(channels) * std::size_t(bitDepth / 8);
    const uint16_t probe = 1;
    const bool swap = bitDepth == 16 && *reinterpret_cast<const uint8_t*>(&probe) == 1;
    const uint8_t noFilter = 0;
    for (uint32_t y = 0; ok && y < height; ++y) {
        const uint8_t* row = rowAt(y);
        if (swap) {
            // PNG holds 16-bit samples most significant byte first.
            for (std::size_t i = 0; i + 1 < rowBytes; i += 2) {
                swapped[i] = row[i + 1];
                swapped[i + 1] = row[i];
            }
            row = swapped.data();
        }
        ok = idat->add(&noFilter, 1) && idat->add(row, rowBytes);
    }
    ok = ok && idat->finish();
    if (ok)
        png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    png_destroy_write_struct(&png, &info);
    if (!ok)
        std::snprintf(failure->text, sizeof failure->text, "zlib failed");
    return ok;
}

} // namespace

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const uint8_t* data, std::size_t rowBytes, Content content) {
    write(
        path, width, height, channels, bitDepth, [data, rowBytes](uint32_t y) { return data + y * rowBytes; },
        content);
}

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const std::function<const uint8_t*(uint32_t)>& rowAt, Content content) {
    if (width == 0 || height == 0 || (channels != 1 && channels != 3) || (bitDepth != 8 && bitDepth != 16))
        KYVO_THROW("cannot write " + path + ": not an image PNG can hold");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        KYVO_THROW("cannot create " + path);
    (void)content; // see the class comment
    Failure failure;
    std::vector<uint8_t> swapped(bitDepth == 16 ? std::size_t(width) * std::size_t(channels) * 2 : 0);
    IdatWriter* idat = nullptr;
    const bool written = writeRows(file, width, height, channels, bitDepth, rowAt, swapped, idat, &failure);
    delete idat;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        std::remove(path.c_str());
        KYVO_THROW("cannot write " + path + ": " + (written ? "the disk refused the data" : failure.text));
    }
}

} // namespace io
} // namespace KYVO
