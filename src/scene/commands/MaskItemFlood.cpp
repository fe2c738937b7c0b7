// SPDX-License-Identifier: MIT
#include "scene/commands/MaskItemFlood.h"

#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"

namespace pxm::commands {

MaskItemFlood::MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_image(item->image()), m_zLayer(item->zLayer()), m_start(point),
      m_oldValue(item->value(point)), m_newValue(newValue) {}

void MaskItemFlood::flood(uint8_t value) const {
    if (!m_image)
        return;
    const Scene* scene = m_image->scene(int(m_zLayer));
    if (MaskItem* item = scene ? scene->maskItem() : nullptr) {
        item->flood(m_start, value);
    } else if (m_image->mask()) {
        MaskItem detached(m_image.data(), m_zLayer);
        detached.flood(m_start, value);
    }
}

void MaskItemFlood::redo() {
    flood(m_newValue);
}

void MaskItemFlood::undo() {
    flood(m_oldValue);
}

} // namespace pxm::commands
