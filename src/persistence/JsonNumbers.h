// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace pxm {

/// Conversions of JSON numbers (doubles) to the integer types the model keeps. A file may hold
/// any double; converting one that does not fit would be undefined, so these refuse it.
namespace jsonnumbers {

/// True and *out set when value is a whole number within int's range.
inline bool toInt32(double value, int* out) {
    if (!std::isfinite(value) || value != std::trunc(value) || value < std::numeric_limits<int>::min() ||
        value > std::numeric_limits<int>::max())
        return false;
    *out = int(value);
    return true;
}

/// True and *out set when value is a whole number from 0 to 2^32 - 1.
inline bool toUInt32(double value, uint32_t* out) {
    if (!std::isfinite(value) || value != std::trunc(value) || value < 0 ||
        value > double(std::numeric_limits<uint32_t>::max()))
        return false;
    *out = uint32_t(value);
    return true;
}

} // namespace jsonnumbers
} // namespace pxm
