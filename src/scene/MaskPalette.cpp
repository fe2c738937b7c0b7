// SPDX-License-Identifier: MIT
#include "scene/MaskPalette.h"

namespace pxm {

namespace {
// A heat ramp: red rises first, then green, then blue. For each index we walk the ramp to
// the first colour whose grey value reaches the index, then nudge blue (weight 5) and red
// (weight 11) so the grey value hits it exactly.
QRgb entryFor(int grey) {
    for (int r = 0; r <= 255; ++r) {
        const int gMax = r < 255 ? 0 : 255;
        for (int g = 0; g <= gMax; ++g) {
            const int bMax = g < 255 ? 1 : 255;
            for (int b = 0; b <= bMax; ++b)
                if (maskGrey(r, g, b) == grey)
                    return qRgb(r, g, b);
        }
    }
    // Not reached for 0..255; a plain grey always has the property.
    return qRgb(grey, grey, grey);
}
} // namespace

const QVector<QRgb>& maskPalette() {
    static const QVector<QRgb> palette = [] {
        QVector<QRgb> p(256);
        for (int i = 0; i < 256; ++i)
            p[i] = entryFor(i);
        return p;
    }();
    return palette;
}

} // namespace pxm
