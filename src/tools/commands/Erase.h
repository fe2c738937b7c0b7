// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QList>
#include <QPainterPath>
#include <QPointer>
#include <QPolygonF>
#include <QRect>
#include <QRectF>
#include <QSet>
#include <QUndoCommand>
#include <QVector>
#include <functional>

class QGraphicsItem;
class QGraphicsPathItem;

namespace pxm {
class Scene;
}

namespace pxm::commands {

/// One step of an eraser stroke, the brush at the press or its way since the last position:
/// painted regions get the area cut out, every other label shape it touches is removed
/// whole, and the scene's mask has the pixels under it cleared through the erase overlay.
///
/// The tool applies the command and then pushes it; the first redo, which the push runs,
/// finds the work done and changes nothing. Removed shapes belong to the command while
/// they are out of the scene because of it.
class Erase : public QUndoCommand {
public:
    explicit Erase(Scene* scene, QUndoCommand* parent = nullptr);
    ~Erase() override;

    /// Erases the rectangle (scene coordinates) and records what it changed; the mask loses
    /// every pixel the rectangle meets.
    void apply(const QRectF& rect);
    /// Erases a scene polygon from the shapes, with one cut per region, and the whole
    /// pixels of the rectangles from the mask; records what it changed.
    void apply(const QPolygonF& area, const QVector<QRect>& maskPixels);

    void redo() override;
    void undo() override;

    /// The label shapes taken out of the scene.
    const QSet<QGraphicsItem*>& removedItems() const { return m_removed; }
    /// The rectangles cleared in the mask.
    const QList<QRectF>& maskRects() const { return m_maskRects; }

private:
    struct PathChange {
        QPainterPath before; ///< the region's path before the first cut
        QPainterPath after;  ///< and after the last
    };
    /// Removes the hit label shapes, or cuts the area (in the region's coordinates) out of
    /// painted regions.
    void cut(const QList<QGraphicsItem*>& hit,
             const std::function<QPainterPath(const QGraphicsPathItem*)>& areaIn);
    void changeMask(const QRectF& rect, bool erase) const;
    /// Erases the rectangles in order, or un-erases them in reverse, also while the image is
    /// not shown.
    void changeMasks(const QList<QRectF>& rects, bool erase) const;

    QPointer<Scene> m_scene;
    QSet<QGraphicsItem*> m_removed;
    QHash<QGraphicsItem*, PathChange> m_paths;
    QList<QRectF> m_maskRects;
    bool m_done = false;
};

} // namespace pxm::commands
