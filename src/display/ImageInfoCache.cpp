// SPDX-License-Identifier: MIT
#include "display/ImageInfoCache.h"

#include <mutex>
#include <unordered_map>

namespace Pictor {

namespace {

struct Entry {
    int holders = 0;
    std::shared_ptr<const CImageInfo> info;
    // Renewed by invalidate (and per new entry) so that a scan started before it is not stored after it.
    uint64_t generation = 0;
};

struct Store {
    std::mutex mutex;
    std::unordered_map<const KYVO::CImage*, Entry> entries;
    uint64_t nextGeneration = 0;
};

Store& store() {
    // Never destroyed: items may still release their images during static destruction.
    static Store* s = new Store;
    return *s;
}

} // namespace

void ImageInfoCache::acquire(const KYVO::CImage* image) {
    if (!image)
        return;
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry& e = s.entries[image];
    if (e.holders++ == 0)
        e.generation = ++s.nextGeneration;
}

void ImageInfoCache::release(const KYVO::CImage* image) {
    if (!image)
        return;
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.entries.find(image);
    if (it != s.entries.end() && --it->second.holders <= 0)
        s.entries.erase(it);
}

std::shared_ptr<const CImageInfo> ImageInfoCache::info(const KYVO::CImage* image) {
    if (!image)
        return nullptr;
    Store& s = store();
    uint64_t generation = 0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        auto it = s.entries.find(image);
        if (it != s.entries.end()) {
            if (it->second.info)
                return it->second.info;
            generation = it->second.generation;
        }
    }
    auto computed = std::make_shared<const CImageInfo>(computeImageInfo(*image));
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.entries.find(image);
    if (it == s.entries.end() || it->second.generation != generation)
        return computed;
    // Another thread may have finished first; everyone gets the same record.
    if (!it->second.info)
        it->second.info = computed;
    return it->second.info;
}

void ImageInfoCache::invalidate(const KYVO::CImage* image) {
    if (!image)
        return;
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.entries.find(image);
    if (it != s.entries.end()) {
        it->second.info.reset();
        it->second.generation = ++s.nextGeneration;
    }
}

} // namespace Pictor
