// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

class QPoint;

namespace pxm {

class MaskItem;

/// Gives the shape or the mask region under the pointer the current label with one left
/// click (the region by flood fill), picks the label under the pointer with a right click,
/// and makes a label current by the digit keys. A hovered shape or labelled mask pixel
/// shows the pointing hand.
class FastReassignTool : public Tool {
    Q_OBJECT
public:
    explicit FastReassignTool(View* view);
    ~FastReassignTool() override;

    /// The item showing the pointing hand, or null.
    QGraphicsItem* hoveredItem() const { return m_hovered.get(); }

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void setHovered(QGraphicsItem* item);
    /// The mask value at the pointer, 0 without a mask item.
    int maskValueAt(const QMouseEvent* event) const;

    ItemWatch m_hovered;
};

} // namespace pxm
