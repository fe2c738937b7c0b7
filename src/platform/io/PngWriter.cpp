// SPDX-License-Identifier: MIT
#include "platform/io/PngWriter.h"

#include "platform/CException.h"
#include "platform/io/RunDeflater.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <libdeflate.h>
#include <memory>
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

/// Raw deflate (no zlib wrapper) of the bytes added, handed on in pieces.
class Deflate {
public:
    using Sink = RunDeflater::Sink;
    virtual ~Deflate() = default;
    /// False when the encoder fails.
    virtual bool add(const uint8_t* data, std::size_t size) = 0;
    /// Ends the stream; false when the encoder fails.
    virtual bool finish() = 0;
};

/// For data made of runs: far faster than zlib there, and about as small.
class RunDeflate : public Deflate {
public:
    explicit RunDeflate(Sink sink) : m_runs(std::move(sink)) {}
    bool add(const uint8_t* data, std::size_t size) override {
        m_runs.add(data, size);
        return true;
    }
    bool finish() override {
        m_runs.finish();
        return true;
    }

private:
    RunDeflater m_runs;
};

/// zlib's fastest level with run-length matching, for anything else.
class ZlibDeflate : public Deflate {
public:
    explicit ZlibDeflate(Sink sink) : m_sink(std::move(sink)) {
        // windowBits -15: no zlib wrapper.
        m_ready = deflateInit2(&m_stream, 1, Z_DEFLATED, -15, 8, Z_RLE) == Z_OK;
    }
    ~ZlibDeflate() override {
        if (m_ready)
            deflateEnd(&m_stream);
    }
    ZlibDeflate(const ZlibDeflate&) = delete;
    ZlibDeflate& operator=(const ZlibDeflate&) = delete;

    bool add(const uint8_t* data, std::size_t size) override {
        m_stream.next_in = const_cast<uint8_t*>(data);
        m_stream.avail_in = uInt(size);
        while (m_ready && m_stream.avail_in > 0)
            if (run(Z_NO_FLUSH) == Z_STREAM_ERROR)
                return false;
        return m_ready;
    }
    bool finish() override {
        m_stream.avail_in = 0;
        for (int status = Z_OK; m_ready && status != Z_STREAM_END;)
            if ((status = run(Z_FINISH)) != Z_OK && status != Z_STREAM_END)
                return false;
        return m_ready;
    }

private:
    int run(int mode) {
        m_stream.next_out = m_out;
        m_stream.avail_out = uInt(sizeof m_out);
        const int status = deflate(&m_stream, mode);
        m_sink(m_out, sizeof m_out - m_stream.avail_out);
        return status;
    }

    Sink m_sink;
    z_stream m_stream{};
    bool m_ready = false;
    uint8_t m_out[1 << 14];
};

/// Deflates the rows into a zlib stream and hands it to libpng as IDAT chunks. The stream is
/// raw deflate with our own zlib header and checksum: zlib's checksum runs byte by byte and cost
/// as much as the compression of a label image, libdeflate's is many times faster.
class IdatWriter {
public:
    IdatWriter(png_structp png, bool runs) : m_png(png) {
        m_buffer[0] = 0x78; // deflate, 32K window
        m_buffer[1] = 0x01; // fastest level, header check bits
        m_used = 2;
        Deflate::Sink sink = [this](const uint8_t* data, std::size_t size) { append(data, size); };
        if (runs)
            m_deflate = std::make_unique<RunDeflate>(std::move(sink));
        else
            m_deflate = std::make_unique<ZlibDeflate>(std::move(sink));
    }
    IdatWriter(const IdatWriter&) = delete;
    IdatWriter& operator=(const IdatWriter&) = delete;

    /// Adds bytes of the filtered image data; false when the encoder fails.
    bool add(const uint8_t* data, std::size_t size) {
        m_adler = uint32_t(libdeflate_adler32(m_adler, data, size));
        return m_deflate->add(data, size);
    }

    /// Ends the stream and writes what is left; false when the encoder fails.
    bool finish() {
        if (!m_deflate->finish())
            return false;
        uint8_t adler[4];
        for (int i = 0; i < 4; ++i)
            adler[i] = uint8_t(m_adler >> (24 - 8 * i));
        append(adler, 4);
        flush();
        return true;
    }

private:
    void append(const uint8_t* data, std::size_t size) {
        while (size > 0) {
            const std::size_t part = std::min(size, sizeof m_buffer - m_used);
            std::memcpy(m_buffer + m_used, data, part);
            m_used += part;
            data += part;
            size -= part;
            if (m_used == sizeof m_buffer)
                flush();
        }
    }

    void flush() {
        if (m_used > 0)
            png_write_chunk(m_png, reinterpret_cast<png_const_bytep>("IDAT"), m_buffer, m_used);
        m_used = 0;
    }

    png_structp m_png;
    std::unique_ptr<Deflate> m_deflate;
    uint32_t m_adler = 1;
    uint8_t m_buffer[1 << 16];
    std::size_t m_used = 0;
};

/// Whether rows hold long runs of one byte value, judged from every eighth row: a run encoder
/// then beats zlib by far at about its size.
bool mostlyRuns(const uint8_t* data, std::size_t rowStep, std::size_t rowBytes, uint32_t height) {
    std::size_t bytes = 0;
    std::size_t changes = 0;
    for (uint32_t y = 0; y < height; y += 8) {
        const uint8_t* row = data + y * rowStep;
        for (std::size_t i = 1; i < rowBytes; ++i)
            changes += row[i] != row[i - 1];
        bytes += rowBytes;
    }
    return bytes >= 32 * (changes + 1);
}

/// The libpng part, free of C++ objects that a longjmp would skip: the IDAT writer lives in the
/// caller.
bool writeRows(std::FILE* file, uint32_t width, uint32_t height, int channels, int bitDepth,
               const std::function<const uint8_t*(uint32_t)>& rowAt, std::vector<uint8_t>& swapped, bool runs,
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
    idat = new IdatWriter(png, runs);
    bool ok = true;
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

void writeFile(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
               const std::function<const uint8_t*(uint32_t)>& rowAt, bool runs) {
    if (width == 0 || height == 0 || (channels != 1 && channels != 3) || (bitDepth != 8 && bitDepth != 16))
        KYVO_THROW("cannot write " + path + ": not an image PNG can hold");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        KYVO_THROW("cannot create " + path);
    Failure failure;
    std::vector<uint8_t> swapped(bitDepth == 16 ? std::size_t(width) * std::size_t(channels) * 2 : 0);
    IdatWriter* idat = nullptr;
    const bool written =
        writeRows(file, width, height, channels, bitDepth, rowAt, swapped, runs, idat, &failure);
    delete idat;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        std::remove(path.c_str());
        KYVO_THROW("cannot write " + path + ": " + (written ? "the disk refused the data" : failure.text));
    }
}

} // namespace

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const uint8_t* data, std::size_t rowBytes, Content content) {
    const std::size_t used = std::size_t(width) * std::size_t(channels) * std::size_t(bitDepth / 8);
    const bool runs = content == Content::Labels || mostlyRuns(data, rowBytes, used, height);
    writeFile(
        path, width, height, channels, bitDepth, [data, rowBytes](uint32_t y) { return data + y * rowBytes; },
        runs);
}

void PngWriter::write(const std::string& path, uint32_t width, uint32_t height, int channels, int bitDepth,
                      const std::function<const uint8_t*(uint32_t)>& rowAt, Content content) {
    writeFile(path, width, height, channels, bitDepth, rowAt, content == Content::Labels);
}

} // namespace io
} // namespace KYVO
