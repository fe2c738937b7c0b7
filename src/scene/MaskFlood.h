// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pxm::maskflood {

/// One z-layer of a mask, rows of `width` bytes one after the other, with the same layer of
/// its erase overlay (may be null).
struct Layer {
    uint8_t* mask = nullptr;
    const uint8_t* overlay = nullptr;
    int width = 0;
    int height = 0;
};

/// A run of pixels in one row, x from `first` to `last` inclusive.
struct Run {
    int y;
    int first;
    int last;
};

/// The value at (x, y): 0 outside the layer and where erased, else the mask byte.
uint8_t readValue(const Layer& layer, int x, int y);

/// Gives the 8-connected region of the start's value the new value. Erased pixels bound the
/// region like any other value; a start that reads 0 (unlabelled, erased, outside) or already
/// holds the new value changes nothing. The filled pixels are appended to `filled` as runs,
/// which is all an undo needs to put them back exactly.
void flood(const Layer& layer, int x, int y, uint8_t newValue, std::vector<Run>* filled = nullptr);

/// Writes `value` into every pixel of the runs (clipped to the layer).
void fillRuns(const Layer& layer, const std::vector<Run>& runs, uint8_t value);

} // namespace pxm::maskflood
