// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <cstring>
#include <vector>

namespace pxmtest {

/// Writes `values` voxel after voxel (x fastest, then y, then z) into a new image of `type`.
template <typename T>
KYVO::CImage makeImage(KYVO::EnImageType type, const KYVO::CSize& size, const std::vector<T>& values) {
    KYVO::CImage image(type, size);
    const std::size_t n = std::min(values.size() * sizeof(T), image.byteCount());
    if (n)
        std::memcpy(image.data(), values.data(), n);
    return image;
}

} // namespace pxmtest
