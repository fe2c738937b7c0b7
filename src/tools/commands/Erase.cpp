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
    changeMasks({rect}, erase);
}

void Erase::changeMasks(const QList<QRectF>& rects, bool erase) const {
    Scene* scene = m_scene.data();
    if (!scene || rects.isEmpty())
        return;
    auto change = [&rects, erase](MaskItem* item) {
        if (erase) {
            for (const QRectF& rect : rects)
                item->erase(rect);
        } else {
            for (auto it = rects.crbegin(); it != rects.crend(); ++it)
                item->unerase(*it);
        }
    };
    if (MaskItem* item = scene->maskItem()) {
        change(item);
        return;
    }
    // Another image is shown: this one's mask and overlay may be swapped out to their files.
    // Pinned, they are in memory; let go, the changed overlay goes back to its file.
    LabeledImage* image = scene->image();
    if (!image)
        return;
    image->incUsage();
    if (image->mask()) {
        MaskItem detached(image, scene->zLayer());
        change(&detached);
    }
    image->decUsage();
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
    changeMasks(m_maskRects, true);
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
    changeMasks(m_maskRects, false);
    m_done = false;
}

} // namespace pxm::commands
