// SPDX-License-Identifier: MIT
#include "scene/commands/MaskItemFlood.h"

#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"

namespace pxm::commands {

MaskItemFlood::MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent)
    : QUndoCommand(parent), m_image(item->image()), m_zLayer(item->zLayer()), m_start(point),
      m_oldValue(item->value(point)), m_newValue(newValue) {}

template <typename Act> void MaskItemFlood::withItem(Act act) const {
    if (!m_image)
        return;
    const Scene* scene = m_image->scene(int(m_zLayer));
    if (MaskItem* item = scene ? scene->maskItem() : nullptr) {
        act(item);
        return;
    }
    // Not shown: a mask saved since may have been dropped, to be read again when pinned.
    LabeledImage* image = m_image.data();
    image->incUsage();
    if (image->mask()) {
        MaskItem detached(image, m_zLayer);
        act(&detached);
    }
    image->decUsage();
}

void MaskItemFlood::redo() {
    if (m_filled) {
        withItem([this](MaskItem* item) { item->fill(m_runs, m_newValue); });
        return;
    }
    withItem([this](MaskItem* item) {
        item->flood(m_start, m_newValue, &m_runs);
        m_filled = true;
    });
}

void MaskItemFlood::undo() {
    withItem([this](MaskItem* item) { item->fill(m_runs, m_oldValue); });
}

} // namespace pxm::commands
