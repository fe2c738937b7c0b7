// SPDX-License-Identifier: MIT
#pragma once

#include <istream>
#include <ostream>
#include <streambuf>
#include <vector>

namespace KYVO {

/// A stream buffer over a gzip file (zlib's gzFile). Reading also accepts plain,
/// uncompressed files, as zlib does.
class gzstreambuf : public std::streambuf {
public:
    gzstreambuf();
    ~gzstreambuf() override;
    gzstreambuf(const gzstreambuf&) = delete;
    gzstreambuf& operator=(const gzstreambuf&) = delete;

    /// Opens for reading (std::ios::in) or writing (std::ios::out); null on failure.
    gzstreambuf* open(const char* path, std::ios::openmode mode, int level = 6);
    /// Flushes and closes; null when that failed (a write error or a corrupt stream).
    gzstreambuf* close();
    bool is_open() const { return m_file != nullptr; }
    /// True when zlib reported a corrupt or truncated stream while reading.
    bool corrupt() const { return m_corrupt; }
    /// Memory a stream open for reading holds whatever the file: our buffer, zlib's input and
    /// output buffers, its 32 KiB window and inflate state (rounded up).
    static constexpr std::size_t ReadMemory = (128 + 128 + 256 + 32 + 16) << 10;

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    int sync() override;
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;

private:
    bool flushBuffer();

    void* m_file = nullptr;
    std::ios::openmode m_mode{};
    std::vector<char> m_buffer;
    bool m_corrupt = false;
    bool m_writeFailed = false;
};

/// Input stream over a gzip (or plain) file.
class gzifstream : public std::istream {
public:
    gzifstream();
    explicit gzifstream(const char* path);
    void open(const char* path);
    void close();
    bool is_open() const { return m_buf.is_open(); }
    /// True when the data ended early or failed its checksum.
    bool corrupt() const { return m_buf.corrupt(); }
    gzstreambuf* rdbuf() { return &m_buf; }

private:
    gzstreambuf m_buf;
};

/// Output stream writing a gzip file.
class gzofstream : public std::ostream {
public:
    gzofstream();
    explicit gzofstream(const char* path, int level = 6);
    void open(const char* path, int level = 6);
    /// Finishes the gzip stream; sets failbit when anything could not be written.
    void close();
    bool is_open() const { return m_buf.is_open(); }
    gzstreambuf* rdbuf() { return &m_buf; }

private:
    gzstreambuf m_buf;
};

} // namespace KYVO
