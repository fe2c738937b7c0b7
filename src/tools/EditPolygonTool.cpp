// SPDX-License-Identifier: MIT
#include "tools/EditPolygonTool.h"

#include "scene/GrabItem.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/View.h"
#include "tools/commands/ShapeCommands.h"

#include <QGraphicsPolygonItem>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QVector2D>

namespace pxm {

namespace {
// How close to an edge, in screen pixels, a Shift+press inserts a vertex.
constexpr double kEdgeReach = 6.0;
constexpr int kMinVertices = 3;
} // namespace

EditPolygonTool::EditPolygonTool(Tool* parentTool) : Tool(parentTool, ToolType::EditPolygon) {}

EditPolygonTool::~EditPolygonTool() {
    deleteGrips();
}

EditPolygonTool::State EditPolygonTool::state() const {
    if (!m_item)
        return State::Idle;
    return m_draggedGrip ? State::Dragging : State::Editing;
}

QGraphicsPolygonItem* EditPolygonTool::item() const {
    return static_cast<QGraphicsPolygonItem*>(m_item.get());
}

void EditPolygonTool::makeGrips() {
    deleteGrips();
    QGraphicsPolygonItem* polygon = item();
    if (!polygon || !polygon->scene())
        return;
    const QPolygonF points = polygon->polygon();
    m_grips.reserve(points.size());
    for (const QPointF& point : points) {
        auto* grip = new GrabItem();
        grip->setPos(polygon->mapToScene(point));
        polygon->scene()->addItem(grip);
        m_grips.append(grip);
    }
}

void EditPolygonTool::deleteGrips() {
    qDeleteAll(m_grips);
    m_grips.clear();
    m_draggedGrip = nullptr;
    m_draggedIndex = -1;
}

void EditPolygonTool::startEditing(QGraphicsPolygonItem* polygon) {
    endEditing();
    if (!polygon || !polygon->scene())
        return;
    m_item.reset(polygon);
    makeGrips();
    m_committedPolygon = m_currentPolygon = polygon->polygon();
    setActive(true);
}

void EditPolygonTool::endEditing() {
    if (QGraphicsPolygonItem* polygon = item())
        polygon->setPolygon(m_committedPolygon);
    deleteGrips();
    m_item.reset();
    setActive(false);
}

void EditPolygonTool::cleanUp() {
    endEditing();
    Tool::cleanUp();
}

void EditPolygonTool::setScene(Scene* scene) {
    endEditing();
    Tool::setScene(scene);
}

void EditPolygonTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        endEditing();
    } else if (event->key() == Qt::Key_Delete && m_item) {
        QGraphicsPolygonItem* polygon = item();
        endEditing();
        if (polygon->scene())
            push(new commands::RemoveItemFromScene(polygon));
    }
    Tool::keyReleaseEvent(event);
}

int EditPolygonTool::edgeAt(const QPoint& viewPos, QPointF* itemPoint) const {
    QGraphicsPolygonItem* polygon = item();
    if (!polygon || !view())
        return -1;
    const QPolygonF points = polygon->polygon();
    const int n = points.size();
    if (n < 2)
        return -1;
    const QTransform toView = polygon->sceneTransform() * view()->viewportTransform();
    const QVector2D p(viewPos);
    int best = -1;
    double bestDistance = kEdgeReach;
    for (int i = 0; i < n; ++i) {
        const QVector2D a(toView.map(points[i]));
        const QVector2D b(toView.map(points[(i + 1) % n]));
        const QVector2D ab = b - a;
        const double len2 = double(ab.lengthSquared());
        const double t = len2 > 0 ? std::clamp(double(QVector2D::dotProduct(p - a, ab)) / len2, 0.0, 1.0) : 0.0;
        const QVector2D closest = a + ab * float(t);
        const double distance = double((p - closest).length());
        if (distance <= bestDistance) {
            bestDistance = distance;
            best = i;
            if (itemPoint)
                *itemPoint = toView.inverted().map(closest.toPointF());
        }
    }
    return best;
}

void EditPolygonTool::commitShape(const QPolygonF& polygon) {
    QGraphicsPolygonItem* shape = item();
    push(new commands::SetPolygonItemPolygon(shape, m_committedPolygon, polygon));
    m_committedPolygon = m_currentPolygon = polygon;
    makeGrips();
}

void EditPolygonTool::mousePressEvent(QMouseEvent* event) {
    QGraphicsItem* hit = itemAt(event);
    if (!m_item) {
        if (hit && hit->type() == QGraphicsPolygonItem::Type)
            startEditing(static_cast<QGraphicsPolygonItem*>(hit));
        Tool::mousePressEvent(event);
        return;
    }
    const int gripIndex = hit ? m_grips.indexOf(qobject_cast<GrabItem*>(hit->toGraphicsObject())) : -1;
    const bool shiftLeft = event->button() == Qt::LeftButton && event->modifiers() == Qt::ShiftModifier;
    if (shiftLeft && gripIndex >= 0) {
        if (m_currentPolygon.size() > kMinVertices) {
            QPolygonF polygon = m_currentPolygon;
            polygon.remove(gripIndex);
            commitShape(polygon);
        }
    } else if (gripIndex >= 0) {
        m_draggedGrip = m_grips[gripIndex];
        m_draggedIndex = gripIndex;
    } else if (QPointF at; shiftLeft && edgeAt(event->pos(), &at) >= 0) {
        QPolygonF polygon = m_currentPolygon;
        polygon.insert(edgeAt(event->pos(), nullptr) + 1, at);
        commitShape(polygon);
    } else {
        QGraphicsItem* underPolygon = hit && hit->type() == QGraphicsPolygonItem::Type ? hit : nullptr;
        if (underPolygon != item())
            endEditing();
    }
    Tool::mousePressEvent(event);
}

void EditPolygonTool::mouseMoveEvent(QMouseEvent* event) {
    QGraphicsPolygonItem* polygon = item();
    if (polygon && m_draggedGrip && m_draggedIndex < m_currentPolygon.size()) {
        const QPointF p = scenePos(event);
        m_draggedGrip->setPos(p);
        m_currentPolygon[m_draggedIndex] = polygon->mapFromScene(p);
        polygon->setPolygon(m_currentPolygon);
    }
    Tool::mouseMoveEvent(event);
}

void EditPolygonTool::mouseReleaseEvent(QMouseEvent* event) {
    if (m_draggedGrip && m_item) {
        m_draggedGrip = nullptr;
        m_draggedIndex = -1;
        push(new commands::SetPolygonItemPolygon(item(), m_committedPolygon, m_currentPolygon));
        m_committedPolygon = m_currentPolygon;
    }
    Tool::mouseReleaseEvent(event);
}

} // namespace pxm
