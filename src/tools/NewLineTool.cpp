// SPDX-License-Identifier: MIT
#include "tools/NewLineTool.h"

#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"

#include <QGraphicsLineItem>
#include <QKeyEvent>
#include <QMouseEvent>

namespace pxm {

NewLineTool::NewLineTool(Tool* parentTool) : Tool(parentTool, ToolType::NewLine) {}

NewLineTool::~NewLineTool() {
    discard();
}

QGraphicsLineItem* NewLineTool::drawnItem() const {
    return static_cast<QGraphicsLineItem*>(m_drawn.get());
}

void NewLineTool::discard() {
    QGraphicsItem* item = m_drawn.get();
    m_drawn.reset();
    delete item;
}

void NewLineTool::cleanUp() {
    discard();
    Tool::cleanUp();
}

void NewLineTool::setScene(Scene* scene) {
    discard();
    Tool::setScene(scene);
}

void NewLineTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        discard();
    Tool::keyReleaseEvent(event);
}

void NewLineTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    Label* label = currentLabel();
    if (!m_drawn && s && label) {
        const QPointF p = scenePos(event);
        auto* item = new QGraphicsLineItem(QLineF(p, p));
        s->addLabelItem(item, label);
        setUnfinished(item, true);
        m_drawn.reset(item);
        setActive(true);
    }
    Tool::mousePressEvent(event);
}

void NewLineTool::mouseMoveEvent(QMouseEvent* event) {
    if (QGraphicsLineItem* item = drawnItem())
        item->setLine(QLineF(item->line().p1(), item->mapFromScene(scenePos(event))));
    Tool::mouseMoveEvent(event);
}

void NewLineTool::mouseReleaseEvent(QMouseEvent* event) {
    QGraphicsLineItem* item = drawnItem();
    if (item && scene()) {
        m_drawn.reset();
        setUnfinished(item, false);
        push(new commands::AddItemToScene(scene(), item));
        emit committed(item);
        setActive(false);
    }
    Tool::mouseReleaseEvent(event);
}

} // namespace pxm
