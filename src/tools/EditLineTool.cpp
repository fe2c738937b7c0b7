// SPDX-License-Identifier: MIT
#include "tools/EditLineTool.h"

#include "scene/GrabItem.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/commands/ShapeCommands.h"

#include <QGraphicsLineItem>
#include <QKeyEvent>
#include <QMouseEvent>

namespace pxm {

EditLineTool::EditLineTool(Tool* parentTool) : Tool(parentTool, ToolType::EditLine) {}

EditLineTool::~EditLineTool() {
    deleteGrips();
}

EditLineTool::State EditLineTool::state() const {
    if (!m_item)
        return State::Idle;
    return m_draggingP1 || m_draggingP2 ? State::Dragging : State::Editing;
}

QGraphicsLineItem* EditLineTool::item() const {
    return static_cast<QGraphicsLineItem*>(m_item.get());
}

void EditLineTool::deleteGrips() {
    delete m_grip1;
    delete m_grip2;
    m_grip1 = m_grip2 = nullptr;
}

void EditLineTool::startEditing(QGraphicsLineItem* line) {
    endEditing();
    if (!line || !line->scene())
        return;
    m_item.reset(line);
    m_committedLine = line->line();
    m_grip1 = new GrabItem();
    m_grip1->setPos(line->mapToScene(m_committedLine.p1()));
    m_grip2 = new GrabItem();
    m_grip2->setPos(line->mapToScene(m_committedLine.p2()));
    line->scene()->addItem(m_grip1);
    line->scene()->addItem(m_grip2);
    setActive(true);
}

void EditLineTool::endEditing() {
    if (QGraphicsLineItem* line = item())
        line->setLine(m_committedLine);
    deleteGrips();
    m_item.reset();
    m_draggingP1 = m_draggingP2 = false;
    setActive(false);
}

void EditLineTool::cleanUp() {
    endEditing();
    Tool::cleanUp();
}

void EditLineTool::setScene(Scene* scene) {
    endEditing();
    Tool::setScene(scene);
}

void EditLineTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        endEditing();
    } else if (event->key() == Qt::Key_Delete && m_item) {
        QGraphicsLineItem* line = item();
        endEditing();
        if (line->scene())
            push(new commands::RemoveItemFromScene(line));
    }
    Tool::keyReleaseEvent(event);
}

void EditLineTool::mousePressEvent(QMouseEvent* event) {
    QGraphicsItem* hit = itemAt(event);
    if (m_item) {
        if (hit && hit == m_grip1) {
            m_committedLine = item()->line();
            m_draggingP1 = true;
        } else if (hit && hit == m_grip2) {
            m_committedLine = item()->line();
            m_draggingP2 = true;
        } else {
            endEditing();
        }
    } else if (hit && hit->type() == QGraphicsLineItem::Type) {
        startEditing(static_cast<QGraphicsLineItem*>(hit));
    }
    Tool::mousePressEvent(event);
}

void EditLineTool::mouseMoveEvent(QMouseEvent* event) {
    QGraphicsLineItem* line = item();
    if (line && (m_draggingP1 || m_draggingP2)) {
        const QPointF p = scenePos(event);
        QLineF l = line->line();
        if (m_draggingP1) {
            l.setP1(line->mapFromScene(p));
            m_grip1->setPos(p);
        } else {
            l.setP2(line->mapFromScene(p));
            m_grip2->setPos(p);
        }
        line->setLine(l);
    }
    Tool::mouseMoveEvent(event);
}

void EditLineTool::mouseReleaseEvent(QMouseEvent* event) {
    if (QGraphicsLineItem* line = item()) {
        if (m_draggingP1 || m_draggingP2) {
            push(new commands::SetLineItemLine(line, m_committedLine, line->line()));
            m_draggingP1 = m_draggingP2 = false;
        }
        m_committedLine = line->line();
    }
    Tool::mouseReleaseEvent(event);
}

} // namespace pxm
