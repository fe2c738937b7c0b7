// SPDX-License-Identifier: MIT
#include "display/PaintArea.h"

#include <QPaintDevice>
#include <QPainter>
#include <QStyleOptionGraphicsItem>

namespace Pictor {

PaintArea PaintArea::of(const QPainter& painter, const QStyleOptionGraphicsItem* option,
                        const QRectF& bounds) {
    PaintArea result;
    result.area = bounds;
    if (option && !option->exposedRect.isNull())
        result.area &= option->exposedRect;
    if (painter.hasClipping())
        result.area &= painter.clipBoundingRect();
    const QTransform& world = painter.worldTransform();
    QPaintDevice* device = painter.device();
    if (device && device->width() > 0 && device->height() > 0 && world.isInvertible())
        result.area &= world.inverted().mapRect(QRectF(0, 0, device->width(), device->height()));
    result.levelOfDetail = QStyleOptionGraphicsItem::levelOfDetailFromTransform(world);
    if (device)
        result.levelOfDetail *= device->devicePixelRatioF();
    return result;
}

} // namespace Pictor
