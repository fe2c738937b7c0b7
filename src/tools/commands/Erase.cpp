// SPDX-License-Identifier: MIT
#include "tools/commands/Erase.h"

#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"

#include <QGraphicsPathItem>

namespace pxm::commands {

Erase::Erase(Scene* scene, QUndoCommand* parent) : QUndoCommand(parent), m_scene(scene) {}

Erase::~Erase() {
    if (!m_done)
        return;
    for (QGraphicsItem* item : qAsConst(m_removed))
        if (!item->scene())
            delete item;
}

void Erase::apply(const QRectF& rect) {
    m_done = true;
    Scene* scene = m_scene.data();
    if (!scene)
        return;
    const QList<QGraphicsItem*> hit = scene->items(rect, Qt::IntersectsItemShape);
    for (QGraphicsItem* item : hit) {
        if (!isLabelItem(item))
            continue;
        if (item->type() != QGraphicsPathItem::Type) {
            scene->removeItem(item);
            m_removed.insert(item);
            continue;
        }
        auto* region = static_cast<QGraphicsPathItem*>(item);
        QPainterPath cut;
        if (region->sceneTransform().isIdentity()) {
            cut.addRect(rect);
        } else {
            cut.addPolygon(region->mapFromScene(rect));
            cut.closeSubpath();
        }
        const QPainterPath after = region->path().subtracted(cut).simplified();
        auto change = m_paths.find(item);
        if (change == m_paths.end())
            change = m_paths.insert(item, {region->path(), QPainterPath()});
        change->after = after;
        if (after.isEmpty()) {
            scene->removeItem(item);
            m_removed.insert(item);
        } else {
            region->setPath(after);
        }
    }
    if (scene->maskItem()) {
        m_maskRects << rect;
        changeMask(rect, true);
    }
}

void Erase::changeMask(const QRectF& rect, bool erase) const {
    Scene* scene = m_scene.data();
    if (!scene)
        return;
    if (MaskItem* item = scene->maskItem()) {
        erase ? item->erase(rect) : item->unerase(rect);
        return;
    }
    // The scene was swapped out since: the overlay is still the labeled image's.
    if (!scene->image() || !scene->image()->mask())
        return;
    MaskItem detached(scene->image(), scene->zLayer());
    erase ? detached.erase(rect) : detached.unerase(rect);
}

void Erase::redo() {
    Scene* scene = m_scene.data();
    if (m_done || !scene)
        return;
    for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it)
        if (!it->after.isEmpty())
            static_cast<QGraphicsPathItem*>(it.key())->setPath(it->after);
    for (QGraphicsItem* item : qAsConst(m_removed))
        if (item->scene() == scene)
            scene->removeItem(item);
    for (const QRectF& rect : qAsConst(m_maskRects))
        changeMask(rect, true);
    m_done = true;
}

void Erase::undo() {
    Scene* scene = m_scene.data();
    if (!m_done || !scene)
        return;
    for (QGraphicsItem* item : qAsConst(m_removed))
        if (item->scene() != scene)
            scene->addItem(item);
    for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it)
        static_cast<QGraphicsPathItem*>(it.key())->setPath(it->before);
    for (auto it = m_maskRects.crbegin(); it != m_maskRects.crend(); ++it)
        changeMask(*it, false);
    m_done = false;
}

} // namespace pxm::commands
