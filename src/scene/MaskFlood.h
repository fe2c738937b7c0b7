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
/// Every point is queued at most once, so it terminates and uses about 4 bytes per pixel.
void floodExact(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

/// A scanline fill that gives the same result as floodExact when the layer is square and
/// the region touches neither the last column nor the last row. Returns false, having
/// written nothing, when those conditions do not hold.
bool floodScanline(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

/// The fill: scanline where it is exact, the breadth-first form otherwise.
void flood(const MaskData& data, int x, int y, uint8_t oldValue, uint8_t newValue);

} // namespace pxm::maskflood
