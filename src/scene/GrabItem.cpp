// SPDX-License-Identifier: MIT
#include "scene/GrabItem.h"

#include <QPainter>

namespace pxm {

GrabItem::GrabItem(QGraphicsItem* parent) : QGraphicsObject(parent) {
    setFlag(QGraphicsItem::ItemIgnoresTransformations);
    setAcceptHoverEvents(true);
    setZValue(1.0);
    connect(this, &QGraphicsObject::xChanged, this, &GrabItem::posChanged);
    connect(this, &QGraphicsObject::yChanged, this, &GrabItem::posChanged);
}

void GrabItem::setColor(const QColor& color) {
    if (color == m_color)
        return;
    m_color = color;
    update();
    emit colorChanged();
}

QPainterPath GrabItem::shape() const {
    QPainterPath path;
    path.addRect(m_shapeRect);
    return path;
}

void GrabItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) {
    QPen pen(Qt::black);
    pen.setCosmetic(true);
    painter->setPen(pen);
    painter->setBrush(QBrush(m_color));
    painter->drawEllipse(m_shapeRect);
}

} // namespace pxm
