// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

class QGraphicsItem;

namespace pxm {

/// A reference to a scene item that knows when the item is destroyed: undo commands and
/// label removals may delete an item a tool still remembers (hovered, edited, transformed).
/// It hangs an invisible child on the item while it watches.
class ItemWatch {
public:
    ItemWatch() = default;
    ~ItemWatch();
    ItemWatch(const ItemWatch&) = delete;
    ItemWatch& operator=(const ItemWatch&) = delete;

    /// Watches `item` (null stops watching).
    void reset(QGraphicsItem* item = nullptr);
    /// The item, or null when none is watched or it was destroyed.
    QGraphicsItem* get() const { return m_alive && *m_alive ? m_item : nullptr; }
    explicit operator bool() const { return get() != nullptr; }
    /// How many watches hold a live item, program-wide: none should outlive the scene their
    /// item belongs to being shown.
    static int activeCount();

private:
    QGraphicsItem* m_item = nullptr;
    QGraphicsItem* m_sentinel = nullptr;
    std::shared_ptr<bool> m_alive;
};

} // namespace pxm
