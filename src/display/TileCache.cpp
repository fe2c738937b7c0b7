// SPDX-License-Identifier: MIT
#include "display/TileCache.h"

#include <atomic>

namespace Pictor {

TileCache::TileCache(std::size_t capacityBytes) : m_capacity(capacityBytes) {}

TileCache& TileCache::shared() {
    // Never destroyed: items may be deleted during static destruction and still remove their tiles.
    static TileCache* cache = new TileCache;
    return *cache;
}

uint64_t TileCache::newOwner() {
    static std::atomic<uint64_t> next{0};
    return ++next;
}

std::size_t TileCache::KeyHash::operator()(const Key& k) const {
    uint64_t h = k.owner * 0x9E3779B97F4A7C15ull;
    h ^= (uint64_t(uint32_t(k.column)) << 32 | uint32_t(k.row)) + 0x632BE59BD9B4E019ull + (h << 6) + (h >> 2);
    h ^= uint64_t(uint32_t(k.level)) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2);
    return std::size_t(h);
}

QImage TileCache::find(const Key& key) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_index.find(key);
    if (it == m_index.end())
        return QImage();
    m_lru.splice(m_lru.begin(), m_lru, it->second);
    return it->second->tile;
}

void TileCache::insert(const Key& key, const QImage& tile) {
    const std::size_t bytes = std::size_t(tile.sizeInBytes());
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_index.find(key);
    if (it != m_index.end()) {
        m_bytes -= it->second->bytes;
        m_lru.erase(it->second);
        m_index.erase(it);
    }
    if (bytes > m_capacity)
        return;
    m_lru.push_front(Node{key, tile, bytes});
    m_index.emplace(key, m_lru.begin());
    m_bytes += bytes;
    evictLocked();
}

void TileCache::removeOwner(uint64_t owner) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_lru.begin(); it != m_lru.end();) {
        if (it->key.owner == owner) {
            m_bytes -= it->bytes;
            m_index.erase(it->key);
            it = m_lru.erase(it);
        } else {
            ++it;
        }
    }
}

void TileCache::setCapacity(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_capacity = bytes;
    evictLocked();
}

std::size_t TileCache::capacity() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_capacity;
}

std::size_t TileCache::byteSize() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bytes;
}

std::size_t TileCache::tileCount(uint64_t owner) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t n = 0;
    for (const Node& node : m_lru)
        n += node.key.owner == owner;
    return n;
}

void TileCache::evictLocked() {
    while (m_bytes > m_capacity && !m_lru.empty()) {
        m_bytes -= m_lru.back().bytes;
        m_index.erase(m_lru.back().key);
        m_lru.pop_back();
    }
}

} // namespace Pictor
