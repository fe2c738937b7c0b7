// SPDX-License-Identifier: MIT
#include "scene/GraticuleItem.h"

#include <QBrush>
#include <QPen>

namespace pxm {

GraticuleItem::GraticuleItem(QGraphicsItem* parent) : QGraphicsRectItem(parent) {
    QPen pen(Qt::black, 0, Qt::SolidLine);
    pen.setCosmetic(true);
    setPen(pen);
    setBrush(QBrush(Qt::white, Qt::SolidPattern));
    setOpacity(0.5);
}

} // namespace pxm
