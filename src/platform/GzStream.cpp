// SPDX-License-Identifier: MIT
#include "platform/GzStream.h"

#include <cstring>
#include <limits>
#include <string>
#include <zlib.h>

namespace KYVO {

namespace {
constexpr std::size_t kBufferSize = 1 << 17;
// zlib's input buffer when reading; its output buffer is twice as large.
constexpr unsigned kZlibBuffer = 1 << 17;
static_assert(gzstreambuf::ReadMemory >= kBufferSize + 3 * std::size_t(kZlibBuffer) + (32 << 10) + (8 << 10),
              "ReadMemory counts every buffer a reading stream holds");
gzFile gz(void* f) { return static_cast<gzFile>(f); }
// gzread and gzwrite take unsigned counts; large requests go in slices.
constexpr std::streamsize kMaxChunk = 1 << 30;
} // namespace

gzstreambuf::gzstreambuf() : m_buffer(kBufferSize) {}

gzstreambuf::~gzstreambuf() { close(); }

gzstreambuf* gzstreambuf::open(const char* path, std::ios::openmode mode, int level) {
    if (m_file || !path)
        return nullptr;
    const bool reading = mode & std::ios::in;
    const bool writing = mode & std::ios::out;
    if (reading == writing)
        return nullptr;
    std::string how = reading ? "rb" : "wb" + std::to_string(level < 0 || level > 9 ? 6 : level);
    gzFile f = gzopen(path, how.c_str());
    if (!f)
        return nullptr;
    gzbuffer(f, kZlibBuffer);
    m_file = f;
    m_mode = mode;
    m_corrupt = false;
    m_writeFailed = false;
    if (reading)
        setg(m_buffer.data(), m_buffer.data(), m_buffer.data());
    else
        setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return this;
}

gzstreambuf* gzstreambuf::close() {
    if (!m_file)
        return nullptr;
    bool ok = true;
    if (m_mode & std::ios::out)
        ok = flushBuffer();
    ok = gzclose(gz(m_file)) == Z_OK && ok && !m_writeFailed;
    m_file = nullptr;
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    return ok ? this : nullptr;
}

gzstreambuf::int_type gzstreambuf::underflow() {
    if (gptr() && gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    if (!m_file || !(m_mode & std::ios::in))
        return traits_type::eof();
    int n = gzread(gz(m_file), m_buffer.data(), unsigned(m_buffer.size()));
    if (n < 0) {
        m_corrupt = true;
        return traits_type::eof();
    }
    if (n == 0) {
        int err = Z_OK;
        gzerror(gz(m_file), &err);
        // A gzip stream that ends before its trailer is reported as Z_BUF_ERROR.
        if (err != Z_OK && err != Z_STREAM_END)
            m_corrupt = true;
        return traits_type::eof();
    }
    setg(m_buffer.data(), m_buffer.data(), m_buffer.data() + n);
    return traits_type::to_int_type(*gptr());
}

std::streamsize gzstreambuf::xsgetn(char* s, std::streamsize n) {
    std::streamsize done = 0;
    // First what is still buffered, then large reads go straight to zlib without a copy.
    const std::streamsize buffered = std::min<std::streamsize>(n, egptr() - gptr());
    if (buffered > 0) {
        std::memcpy(s, gptr(), std::size_t(buffered));
        gbump(int(buffered));
        done = buffered;
    }
    while (done < n && m_file && (m_mode & std::ios::in)) {
        const std::streamsize want = std::min(n - done, kMaxChunk);
        if (want < std::streamsize(m_buffer.size())) {
            if (traits_type::eq_int_type(underflow(), traits_type::eof()))
                break;
            const std::streamsize take = std::min<std::streamsize>(want, egptr() - gptr());
            std::memcpy(s + done, gptr(), std::size_t(take));
            gbump(int(take));
            done += take;
            continue;
        }
        int r = gzread(gz(m_file), s + done, unsigned(want));
        if (r < 0) {
            m_corrupt = true;
            break;
        }
        if (r == 0) {
            int err = Z_OK;
            gzerror(gz(m_file), &err);
            if (err != Z_OK && err != Z_STREAM_END)
                m_corrupt = true;
            break;
        }
        done += r;
    }
    return done;
}

bool gzstreambuf::flushBuffer() {
    if (!m_file || !(m_mode & std::ios::out))
        return false;
    const std::ptrdiff_t n = pptr() - pbase();
    if (n > 0 && gzwrite(gz(m_file), pbase(), unsigned(n)) != int(n)) {
        m_writeFailed = true;
        return false;
    }
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return true;
}

gzstreambuf::int_type gzstreambuf::overflow(int_type c) {
    if (!flushBuffer())
        return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

std::streamsize gzstreambuf::xsputn(const char* s, std::streamsize n) {
    if (n < std::streamsize(m_buffer.size()) / 4)
        return std::streambuf::xsputn(s, n);
    if (!flushBuffer())
        return 0;
    std::streamsize done = 0;
    while (done < n) {
        const std::streamsize chunk = std::min(n - done, kMaxChunk);
        if (gzwrite(gz(m_file), s + done, unsigned(chunk)) != int(chunk)) {
            m_writeFailed = true;
            break;
        }
        done += chunk;
    }
    return done;
}

int gzstreambuf::sync() {
    if (m_file && (m_mode & std::ios::out))
        return flushBuffer() ? 0 : -1;
    return 0;
}

gzifstream::gzifstream() : std::istream(nullptr) { init(&m_buf); }
gzifstream::gzifstream(const char* path) : gzifstream() { open(path); }

void gzifstream::open(const char* path) {
    if (!m_buf.open(path, std::ios::in))
        setstate(std::ios::failbit);
    else
        clear();
}

void gzifstream::close() {
    if (!m_buf.close())
        setstate(std::ios::failbit);
}

gzofstream::gzofstream() : std::ostream(nullptr) { init(&m_buf); }
gzofstream::gzofstream(const char* path, int level) : gzofstream() { open(path, level); }

void gzofstream::open(const char* path, int level) {
    if (!m_buf.open(path, std::ios::out, level))
        setstate(std::ios::failbit);
    else
        clear();
}

void gzofstream::close() {
    if (!m_buf.close())
        setstate(std::ios::failbit);
}

} // namespace KYVO
