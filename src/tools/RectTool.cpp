// SPDX-License-Identifier: MIT
#include "tools/RectTool.h"

#include <QGraphicsRectItem>

namespace pxm {

RectTool::RectTool(View* view) : AbstractRectTool(view, ToolType::Rectangle, "RectTool") {}

QAbstractGraphicsShapeItem* RectTool::createItem() {
    return new QGraphicsRectItem();
}

void RectTool::setItemRect(QAbstractGraphicsShapeItem* item, const QRectF& rect) {
    if (item && item->type() == QGraphicsRectItem::Type)
        static_cast<QGraphicsRectItem*>(item)->setRect(rect);
}

QRectF RectTool::itemRect(QAbstractGraphicsShapeItem* item) {
    return item && item->type() == QGraphicsRectItem::Type ? static_cast<QGraphicsRectItem*>(item)->rect() : QRectF();
}

bool RectTool::isOwnItem(QGraphicsItem* item) {
    return item && item->type() == QGraphicsRectItem::Type;
}

} // namespace pxm
