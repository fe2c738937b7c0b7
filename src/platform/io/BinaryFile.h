// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace KYVO {
namespace io {

/// A local file opened for buffered binary reading or writing.
///
/// Every failure throws CException with a reason: a short read is reported as
/// "the file ends early", so callers can read exactly what a header promises.
class BinaryFile {
public:
    enum Mode { Read, Write };

    BinaryFile(const std::string& path, Mode mode);
    ~BinaryFile();
    BinaryFile(const BinaryFile&) = delete;
    BinaryFile& operator=(const BinaryFile&) = delete;

    /// Size of the file when it was opened for reading.
    std::uint64_t size() const { return m_size; }
    /// Current read position.
    std::uint64_t tell() const { return m_bufferStart + m_pos; }
    /// Bytes between the read position and the end of the file.
    std::uint64_t remaining() const { return m_size - tell(); }
    void seek(std::uint64_t offset);

    /// The next byte, or -1 at the end of the file.
    int get() { return m_pos < m_end ? m_buffer[m_pos++] : refillAndGet(); }
    /// The next byte without consuming it, or -1.
    int peek() {
        const int c = get();
        if (c >= 0)
            --m_pos;
        return c;
    }
    /// Reads exactly `n` bytes; throws when the file ends first.
    void read(void* dst, std::size_t n);
    /// Reads up to `n` bytes and returns how many there were.
    std::size_t readSome(void* dst, std::size_t n);

    /// Writes all `n` bytes; throws on failure.
    void write(const void* src, std::size_t n);
    void write(const std::string& text) { write(text.data(), text.size()); }
    /// Flushes and closes, reporting a failed write; the destructor closes silently.
    void close();

private:
    int refillAndGet();
    [[noreturn]] void failIo(const char* what) const;

    std::FILE* m_file = nullptr;
    Mode m_mode;
    std::uint64_t m_size = 0;
    std::vector<std::uint8_t> m_buffer;
    std::uint64_t m_bufferStart = 0;
    std::size_t m_pos = 0;
    std::size_t m_end = 0;
};

} // namespace io
} // namespace KYVO
