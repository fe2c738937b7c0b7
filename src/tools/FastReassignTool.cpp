// SPDX-License-Identifier: MIT
#include "tools/FastReassignTool.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "scene/commands/MaskItemFlood.h"

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QUndoCommand>
#include <memory>

namespace pxm {

FastReassignTool::FastReassignTool(View* view) : Tool(view, ToolType::Reassign) {}

FastReassignTool::~FastReassignTool() {
    setHovered(nullptr);
}

void FastReassignTool::setHovered(QGraphicsItem* item) {
    if (QGraphicsItem* old = m_hovered.get())
        old->setCursor(Qt::ArrowCursor);
    m_hovered.reset(item);
    if (item)
        item->setCursor(Qt::PointingHandCursor);
}

void FastReassignTool::cleanUp() {
    setHovered(nullptr);
    Tool::cleanUp();
}

void FastReassignTool::setScene(Scene* scene) {
    setHovered(nullptr);
    Tool::setScene(scene);
}

int FastReassignTool::maskValueAt(const QMouseEvent* event) const {
    const Scene* s = scene();
    const MaskItem* mask = s ? s->maskItem() : nullptr;
    return mask ? mask->value(scenePos(event).toPoint()) : 0;
}

void FastReassignTool::mouseMoveEvent(QMouseEvent* event) {
    QGraphicsItem* hand = nullptr;
    if (Scene* s = scene()) {
        QGraphicsItem* top = itemAt(event);
        if (isLabelItem(top) || (top && top == s->maskItem() && maskValueAt(event) != 0))
            hand = top;
    }
    setHovered(hand);
    Tool::mouseMoveEvent(event);
}

void FastReassignTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    Project* p = project();
    if (s && p && event->button() == Qt::LeftButton) {
        if (const Label* label = currentLabel()) {
            auto parent = std::make_unique<QUndoCommand>(tr("Reassign label."));
            // Masks hold mask ids (what the mask item paints and exports write), so that is
            // the value a label has in the mask.
            const int value = maskValueAt(event);
            const int maskId = label->maskId();
            if (s->maskItem() && value != 0 && value != maskId && maskId > 0 && maskId <= 255)
                new commands::MaskItemFlood(s->maskItem(), scenePos(event).toPoint(), uint8_t(maskId),
                                            parent.get());
            QGraphicsItem* top = itemAt(event);
            if (isLabelItem(top)) {
                const Label* itemLabel = p->labelById(labelIdOf(top));
                if (itemLabel && itemLabel != label)
                    new commands::SetItemLabelId(top, label, parent.get());
            }
            if (parent->childCount() > 0)
                push(parent.release());
        }
    } else if (s && p && event->button() == Qt::RightButton) {
        Label* picked = nullptr;
        QGraphicsItem* top = itemAt(event);
        if (isLabelItem(top)) {
            picked = p->labelById(labelIdOf(top));
        } else if (const int value = maskValueAt(event)) {
            const QList<Label*> withValue = p->labelsByMaskId(value);
            picked = withValue.isEmpty() ? nullptr : withValue.first();
        }
        if (picked)
            p->setCurrentLabel(picked);
    }
    Tool::mousePressEvent(event);
}

void FastReassignTool::keyReleaseEvent(QKeyEvent* event) {
    Project* p = project();
    const int key = event->key();
    if (p && key >= Qt::Key_0 && key <= Qt::Key_9) {
        const int position = key == Qt::Key_0 ? 9 : key - Qt::Key_1;
        if (position < p->labels().size())
            p->setCurrentLabel(p->labels().at(position));
        return;
    }
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
