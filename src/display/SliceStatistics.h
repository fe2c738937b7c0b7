// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Pictor {

/// Grey-value statistics of a set of values (one slice or a whole image).
///
/// Five 8-byte values. With count 0 every other field is 0.
struct SliceStatistics {
    double min = 0.0;
    double max = 0.0;
    double mean = 0.0;
    /// Sum of the squared deviations of the values from `mean`.
    double sumSquaredDeviations = 0.0;
    /// Number of values that entered the statistics.
    uint64_t count = 0;
};

/// The sample standard deviation sqrt(m / (n - 1)) of `count` values whose squared deviations
/// from their mean sum to `sumSquaredDeviations`; -1.0 when fewer than two values exist.
double sampleStandardDeviation(double sumSquaredDeviations, uint64_t count);

} // namespace Pictor
