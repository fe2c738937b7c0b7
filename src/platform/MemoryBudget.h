// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace KYVO {

/// The most memory one image, mask or other decoded volume may claim.
///
/// A file's header can promise any size. Asking the system for more than it can hold does not
/// fail cleanly on Linux: the allocation succeeds and the process is killed once the pages are
/// touched. So every decoder compares what a header promises with this budget before it
/// allocates, and refuses with a message naming both sizes.
///
/// The budget is three quarters of the machine's physical memory, or of the process's own
/// limit when that is lower (the address-space and data rlimits, and a cgroup's memory.max):
/// the rest is left for the program itself, the display and the other volumes it holds.
class MemoryBudget {
public:
    /// The budget in bytes.
    static std::uint64_t limit();
    /// Replaces the budget; 0 returns to the machine's. Tests and fuzzers run with a small one.
    static void setLimit(std::uint64_t bytes);
    /// True when `bytes` is within the budget.
    static bool fits(std::uint64_t bytes) { return bytes <= limit(); }
    /// Throws CException "<what> needs <n> of memory, more than the <limit> one image may use
    /// on this machine" when `bytes`, together with what the calling thread's live claims hold,
    /// is over the budget.
    static void require(std::uint64_t bytes, const std::string& what);
    /// Bytes the calling thread's live MemoryClaim objects hold.
    static std::uint64_t claimed();
    /// A byte count for people: "812 bytes", "3.4 MiB", "12.0 GiB".
    static std::string describe(std::uint64_t bytes);
    /// The budget of this machine, ignoring setLimit().
    static std::uint64_t machineLimit();
};

/// Memory a reader holds on the way from the file to the image: staging rows and strips, a
/// library's own copy of the pixels, a converted copy. While a claim lives, MemoryBudget::require()
/// (and so every CImage) and every further claim on the same thread count it too, so that a
/// reader's buffers and its output stay within the budget together, not each on its own.
///
/// A claim belongs to the thread that made it and must end there; scoped objects do.
class MemoryClaim {
public:
    MemoryClaim() = default;
    /// Claims `bytes` at once; throws as MemoryBudget::require() does.
    MemoryClaim(std::uint64_t bytes, const std::string& what) { add(bytes, what); }
    ~MemoryClaim();
    MemoryClaim(const MemoryClaim&) = delete;
    MemoryClaim& operator=(const MemoryClaim&) = delete;

    /// Claims `bytes` more until the claim ends; throws, claiming nothing, when they do not fit.
    void add(std::uint64_t bytes, const std::string& what);
    /// What this claim holds.
    std::uint64_t bytes() const { return m_bytes; }

private:
    std::uint64_t m_bytes = 0;
};

} // namespace KYVO
