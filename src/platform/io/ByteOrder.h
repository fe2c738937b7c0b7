// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KYVO {
namespace io {

/// True on little-endian machines.
inline bool hostIsLittleEndian() {
    const std::uint16_t probe = 1;
    std::uint8_t first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

/// Reverses the bytes of each of the `count` values of `width` bytes (2, 4 or 8) at `data`.
inline void swapBytes(std::uint8_t* data, std::size_t count, int width) {
    for (std::size_t i = 0; i < count; ++i, data += width) {
        for (int a = 0, b = width - 1; a < b; ++a, --b) {
            const std::uint8_t t = data[a];
            data[a] = data[b];
            data[b] = t;
        }
    }
}

/// Stores `value` little-endian into 4 or 8 bytes at `out`.
inline void putLE(std::uint8_t* out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out[i] = std::uint8_t(value >> (8 * i));
}

/// Reads a little-endian value of 1 to 8 bytes.
inline std::uint64_t getLE(const std::uint8_t* in, int bytes) {
    std::uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i)
        v = (v << 8) | in[i];
    return v;
}

/// a·b, or false when the product does not fit in 64 bits.
inline bool mulOverflow(std::uint64_t a, std::uint64_t b, std::uint64_t* out) {
    if (a != 0 && b > UINT64_MAX / a)
        return false;
    *out = a * b;
    return true;
}

} // namespace io
} // namespace KYVO
