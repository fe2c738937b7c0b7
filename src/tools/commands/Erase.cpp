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
    cut(scene->items(rect, Qt::IntersectsItemShape), [&rect](const QGraphicsPathItem* region) {
        QPainterPath cut;
        if (region->sceneTransform().isIdentity()) {
            cut.addRect(rect);
        } else {
            cut.addPolygon(region->mapFromScene(rect));
            cut.closeSubpath();
        }
        return cut;
    });
    if (scene->maskItem()) {
        m_maskRects << rect;
        changeMask(rect, true);
    }
}

void Erase::apply(const QPolygonF& area, const QVector<QRect>& maskPixels) {
    m_done = true;
    Scene* scene = m_scene.data();
    if (!scene)
        return;
    cut(scene->items(area, Qt::IntersectsItemShape), [&area](const QGraphicsPathItem* region) {
        QPainterPath cut;
        cut.addPolygon(region->sceneTransform().isIdentity() ? area : region->mapFromScene(area));
        cut.closeSubpath();
        return cut;
    });
    if (!scene->maskItem())
        return;
    for (const QRect& pixels : maskPixels) {
        // The pixels' inner part: whole-pixel rounding of the overlay maps it onto exactly them.
        const QRectF inner = QRectF(pixels).adjusted(0.25, 0.25, -0.25, -0.25);
        m_maskRects << inner;
        changeMask(inner, true);
    }
}

void Erase::cut(const QList<QGraphicsItem*>& hit,
                const std::function<QPainterPath(const QGraphicsPathItem*)>& areaIn) {
    Scene* scene = m_scene.data();
    for (QGraphicsItem* item : hit) {
        if (!isLabelItem(item))
            continue;
        if (item->type() != QGraphicsPathItem::Type) {
            scene->removeItem(item);
            m_removed.insert(item);
            continue;
        }
        auto* region = static_cast<QGraphicsPathItem*>(item);
        const QPainterPath after = region->path().subtracted(areaIn(region)).simplified();
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
