// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pxmfuzz {

/// What a reader made of one input. Crashes, leaks and undefined behaviour are the
/// sanitizers' to report; every input must end in one of these two.
enum Outcome {
    Read = 0,    ///< the input was read
    Refused = 1, ///< the reader refused it with its own error or message
};

/// One reader of untrusted input, run on a byte string as if it were a file the user opened.
struct FuzzTarget {
    /// Names the seed and crash folders (tests/fuzz/seeds/<name>) and selects the target.
    const char* name;
    /// Reads data as the file; returns an Outcome. Anything else the reader throws escapes.
    int (*run)(const std::uint8_t* data, std::size_t size);
};

/// Every target, in a fixed order.
const std::vector<FuzzTarget>& fuzzTargets();
/// The target of that name, or null.
const FuzzTarget* findFuzzTarget(const std::string& name);

/// Prepares the process once: a scratch directory for the inputs, a small memory budget so
/// that hostile sizes are refused before they cost time, and silence from the readers' logs.
/// Needs the QApplication to exist.
void setUpFuzzing();

// The targets. Project files, plain and gzip-compressed.
int fuzzProjectFile(const std::uint8_t* data, std::size_t size);
int fuzzProjectGzFile(const std::uint8_t* data, std::size_t size);
// Imports of foreign annotations.
int fuzzKaroMark(const std::uint8_t* data, std::size_t size);
int fuzzPascalVoc(const std::uint8_t* data, std::size_t size);
int fuzzLabelMe(const std::uint8_t* data, std::size_t size);
// The per-user settings store.
int fuzzRegistry(const std::uint8_t* data, std::size_t size);
// Image codecs, each through the file ending that selects it.
int fuzzNetpbm(const std::uint8_t* data, std::size_t size);
int fuzzTiff(const std::uint8_t* data, std::size_t size);
int fuzzPng(const std::uint8_t* data, std::size_t size);
int fuzzJpeg(const std::uint8_t* data, std::size_t size);
int fuzzBmp(const std::uint8_t* data, std::size_t size);
int fuzzGif(const std::uint8_t* data, std::size_t size);
int fuzzIco(const std::uint8_t* data, std::size_t size);
int fuzzJp2(const std::uint8_t* data, std::size_t size);
int fuzzJ2k(const std::uint8_t* data, std::size_t size);
int fuzzOkav(const std::uint8_t* data, std::size_t size);
int fuzzOkavGz(const std::uint8_t* data, std::size_t size);

/// Writes data to a file of that name in the scratch directory and returns its path.
std::string scratchFile(const char* name, const std::uint8_t* data, std::size_t size);
/// The scratch directory itself.
std::string scratchDirectory();

} // namespace pxmfuzz
