// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QList>
#include <QPolygonF>

class QGraphicsPolygonItem;

namespace pxm {

class GrabItem;

/// Edits a polygon through one grip per vertex; each drag is one undo step. Shift+press on
/// an edge inserts a vertex there, Shift+press on a grip removes its vertex (never below
/// three); each of those is one undo step too.
class EditPolygonTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Editing, Dragging };

    explicit EditPolygonTool(Tool* parentTool);
    ~EditPolygonTool() override;

    State state() const;
    QGraphicsPolygonItem* item() const;
    const QList<GrabItem*>& grips() const { return m_grips; }
    QPolygonF committedPolygon() const { return m_committedPolygon; }

    /// Ends any editing and starts editing `item`.
    void startEditing(QGraphicsPolygonItem* item);
    /// Gives the polygon back its last committed geometry and lets go of it.
    void endEditing();

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void makeGrips();
    void deleteGrips();
    /// Index of the edge (from vertex i to i+1) within reach of a view position, or -1.
    int edgeAt(const QPoint& viewPos, QPointF* itemPoint) const;
    void commitShape(const QPolygonF& polygon);

    QList<GrabItem*> m_grips;
    GrabItem* m_draggedGrip = nullptr;
    int m_draggedIndex = -1;
    QPolygonF m_committedPolygon;
    QPolygonF m_currentPolygon;
    ItemWatch m_item;
};

} // namespace pxm
