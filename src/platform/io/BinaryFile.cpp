// SPDX-License-Identifier: MIT
#include "platform/io/BinaryFile.h"

#include "platform/CException.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace KYVO {
namespace io {

namespace {
constexpr std::size_t kReadBuffer = 1 << 16;
constexpr std::size_t kWriteBuffer = 1 << 20;

int seekTo(std::FILE* f, std::uint64_t offset, int whence) {
#ifdef _WIN32
    return _fseeki64(f, static_cast<long long>(offset), whence);
#else
    return fseeko(f, static_cast<off_t>(offset), whence);
#endif
}

std::int64_t position(std::FILE* f) {
#ifdef _WIN32
    return _ftelli64(f);
#else
    return ftello(f);
#endif
}
} // namespace

BinaryFile::BinaryFile(const std::string& path, Mode mode) : m_mode(mode) {
    errno = 0;
    m_file = std::fopen(path.c_str(), mode == Read ? "rb" : "wb");
    if (!m_file)
        failIo("cannot open the file");
    if (mode == Read) {
        // Reads go through our own buffer, or straight into the caller's memory when large.
        std::setvbuf(m_file, nullptr, _IONBF, 0);
        const std::int64_t end = seekTo(m_file, 0, SEEK_END) == 0 ? position(m_file) : -1;
        if (end < 0 || seekTo(m_file, 0, SEEK_SET) != 0) {
            std::fclose(m_file);
            m_file = nullptr;
            KYVO_THROW("cannot determine the size of the file");
        }
        m_size = std::uint64_t(end);
        m_buffer.resize(kReadBuffer);
    } else {
        std::setvbuf(m_file, nullptr, _IOFBF, kWriteBuffer);
    }
}

BinaryFile::~BinaryFile() {
    if (m_file)
        std::fclose(m_file);
}

void BinaryFile::failIo(const char* what) const {
    const int err = errno;
    KYVO_THROW(std::string(what) + (err ? std::string(": ") + std::strerror(err) : std::string()));
}

void BinaryFile::seek(std::uint64_t offset) {
    if (offset >= m_bufferStart && offset <= m_bufferStart + m_end) {
        m_pos = std::size_t(offset - m_bufferStart);
        return;
    }
    if (offset > m_size || seekTo(m_file, offset, SEEK_SET) != 0)
        KYVO_THROW("the file ends early");
    m_bufferStart = offset;
    m_pos = m_end = 0;
}

int BinaryFile::refillAndGet() {
    if (m_mode != Read)
        return -1;
    m_bufferStart += m_end;
    m_pos = 0;
    errno = 0;
    m_end = std::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
    if (m_end == 0 && std::ferror(m_file))
        failIo("cannot read the file");
    return m_end ? m_buffer[m_pos++] : -1;
}

std::size_t BinaryFile::readSome(void* dst, std::size_t n) {
    auto* out = static_cast<std::uint8_t*>(dst);
    std::size_t done = std::min(n, m_end - m_pos);
    std::memcpy(out, m_buffer.data() + m_pos, done);
    m_pos += done;
    if (done == n)
        return n;
    if (n - done >= m_buffer.size()) {
        // Large blocks go straight from the file into the caller's memory.
        m_bufferStart += m_end;
        m_pos = m_end = 0;
        errno = 0;
        const std::size_t got = std::fread(out + done, 1, n - done, m_file);
        if (got < n - done && std::ferror(m_file))
            failIo("cannot read the file");
        m_bufferStart += got;
        return done + got;
    }
    while (done < n) {
        const int c = refillAndGet();
        if (c < 0)
            break;
        out[done++] = std::uint8_t(c);
        const std::size_t take = std::min(n - done, m_end - m_pos);
        std::memcpy(out + done, m_buffer.data() + m_pos, take);
        m_pos += take;
        done += take;
    }
    return done;
}

void BinaryFile::read(void* dst, std::size_t n) {
    if (readSome(dst, n) != n)
        KYVO_THROW("the file ends early (truncated)");
}

void BinaryFile::write(const void* src, std::size_t n) {
    errno = 0;
    if (n && std::fwrite(src, 1, n, m_file) != n)
        failIo("cannot write the file");
}

void BinaryFile::close() {
    if (!m_file)
        return;
    errno = 0;
    const bool flushed = m_mode == Read || std::fflush(m_file) == 0;
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (!flushed || !closed)
        failIo("cannot write the file");
}

} // namespace io
} // namespace KYVO
