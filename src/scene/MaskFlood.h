// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace pxm::maskflood {

/// The mask voxels a fill works on: the whole mask volume and its erase overlay (may be
/// null), with the layer's width and height.
struct MaskData {
    uint8_t* mask = nullptr;
    const uint8_t* overlay = nullptr;
    std::size_t bytes = 0; ///< size of the mask (and overlay) volume
    int width = 0;
    int height = 0;
};

/// The value a fill tests at (x, y): 0 outside 0..width × 0..height (the right and bottom
/// edges included), else the byte at x + height·y, or 0 where erased or past the data.
uint8_t readValue(const MaskData& data, int x, int y);

/// The breadth-first fill with 8-connectivity, in its exact form: a point is filled when
/// readValue gives the old value and differs from the new one; writes go to x + width·y.
/// Every point is queued at most once, so it terminates; it uses about 5 bytes per point.
void floodExact(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

/// A scanline fill for square layers giving exactly the result of floodExact. The accepted
/// column x = width reads the first byte of the next row, so such a byte belongs to two
/// points of which only the first reached passes; the scanline result is kept only where
/// that order cannot matter. Returns false, with the mask as it was, where it cannot tell
/// (and for layers it does not handle: not square, narrower than 3, a start outside the
/// layer, an old value of 0 or equal to the new one).
bool floodSquare(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

/// The fill: the scanline form on square layers, the breadth-first form otherwise.
void flood(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

} // namespace pxm::maskflood
