// SPDX-License-Identifier: MIT
#pragma once

class QColor;
class QGraphicsItem;
class QPainter;

namespace pxm {

/// Paints one label item's area with `fill` under the item's scene transform, without a
/// pen: rectangles, ellipses, polygons (odd-even) and paths are filled; lines are stroked
/// with their pen's width in `lineColor`. Other item types paint nothing.
void paintLabelShape(QPainter& painter, QGraphicsItem* item, const QColor& fill, const QColor& lineColor);

} // namespace pxm
