// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pxmfuzz {

/// What a reader made of one input; crashes, leaks and undefined behaviour are the sanitizers' to report.
enum Outcome {
    Read = 0,    ///< the input was read
    Refused = 1, ///< the reader refused it with its own error or message
};

/// One reader of untrusted input, run on a byte string as if it were a file the user opened.
struct FuzzTarget {
    /// Names the seed and crash folders (tests/fuzz/seeds/<name>) and selects the target.
    const char* name;
    /// The scratch file the input is written to; its ending picks the reader.
    const char* file;
    int (*read)(const char* file, const std::uint8_t* data, std::size_t size);
    /// Reads data as the file; returns an Outcome. Anything else the reader throws escapes.
    int run(const std::uint8_t* data, std::size_t size) const { return read(file, data, size); }
};

/// Every target, in a fixed order.
const std::vector<FuzzTarget>& fuzzTargets();
/// The target of that name, or null.
const FuzzTarget* findFuzzTarget(const std::string& name);

/// Once, with a QApplication: a scratch directory, a small memory budget and silent reader logs.
void setUpFuzzing();

} // namespace pxmfuzz
