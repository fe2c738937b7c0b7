// SPDX-License-Identifier: MIT
#include "tools/CompositeShapeTool.h"

#include <QGraphicsItem>
#include <QCursor>
#include <QMouseEvent>

namespace pxm {

CompositeShapeTool::CompositeShapeTool(View* view, ToolType type, int shapeType)
    : Tool(view, type), m_shapeType(shapeType) {}

void CompositeShapeTool::setSubTools(Tool* creator, Tool* editor) {
    m_creator = creator;
    m_editor = editor;
}

void CompositeShapeTool::setHovered(QGraphicsItem* item) {
    if (QGraphicsItem* old = m_hovered.get())
        old->setCursor(Qt::ArrowCursor);
    m_hovered.reset(item);
    if (item)
        item->setCursor(Qt::PointingHandCursor);
}

void CompositeShapeTool::cleanUp() {
    setHovered(nullptr);
    Tool::cleanUp();
}

void CompositeShapeTool::setScene(Scene* scene) {
    // No shape of a scene that leaves the view may keep the pointing hand or a watch, and
    // both sub-tools let go, the inactive one too: the base would only tell the active one.
    setHovered(nullptr);
    for (Tool* subTool : {m_creator, m_editor})
        if (subTool)
            subTool->setScene(scene);
    if (activeChild())
        activeChild()->setActive(false);
}

void CompositeShapeTool::mouseMoveEvent(QMouseEvent* event) {
    setHovered(nullptr);
    if (!activeChild()) {
        QGraphicsItem* item = itemAt(event);
        if (item && item->type() == m_shapeType)
            setHovered(item);
    }
    Tool::mouseMoveEvent(event);
}

void CompositeShapeTool::mousePressEvent(QMouseEvent* event) {
    if (!activeChild()) {
        QGraphicsItem* item = itemAt(event);
        if (item && item->type() == m_shapeType && event->button() != Qt::RightButton)
            m_editor->setActive(true);
        else
            m_creator->setActive(true);
    }
    Tool::mousePressEvent(event);
}

void CompositeShapeTool::on_creator_committed(QGraphicsItem* item) {
    m_creator->setActive(false);
    if (item)
        startEditing(item);
}

} // namespace pxm
