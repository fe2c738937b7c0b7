// SPDX-License-Identifier: MIT
#pragma once

#include <QTransform>

class QColor;
class QGraphicsItem;
class QPainter;


namespace pxm {

/// Paints one label item's area with `fill` under the item's scene transform, without a
/// pen: rectangles, ellipses, polygons (odd-even) and paths are filled; lines are stroked
/// with their pen's width in `lineColor`. Other item types paint nothing. `base` maps scene
/// coordinates to the device (a strip of the layer, say).
void paintLabelShape(QPainter& painter, QGraphicsItem* item, const QColor& fill, const QColor& lineColor,
                     const QTransform& base = QTransform());

} // namespace pxm
