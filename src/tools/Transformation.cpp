// SPDX-License-Identifier: MIT
#include "tools/Transformation.h"

#include "scene/GrabItem.h"
#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/View.h"
#include "tools/commands/TransformItem.h"

#include <QDebug>
#include <QGraphicsItemGroup>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPen>
#include <cmath>

namespace pxm {

namespace {

// The frame is told apart from the rectangles users draw by its type.
class GripFrame : public QGraphicsRectItem {
public:
    enum { Type = UserType + 71 };
    using QGraphicsRectItem::QGraphicsRectItem;
    int type() const override { return Type; }
};

// How far the rotation grip stands above the frame, in screen pixels.
constexpr double kRotationGripOffset = 28.0;

} // namespace

Transformation::Transformation(View* view) : Tool(view, ToolType::Transformation) {}

Transformation::Transformation(Tool* parentTool) : Tool(parentTool, ToolType::Transformation) {}

Transformation::~Transformation() {
    removeGrips();
}

void Transformation::attach(QGraphicsItem* item) {
    if (!item)
        return;
    removeGrips();
    m_item.reset(item);
    m_grips = new QGraphicsItemGroup(item);
    m_grips->setZValue(1.0);
    m_grips->setFlag(QGraphicsItem::ItemIgnoresParentOpacity);
    const QRectF r = item->boundingRect();
    auto* frame = new GripFrame(r);
    QPen pen(Qt::white);
    pen.setCosmetic(true);
    frame->setPen(pen);
    m_grips->addToGroup(frame);
    m_frame = frame;
    const QPointF corners[GripCount] = {r.topLeft(),     QPointF(r.center().x(), r.top()),
                                        r.topRight(),    QPointF(r.right(), r.center().y()),
                                        r.bottomRight(), QPointF(r.center().x(), r.bottom()),
                                        r.bottomLeft(),  QPointF(r.left(), r.center().y())};
    for (int i = 0; i < GripCount; ++i) {
        auto* grip = new GrabItem();
        grip->setPos(corners[i]);
        m_grips->addToGroup(grip);
        m_scaleGrips[std::size_t(i)] = grip;
    }
    m_moveGrip = new GrabItem();
    m_moveGrip->setColor(Qt::yellow);
    m_moveGrip->setPos(r.center());
    m_grips->addToGroup(m_moveGrip);
    // The rotation grip stands a fixed screen distance above the top edge, whatever the zoom.
    double unit = 1.0;
    if (view()) {
        const double det = std::abs(item->deviceTransform(view()->viewportTransform()).determinant());
        if (det > 1e-12)
            unit = 1.0 / std::sqrt(det);
    }
    m_rotationGrip = new GrabItem();
    m_rotationGrip->setColor(Qt::green);
    m_rotationGrip->setPos(QPointF(r.center().x(), r.top() - kRotationGripOffset * unit));
    m_grips->addToGroup(m_rotationGrip);
    m_state = State::Attached;
    setActive(true);
}

void Transformation::detach() {
    removeGrips();
    m_item.reset();
    m_pressTransform = QTransform();
    m_pressPos = QPointF();
    m_draggedGrip = -1;
    m_state = State::Detached;
    setActive(false);
}

void Transformation::removeGrips() {
    // The grips die with a shape that was destroyed under us.
    if (m_item.get())
        delete m_grips;
    m_grips = nullptr;
    m_frame = nullptr;
    m_scaleGrips.fill(nullptr);
    m_moveGrip = nullptr;
    m_rotationGrip = nullptr;
}

void Transformation::cleanUp() {
    detach();
    Tool::cleanUp();
}

void Transformation::setScene(Scene* scene) {
    detach();
    Tool::setScene(scene);
}

int Transformation::scaleGripIndex(const QGraphicsItem* item) const {
    for (int i = 0; i < GripCount; ++i)
        if (item && m_scaleGrips[std::size_t(i)] == item)
            return i;
    return -1;
}

void Transformation::rememberPress(const QPointF& scenePos) {
    QGraphicsItem* item = m_item.get();
    m_pressPos = item->pos();
    m_pressTransform = item->transform();
    m_pressRect = item->boundingRect();
    m_pressItemPoint = item->mapFromScene(scenePos);
    m_pressParentPoint = item->mapToParent(m_pressItemPoint);
}

void Transformation::restorePress() {
    QGraphicsItem* item = m_item.get();
    item->setTransform(m_pressTransform);
    item->setPos(m_pressPos);
}

void Transformation::mousePressEvent(QMouseEvent* event) {
    if (!scene()) {
        Tool::mousePressEvent(event);
        return;
    }
    QGraphicsItem* hit = itemAt(event);
    if (m_state == State::Detached || !m_item) {
        if (m_state != State::Detached)
            detach();
        if (isLabelItem(hit))
            attach(hit);
        Tool::mousePressEvent(event);
        return;
    }
    const QPointF p = scenePos(event);
    const int grip = scaleGripIndex(hit);
    if (grip >= 0) {
        m_draggedGrip = grip;
        rememberPress(p);
        m_state = State::Scaling;
    } else if (hit && hit == m_rotationGrip) {
        rememberPress(p);
        m_state = State::Rotating;
    } else if (hit && (hit == m_item.get() || hit == m_moveGrip || hit == m_frame || hit == m_grips)) {
        rememberPress(p);
        m_state = State::Moving;
    } else {
        detach();
    }
    Tool::mousePressEvent(event);
}

void Transformation::mouseMoveEvent(QMouseEvent* event) {
    if (isTransforming() && m_item)
        apply(scenePos(event));
    Tool::mouseMoveEvent(event);
}

void Transformation::mouseReleaseEvent(QMouseEvent* event) {
    if (isTransforming()) {
        if (QGraphicsItem* item = m_item.get()) {
            apply(scenePos(event));
            push(new commands::TransformItem(item, m_pressPos, m_pressTransform, item->pos(), item->transform()));
            m_state = State::Attached;
        } else {
            detach();
        }
        m_draggedGrip = -1;
    }
    Tool::mouseReleaseEvent(event);
}

void Transformation::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        detach();
    } else if (event->key() == Qt::Key_Delete && m_state != State::Detached) {
        QGraphicsItem* item = m_item.get();
        if (item && isTransforming())
            restorePress();
        detach();
        if (item && item->scene())
            push(new commands::RemoveItemFromScene(item));
    }
    Tool::keyReleaseEvent(event);
}

void Transformation::apply(const QPointF& scenePos) {
    restorePress();
    switch (m_state) {
    case State::Moving:
        move(scenePos);
        break;
    case State::Rotating:
        rotate(scenePos);
        break;
    case State::Scaling:
        scale(scenePos);
        break;
    default:
        break;
    }
}

void Transformation::move(const QPointF& scenePos) {
    QGraphicsItem* item = m_item.get();
    const QPointF p = item->mapToParent(item->mapFromScene(scenePos));
    item->setPos(m_pressPos + (p - m_pressParentPoint));
}

void Transformation::rotate(const QPointF& scenePos) {
    QGraphicsItem* item = m_item.get();
    const QTransform& t0 = m_pressTransform;
    const QPointF c = t0.map(m_pressRect.center());
    const QPointF a = t0.map(m_pressItemPoint) - c;
    const QPointF b = t0.map(item->mapFromScene(scenePos)) - c;
    const double angle = std::atan2(a.x() * b.y() - a.y() * b.x(), a.x() * b.x() + a.y() * b.y());
    QTransform rotation;
    rotation.rotateRadians(angle);
    item->setTransform(t0 * QTransform::fromTranslate(-c.x(), -c.y()) * rotation *
                       QTransform::fromTranslate(c.x(), c.y()));
}

void Transformation::scale(const QPointF& scenePos) {
    QGraphicsItem* item = m_item.get();
    const QPointF p = item->mapFromScene(scenePos);
    const QRectF& r = m_pressRect;
    const QPointF& press = m_pressItemPoint;
    QPointF anchor;
    switch (m_draggedGrip) {
    case TopLeft: anchor = r.bottomRight(); break;
    case Top: anchor = QPointF(press.x(), r.bottom()); break;
    case TopRight: anchor = r.bottomLeft(); break;
    case Right: anchor = QPointF(r.left(), press.y()); break;
    case BottomRight: anchor = r.topLeft(); break;
    case Bottom: anchor = QPointF(press.x(), r.top()); break;
    case BottomLeft: anchor = r.topRight(); break;
    case Left: anchor = QPointF(r.right(), press.y()); break;
    default:
        qWarning("Unknown grip in Transformation::scale()");
        return;
    }
    const double dx = press.x() - anchor.x();
    const double dy = press.y() - anchor.y();
    const double sx = std::abs(dx) > 0.1 ? (p.x() - anchor.x()) / dx : 1.0;
    const double sy = std::abs(dy) > 0.1 ? (p.y() - anchor.y()) / dy : 1.0;
    const QTransform scaling(sx, 0, 0, sy, (1 - sx) * anchor.x(), (1 - sy) * anchor.y());
    item->setTransform(scaling * m_pressTransform);
}

} // namespace pxm
