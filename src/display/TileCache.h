// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <unordered_map>

namespace Pictor {

/// Least-recently-used store of converted image tiles, bounded in bytes and shared by every image
/// item of the process, so the memory spent on tiles stays bounded however many items exist.
///
/// Tiles are keyed by their item (an owner id that is never reused), pyramid level and tile column
/// and row. Thread-safe: scenes may be rendered off the GUI thread while the GUI paints.
class TileCache {
public:
    struct Key {
        uint64_t owner = 0;
        int level = 0;
        int column = 0;
        int row = 0;
        bool operator==(const Key& o) const {
            return owner == o.owner && level == o.level && column == o.column && row == o.row;
        }
    };

    /// Default bound of the shared cache.
    static constexpr std::size_t kDefaultCapacity = std::size_t(128) << 20;

    explicit TileCache(std::size_t capacityBytes = kDefaultCapacity);
    TileCache(const TileCache&) = delete;
    TileCache& operator=(const TileCache&) = delete;

    /// The cache that image items use.
    static TileCache& shared();
    /// A fresh owner id for a new item.
    static uint64_t newOwner();

    /// The tile under `key`, marked as just used; a null image when absent.
    QImage find(const Key& key);
    /// Stores a tile and evicts the least recently used ones beyond the capacity. A tile larger than
    /// the whole capacity is not stored.
    void insert(const Key& key, const QImage& tile);
    /// Drops every tile of `owner`.
    void removeOwner(uint64_t owner);

    void setCapacity(std::size_t bytes);
    std::size_t capacity() const;
    /// Bytes held by the stored tiles.
    std::size_t byteSize() const;
    /// Tiles of `owner` currently stored.
    std::size_t tileCount(uint64_t owner) const;

private:
    struct KeyHash {
        std::size_t operator()(const Key& k) const;
    };
    struct Node {
        Key key;
        QImage tile;
        std::size_t bytes;
    };
    void evictLocked();

    mutable std::mutex m_mutex;
    std::size_t m_capacity;
    std::size_t m_bytes = 0;
    std::list<Node> m_lru; // most recently used first
    std::unordered_map<Key, std::list<Node>::iterator, KeyHash> m_index;
};

} // namespace Pictor
