// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

class QGraphicsItem;
class QGraphicsLineItem;

namespace pxm {

/// Draws one straight line: pressed at its first point, released at its second.
class NewLineTool : public Tool {
    Q_OBJECT
public:
    explicit NewLineTool(Tool* parentTool);
    ~NewLineTool() override;

    /// The line being drawn, or null.
    QGraphicsLineItem* drawnItem() const;

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

signals:
    /// A line was committed (pushed on the undo stack).
    void committed(QGraphicsItem* item);

private:
    void discard();

    ItemWatch m_drawn;
};

} // namespace pxm
