// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QUndoCommand>
#include <cstdint>

namespace pxm {
class MaskItem;
}

namespace pxm::commands {

/// Flood-fills a mask region with a new value; undo floods from the same start back to
/// the old value (no pixel list is kept, so undo may spread where the new value already was).
class MaskItemFlood : public QUndoCommand {
public:
    MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    MaskItem* m_item;
    QPoint m_start;
    uint8_t m_oldValue;
    uint8_t m_newValue;
};

} // namespace pxm::commands
