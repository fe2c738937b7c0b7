// SPDX-License-Identifier: MIT
#pragma once

#include <QRgb>
#include <QVector>
#include <cstddef>
#include <cstdint>

namespace pxm {

/// 256 opaque colours, from near black through red and yellow to white, chosen so that
/// the grey value (11·red + 16·green + 5·blue) >> 5 of entry i is exactly i. Painting with
/// entry i into a Format_Grayscale8 image therefore writes the byte i.
const QVector<QRgb>& maskPalette();

/// The grey value Qt gives a colour in Format_Grayscale8.
constexpr int maskGrey(int red, int green, int blue) {
    return (11 * red + 16 * green + 5 * blue) >> 5;
}

/// Copies src into the voxels of dst that are still 0, so a loaded mask wins over shapes.
/// A branch-free select the compiler vectorises.
inline void fillZeroVoxels(uint8_t* __restrict dst, const uint8_t* __restrict src, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const uint8_t d = dst[i];
        // All ones where dst is 0, so src shows through only there.
        const uint8_t empty = uint8_t(-uint8_t(d == 0));
        dst[i] = uint8_t(d | (src[i] & empty));
    }
}

} // namespace pxm
