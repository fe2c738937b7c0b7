// SPDX-License-Identifier: MIT
#include "platform/MemoryBudget.h"

#include "platform/CException.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace KYVO {

namespace {

std::atomic<std::uint64_t> g_override{0};
thread_local std::uint64_t t_claimed = 0;

std::uint64_t physicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0)
        return std::uint64_t(4) << 30; // a guess that suits any desktop we run on
    return std::uint64_t(pages) * std::uint64_t(pageSize);
}

std::uint64_t rlimitBytes(int resource) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return UINT64_MAX;
    return std::uint64_t(limit.rlim_cur);
}

/// The memory.max of the process's cgroup (v2), or no limit when there is none or it is unreadable.
std::uint64_t cgroupLimit() {
    std::ifstream in("/sys/fs/cgroup/memory.max");
    std::string value;
    if (!(in >> value) || value == "max")
        return UINT64_MAX;
    try {
        return std::stoull(value);
    } catch (const std::exception&) {
        return UINT64_MAX;
    }
}

} // namespace

std::uint64_t MemoryBudget::machineLimit() {
    static const std::uint64_t limit = [] {
        std::uint64_t available = physicalMemory();
        for (std::uint64_t cap : {rlimitBytes(RLIMIT_AS), rlimitBytes(RLIMIT_DATA), cgroupLimit()})
            available = std::min(available, cap);
        return available / 4 * 3;
    }();
    return limit;
}

std::uint64_t MemoryBudget::limit() {
    const std::uint64_t chosen = g_override.load(std::memory_order_relaxed);
    return chosen ? chosen : machineLimit();
}

void MemoryBudget::setLimit(std::uint64_t bytes) {
    g_override.store(bytes, std::memory_order_relaxed);
}

std::uint64_t MemoryBudget::claimed() {
    return t_claimed;
}

void MemoryBudget::require(std::uint64_t bytes, const std::string& what) {
    const std::uint64_t held = t_claimed, budget = limit();
    if (held > budget || bytes > budget - held)
        KYVO_THROW(what + " needs " + describe(bytes) + " of memory" +
                   (held ? " besides the " + describe(held) + " already held while reading" : std::string()) +
                   ", more than the " + describe(budget) + " one image may use on this machine");
}

MemoryClaim::~MemoryClaim() {
    t_claimed -= m_bytes;
}

void MemoryClaim::add(std::uint64_t bytes, const std::string& what) {
    MemoryBudget::require(bytes, what);
    m_bytes += bytes;
    t_claimed += bytes;
}

std::string MemoryBudget::describe(std::uint64_t bytes) {
    if (bytes < 1024)
        return std::to_string(bytes) + " bytes";
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = double(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 5) {
        value /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
    return text;
}

} // namespace KYVO
