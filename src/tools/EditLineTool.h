// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QLineF>
#include <QPointer>

class QGraphicsLineItem;

namespace pxm {

class GrabItem;

/// Edits the two end points of a line through grips; each drag is one undo step.
class EditLineTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Editing, Dragging };

    explicit EditLineTool(Tool* parentTool);
    ~EditLineTool() override;

    State state() const;
    QGraphicsLineItem* item() const;
    GrabItem* grip1() const { return m_grip1; }
    GrabItem* grip2() const { return m_grip2; }
    QLineF committedLine() const { return m_committedLine; }

    /// Ends any editing and starts editing `item`.
    void startEditing(QGraphicsLineItem* item);
    /// Gives the line back its last committed geometry and lets go of it.
    void endEditing();

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void deleteGrips();

    GrabItem* m_grip1 = nullptr;
    GrabItem* m_grip2 = nullptr;
    bool m_draggingP1 = false;
    bool m_draggingP2 = false;
    QLineF m_committedLine;
    ItemWatch m_item;
};

} // namespace pxm
