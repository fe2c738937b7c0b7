// SPDX-License-Identifier: MIT
#include "tools/Tool.h"

#include "model/Project.h"
#include "tools/View.h"

#include <QMouseEvent>
#include <QUndoStack>

namespace pxm {

Tool::Tool(View* view, ToolType type) : QObject(view), m_type(type), m_view(view) {}

Tool::Tool(Tool* parentTool, ToolType type)
    : QObject(parentTool), m_type(type), m_view(parentTool ? parentTool->view() : nullptr), m_parentTool(parentTool) {}

Tool::~Tool() {
    // Sub-tools die after this part of their composite (as QObject children): they must not
    // reach back into it then.
    for (QObject* child : children())
        if (auto* tool = qobject_cast<Tool*>(child))
            tool->m_parentTool = nullptr;
    // A sub-tool deleted on its own leaves no dangling active child behind.
    if (m_parentTool && m_parentTool->m_activeChild == this)
        m_parentTool->m_activeChild = nullptr;
}

Scene* Tool::scene() const {
    return m_view ? m_view->currentScene() : nullptr;
}

Project* Tool::project() const {
    return m_view ? m_view->project() : nullptr;
}

QToolBar* Tool::settingsToolBar() {
    return nullptr;
}

void Tool::cleanUp() {
    if (m_activeChild)
        m_activeChild->cleanUp();
}

void Tool::init() {
    if (m_activeChild)
        m_activeChild->init();
}

void Tool::setScene(Scene* scene) {
    if (m_activeChild)
        m_activeChild->setScene(scene);
}

void Tool::keyPressEvent(QKeyEvent* event) {
    if (m_activeChild)
        m_activeChild->keyPressEvent(event);
}

void Tool::keyReleaseEvent(QKeyEvent* event) {
    if (m_activeChild)
        m_activeChild->keyReleaseEvent(event);
}

void Tool::mouseMoveEvent(QMouseEvent* event) {
    if (m_activeChild)
        m_activeChild->mouseMoveEvent(event);
}

void Tool::mouseDoubleClickEvent(QMouseEvent* event) {
    if (m_activeChild)
        m_activeChild->mouseDoubleClickEvent(event);
}

void Tool::mousePressEvent(QMouseEvent* event) {
    if (m_activeChild)
        m_activeChild->mousePressEvent(event);
}

void Tool::mouseReleaseEvent(QMouseEvent* event) {
    if (m_activeChild)
        m_activeChild->mouseReleaseEvent(event);
}

void Tool::wheelEvent(QWheelEvent* event) {
    if (m_activeChild)
        m_activeChild->wheelEvent(event);
}

void Tool::setActive(bool active) {
    if (active == m_active)
        return;
    if (active) {
        if (m_parentTool) {
            if (m_parentTool->m_activeChild && m_parentTool->m_activeChild != this)
                m_parentTool->m_activeChild->setActive(false);
            m_parentTool->m_activeChild = this;
        }
        m_active = true;
        return;
    }
    if (m_activeChild)
        m_activeChild->setActive(false);
    if (m_parentTool && m_parentTool->m_activeChild == this)
        m_parentTool->m_activeChild = nullptr;
    m_active = false;
}

QPointF Tool::scenePos(const QMouseEvent* event) const {
    return m_view ? m_view->mapToScene(event->pos()) : QPointF(event->pos());
}

QGraphicsItem* Tool::itemAt(const QMouseEvent* event) const {
    return m_view && scene() ? m_view->itemAt(event->pos()) : nullptr;
}

Label* Tool::currentLabel() const {
    Project* p = project();
    return p ? p->currentLabel() : nullptr;
}

void Tool::push(QUndoCommand* command) {
    Project* p = project();
    if (p)
        p->undoStack()->push(command);
    else
        delete command;
}

} // namespace pxm
