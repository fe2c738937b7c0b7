// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QPointF>
#include <QRectF>
#include <QTransform>
#include <array>

class QGraphicsItemGroup;

namespace pxm {

class GrabItem;

/// Moves, rotates and scales one label shape through its position and transform. Works as a
/// tool of its own and as the sub-tool the rectangle and ellipse tools hand finished shapes
/// to. Every finished drag is one TransformItem undo step, computed from the press each time
/// (never accumulated over moves).
class Transformation : public Tool {
    Q_OBJECT
public:
    enum class State { Detached = 0, Attached = 1, Moving = 2, Rotating = 3, Scaling = 4 };
    /// The eight scale grips, clockwise from the top-left corner.
    enum Grip { TopLeft, Top, TopRight, Right, BottomRight, Bottom, BottomLeft, Left, GripCount };

    explicit Transformation(View* view);
    explicit Transformation(Tool* parentTool);
    ~Transformation() override;

    State state() const { return m_state; }
    /// True in the middle of a move, rotation or scaling.
    bool isTransforming() const { return m_state > State::Attached; }
    QGraphicsItem* item() const { return m_item.get(); }
    /// The grips while attached (null otherwise), for tests and hit checks.
    GrabItem* scaleGrip(Grip grip) const { return m_scaleGrips[std::size_t(grip)]; }
    GrabItem* moveGrip() const { return m_moveGrip; }
    GrabItem* rotationGrip() const { return m_rotationGrip; }

    /// Puts the grips on `item` and becomes active.
    void attach(QGraphicsItem* item);
    /// Lets go of the shape, removing the grips, and becomes inactive.
    void detach();

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void rememberPress(const QPointF& scenePos);
    void restorePress();
    void apply(const QPointF& scenePos);
    void move(const QPointF& scenePos);
    void rotate(const QPointF& scenePos);
    void scale(const QPointF& scenePos);
    void removeGrips();
    int scaleGripIndex(const QGraphicsItem* item) const;

    State m_state = State::Detached;
    ItemWatch m_item;
    QGraphicsItemGroup* m_grips = nullptr;
    QGraphicsItem* m_frame = nullptr;
    std::array<GrabItem*, GripCount> m_scaleGrips{};
    GrabItem* m_moveGrip = nullptr;
    GrabItem* m_rotationGrip = nullptr;
    int m_draggedGrip = -1;

    QPointF m_pressPos;
    QTransform m_pressTransform;
    QRectF m_pressRect;
    QPointF m_pressItemPoint;
    QPointF m_pressParentPoint;
};

} // namespace pxm
