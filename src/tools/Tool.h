// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ToolType.h"

#include <QObject>
#include <QPointF>

class QGraphicsItem;
class QKeyEvent;
class QMouseEvent;
class QToolBar;
class QUndoCommand;
class QWheelEvent;

namespace pxm {

class Label;
class Project;
class Scene;
class View;

/// A drawing or editing tool: receives the View's input events (in view coordinates) and
/// changes the shown scene through undo commands on the project's stack.
///
/// Tools can be composite: a tool may own sub-tools, of which at most one is active; every
/// handler of the base forwards to the active sub-tool, so a composite does its own work in
/// an override and then calls the base to pass the event on.
class Tool : public QObject {
    Q_OBJECT
public:
    /// A top-level tool working in `view` (its QObject parent).
    Tool(View* view, ToolType type);
    /// A sub-tool of `parentTool` (its QObject parent), working in the same view.
    Tool(Tool* parentTool, ToolType type);
    ~Tool() override;

    ToolType type() const { return m_type; }
    bool active() const { return m_active; }
    View* view() const { return m_view; }
    Tool* parentTool() const { return m_parentTool; }
    Tool* activeChild() const { return m_activeChild; }
    /// The scene the view shows, or null.
    Scene* scene() const;
    /// The view's project, or null.
    Project* project() const;

    /// The tool's settings tool bar, added to the main window while the tool is in use; null
    /// for none.
    virtual QToolBar* settingsToolBar();
    /// Deletes temporary items before the view drops the tool.
    virtual void cleanUp();
    /// Called once after the view made the tool.
    virtual void init();
    /// The view shows another scene (null first when the old one leaves).
    virtual void setScene(pxm::Scene* scene);
    virtual void keyPressEvent(QKeyEvent* event);
    virtual void keyReleaseEvent(QKeyEvent* event);
    virtual void mouseMoveEvent(QMouseEvent* event);
    virtual void mouseDoubleClickEvent(QMouseEvent* event);
    virtual void mousePressEvent(QMouseEvent* event);
    virtual void mouseReleaseEvent(QMouseEvent* event);
    virtual void wheelEvent(QWheelEvent* event);

public slots:
    /// Activating a sub-tool deactivates its active sibling; deactivating runs down the chain.
    void setActive(bool active);

protected:
    /// The event's position in scene coordinates.
    QPointF scenePos(const QMouseEvent* event) const;
    /// The topmost item at the event's position, or null.
    QGraphicsItem* itemAt(const QMouseEvent* event) const;
    /// The project's current label, or null.
    Label* currentLabel() const;
    /// Pushes on the project's undo stack; without a project the command is dropped.
    void push(QUndoCommand* command);

private:
    const ToolType m_type;
    View* m_view = nullptr;
    Tool* m_parentTool = nullptr;
    Tool* m_activeChild = nullptr;
    bool m_active = false;
};

} // namespace pxm
