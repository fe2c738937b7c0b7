// SPDX-License-Identifier: MIT
#include "tools/EllipseTool.h"

#include <QGraphicsEllipseItem>

namespace pxm {

EllipseTool::EllipseTool(View* view) : AbstractRectTool(view, ToolType::Ellipse, "EllipseTool") {}

QAbstractGraphicsShapeItem* EllipseTool::createItem() {
    return new QGraphicsEllipseItem();
}

void EllipseTool::setItemRect(QAbstractGraphicsShapeItem* item, const QRectF& rect) {
    if (item && item->type() == QGraphicsEllipseItem::Type)
        static_cast<QGraphicsEllipseItem*>(item)->setRect(rect);
}

QRectF EllipseTool::itemRect(QAbstractGraphicsShapeItem* item) {
    return item && item->type() == QGraphicsEllipseItem::Type ? static_cast<QGraphicsEllipseItem*>(item)->rect()
                                                              : QRectF();
}

bool EllipseTool::isOwnItem(QGraphicsItem* item) {
    return item && item->type() == QGraphicsEllipseItem::Type;
}

} // namespace pxm
