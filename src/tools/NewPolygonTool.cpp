// SPDX-License-Identifier: MIT
#include "tools/NewPolygonTool.h"

#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"

#include <QGraphicsPolygonItem>
#include <QKeyEvent>
#include <QMouseEvent>

namespace pxm {

NewPolygonTool::NewPolygonTool(Tool* parentTool) : Tool(parentTool, ToolType::NewPolygon) {}

NewPolygonTool::~NewPolygonTool() {
    discard();
}

QGraphicsPolygonItem* NewPolygonTool::drawnItem() const {
    return static_cast<QGraphicsPolygonItem*>(m_drawn.get());
}

void NewPolygonTool::discard() {
    QGraphicsItem* item = m_drawn.get();
    m_drawn.reset();
    delete item;
}

void NewPolygonTool::cleanUp() {
    discard();
    setActive(false);
    Tool::cleanUp();
}

void NewPolygonTool::setScene(Scene* scene) {
    discard();
    setActive(false);
    Tool::setScene(scene);
}

void NewPolygonTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        discard();
        setActive(false);
    }
    Tool::keyReleaseEvent(event);
}

void NewPolygonTool::mousePressEvent(QMouseEvent* event) {
    if (QGraphicsPolygonItem* item = drawnItem()) {
        QPolygonF polygon = item->polygon();
        polygon.append(item->mapFromScene(scenePos(event)));
        item->setPolygon(polygon);
    } else if (Scene* s = scene(); s && currentLabel()) {
        const QPointF p = scenePos(event);
        auto* polygon = new QGraphicsPolygonItem(QPolygonF(QVector<QPointF>{p, p}));
        s->addLabelItem(polygon, currentLabel());
        setUnfinished(polygon, true);
        m_drawn.reset(polygon);
        setActive(true);
    }
    Tool::mousePressEvent(event);
}

void NewPolygonTool::mouseMoveEvent(QMouseEvent* event) {
    if (QGraphicsPolygonItem* item = drawnItem()) {
        QPolygonF polygon = item->polygon();
        if (!polygon.isEmpty()) {
            polygon.last() = item->mapFromScene(scenePos(event));
            item->setPolygon(polygon);
        }
    }
    Tool::mouseMoveEvent(event);
}

void NewPolygonTool::mouseDoubleClickEvent(QMouseEvent* event) {
    QGraphicsPolygonItem* item = drawnItem();
    if (item && scene()) {
        QPolygonF polygon = item->polygon();
        if (!polygon.isEmpty())
            polygon.removeLast();
        item->setPolygon(polygon);
        m_drawn.reset();
        setUnfinished(item, false);
        push(new commands::AddItemToScene(scene(), item));
        setActive(false);
        emit committed(item);
    }
    Tool::mouseDoubleClickEvent(event);
}

} // namespace pxm
