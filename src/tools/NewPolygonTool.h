// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

class QGraphicsItem;
class QGraphicsPolygonItem;

namespace pxm {

/// Draws a polygon vertex by vertex: each press fixes a vertex, the last vertex follows the
/// pointer, and a double click commits.
class NewPolygonTool : public Tool {
    Q_OBJECT
public:
    explicit NewPolygonTool(Tool* parentTool);
    ~NewPolygonTool() override;

    /// The polygon in progress, or null.
    QGraphicsPolygonItem* drawnItem() const;

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

signals:
    /// A polygon was committed (pushed on the undo stack).
    void committed(QGraphicsItem* item);

private:
    void discard();

    ItemWatch m_drawn;
};

} // namespace pxm
