// SPDX-License-Identifier: MIT
#include "scene/commands/MaskItemFlood.h"

#include "scene/MaskItem.h"

namespace pxm::commands {

MaskItemFlood::MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_start(point), m_oldValue(item->value(point)),
      m_newValue(newValue) {}

void MaskItemFlood::redo() {
    m_item->flood(m_start, m_newValue);
}

void MaskItemFlood::undo() {
    m_item->flood(m_start, m_oldValue);
}

} // namespace pxm::commands
