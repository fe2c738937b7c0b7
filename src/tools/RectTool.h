// SPDX-License-Identifier: MIT
#pragma once

#include "tools/AbstractRectTool.h"

namespace pxm {

/// Draws rectangles.
class RectTool : public AbstractRectTool {
    Q_OBJECT
public:
    explicit RectTool(View* view);
    QAbstractGraphicsShapeItem* createItem() override;
    void setItemRect(QAbstractGraphicsShapeItem* item, const QRectF& rect) override;
    QRectF itemRect(QAbstractGraphicsShapeItem* item) override;
    bool isOwnItem(QGraphicsItem* item) override;
};

} // namespace pxm
