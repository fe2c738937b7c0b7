// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

namespace pxm {

/// The shared base of the line and polygon tools: a creator sub-tool that draws a new shape
/// and an editor sub-tool that drags its points. A press on an existing shape of the kind
/// edits it (a right press starts a new shape on top instead); a press anywhere else creates.
/// A committed new shape goes straight into editing.
class CompositeShapeTool : public Tool {
    Q_OBJECT
public:
    /// `shapeType` is the QGraphicsItem::type() of the shapes this tool handles.
    CompositeShapeTool(View* view, ToolType type, int shapeType);

    Tool* creator() const { return m_creator; }
    Tool* editor() const { return m_editor; }

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

protected:
    /// Called by the subclass's constructor with its two sub-tools.
    void setSubTools(Tool* creator, Tool* editor);
    /// Puts the editor on `item`.
    virtual void startEditing(QGraphicsItem* item) = 0;

protected slots:
    /// The creator committed `item`: it goes to the editor.
    void on_creator_committed(QGraphicsItem* item);

private:
    void setHovered(QGraphicsItem* item);

    const int m_shapeType;
    Tool* m_creator = nullptr;
    Tool* m_editor = nullptr;
    ItemWatch m_hovered;
};

} // namespace pxm
