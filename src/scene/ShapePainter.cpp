// SPDX-License-Identifier: MIT
#include "scene/ShapePainter.h"

#include <QGraphicsItem>
#include <QPainter>

namespace pxm {

void paintLabelShape(QPainter& painter, QGraphicsItem* item, const QColor& fill, const QColor& lineColor,
                     const QTransform& base) {
    painter.setTransform(item->sceneTransform() * base);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(fill));
    switch (item->type()) {
    case QGraphicsEllipseItem::Type:
        painter.drawEllipse(static_cast<QGraphicsEllipseItem*>(item)->rect());
        break;
    case QGraphicsRectItem::Type:
        painter.drawRect(static_cast<QGraphicsRectItem*>(item)->rect());
        break;
    case QGraphicsPolygonItem::Type:
        painter.drawPolygon(static_cast<QGraphicsPolygonItem*>(item)->polygon(), Qt::OddEvenFill);
        break;
    case QGraphicsPathItem::Type:
        painter.drawPath(static_cast<QGraphicsPathItem*>(item)->path());
        break;
    case QGraphicsLineItem::Type: {
        auto* line = static_cast<QGraphicsLineItem*>(item);
        painter.setPen(QPen(lineColor, line->pen().widthF()));
        painter.setBrush(Qt::NoBrush);
        painter.drawLine(line->line());
        break;
    }
    default:
        break;
    }
}

} // namespace pxm
