// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace KYVO {
namespace io {

/// A raw deflate stream (RFC 1951) for data made of runs of one byte value, as label images
/// are: every run is one literal followed by back-references of distance 1, all in one block of
/// the fixed Huffman codes. It looks at each byte once, eight at a time, where even zlib's
/// run-length strategy handles them one by one; on data without runs it costs at most an eighth
/// over the raw size.
class RunDeflater {
public:
    /// Receives the compressed bytes in pieces, in order.
    using Sink = std::function<void(const uint8_t* data, std::size_t size)>;

    explicit RunDeflater(Sink sink);

    /// Adds the next bytes of the data.
    void add(const uint8_t* data, std::size_t size);
    /// Ends the stream and hands over what is left. Nothing may be added afterwards.
    void finish();

private:
    void writeRun();
    void put(uint32_t bits, int count);
    void flushBytes();

    Sink m_sink;
    uint64_t m_bits = 0;
    int m_bitCount = 0;
    uint8_t m_value = 0;
    std::size_t m_run = 0;
    uint8_t m_buffer[1 << 16];
    std::size_t m_used = 0;
};

} // namespace io
} // namespace KYVO
