// SPDX-License-Identifier: MIT
#pragma once

#include <QRgb>
#include <QVector>

namespace pxm {

/// 256 opaque colours, from near black through red and yellow to white, chosen so that
/// the grey value (11·red + 16·green + 5·blue) >> 5 of entry i is exactly i. Painting with
/// entry i into a Format_Grayscale8 image therefore writes the byte i.
const QVector<QRgb>& maskPalette();

/// The grey value Qt gives a colour in Format_Grayscale8.
constexpr int maskGrey(int red, int green, int blue) {
    return (11 * red + 16 * green + 5 * blue) >> 5;
}

} // namespace pxm
