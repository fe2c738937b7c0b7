// SPDX-License-Identifier: MIT
#include "platform/io/RunDeflater.h"

#include <array>
#include <cstring>
#include <utility>

namespace KYVO {
namespace io {

namespace {

constexpr int LongestMatch = 258;

uint32_t reversed(uint32_t code, int length) {
    uint32_t out = 0;
    for (int i = 0; i < length; ++i)
        out |= ((code >> i) & 1u) << (length - 1 - i);
    return out;
}

/// A code ready to be put: its bits in stream order and their count.
struct Code {
    uint32_t bits = 0;
    int count = 0;
};

/// The fixed Huffman codes of every literal, and of every match length 3 to 258 together with
/// its extra bits and the code of distance 1.
struct Tables {
    std::array<Code, 256> literal;
    std::array<Code, LongestMatch + 1> match;

    Tables() {
        for (uint32_t v = 0; v < 256; ++v)
            literal[v] = v < 144 ? Code{reversed(0x30 + v, 8), 8} : Code{reversed(0x190 + v - 144, 9), 9};
        static const int base[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                     31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const int extra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                      2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        for (int i = 0; i < 29; ++i) {
            const uint32_t symbol = 257 + uint32_t(i);
            const Code code = symbol <= 279 ? Code{reversed(symbol - 256, 7), 7}
                                            : Code{reversed(0xC0 + symbol - 280, 8), 8};
            const int last = i + 1 < 29 ? base[i + 1] - 1 : LongestMatch;
            for (int length = base[i]; length <= last; ++length) {
                // The extra bits hold the length above the base, least significant first; the
                // five zero bits after them are distance 1.
                const uint32_t above = uint32_t(length - base[i]) << code.count;
                match[std::size_t(length)] = Code{code.bits | above, code.count + extra[i] + 5};
            }
        }
    }
};

const Tables& tables() {
    static const Tables t;
    return t;
}

/// The first byte from `p` on that is not `value`, or `end`.
const uint8_t* runEnd(const uint8_t* p, const uint8_t* end, uint8_t value) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const uint64_t pattern = 0x0101010101010101ull * value;
    while (end - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, 8);
        if (const uint64_t differ = word ^ pattern)
            return p + (__builtin_ctzll(differ) >> 3);
        p += 8;
    }
#endif
    while (p < end && *p == value)
        ++p;
    return p;
}

} // namespace

RunDeflater::RunDeflater(Sink sink) : m_sink(std::move(sink)) {
    tables();
    put(1u | (1u << 1), 3); // the last block, of fixed codes
}

void RunDeflater::add(const uint8_t* data, std::size_t size) {
    const uint8_t* end = data + size;
    while (data < end) {
        if (m_run == 0) {
            m_value = *data++;
            m_run = 1;
        }
        const uint8_t* stop = runEnd(data, end, m_value);
        m_run += std::size_t(stop - data);
        data = stop;
        if (data < end) {
            writeRun();
            m_run = 0;
        }
    }
}

void RunDeflater::finish() {
    if (m_run > 0)
        writeRun();
    m_run = 0;
    put(0, 7); // end of block
    while (m_bitCount > 0) {
        m_buffer[m_used++] = uint8_t(m_bits);
        m_bits >>= 8;
        m_bitCount -= 8;
    }
    m_bitCount = 0;
    flushBytes();
}

void RunDeflater::writeRun() {
    const Tables& t = tables();
    const Code& literal = t.literal[m_value];
    put(literal.bits, literal.count);
    std::size_t left = m_run - 1;
    const Code& longest = t.match[LongestMatch];
    for (; left >= LongestMatch; left -= LongestMatch)
        put(longest.bits, longest.count);
    if (left >= 3) {
        put(t.match[left].bits, t.match[left].count);
        left = 0;
    }
    for (; left > 0; --left)
        put(literal.bits, literal.count);
}

void RunDeflater::put(uint32_t bits, int count) {
    m_bits |= uint64_t(bits) << m_bitCount;
    m_bitCount += count;
    if (m_bitCount < 32)
        return;
    for (int i = 0; i < 4; ++i)
        m_buffer[m_used++] = uint8_t(m_bits >> (8 * i));
    m_bits >>= 32;
    m_bitCount -= 32;
    if (m_used + 4 > sizeof m_buffer)
        flushBytes();
}

void RunDeflater::flushBytes() {
    if (m_used > 0)
        m_sink(m_buffer, m_used);
    m_used = 0;
}

} // namespace io
} // namespace KYVO
