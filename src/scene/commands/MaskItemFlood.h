// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QPointer>
#include <QUndoCommand>
#include <cstdint>

namespace pxm {
class LabeledImage;
class MaskItem;
} // namespace pxm

namespace pxm::commands {

/// Flood-fills a mask region with a new value; undo floods from the same start back to
/// the old value (no pixel list is kept, so undo may spread where the new value already was).
/// The mask item it was made with goes when its scene is swapped out; undo and redo then
/// reach the mask through the scene's new mask item, or through a detached one.
class MaskItemFlood : public QUndoCommand {
public:
    MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    void flood(uint8_t value) const;

    MaskItem* m_item; ///< as made; never used after construction, it may be gone
    QPointer<LabeledImage> m_image;
    uint32_t m_zLayer;
    QPoint m_start;
    uint8_t m_oldValue;
    uint8_t m_newValue;
};

} // namespace pxm::commands
