// SPDX-License-Identifier: MIT
#pragma once

#include <QRectF>

class QPainter;
class QStyleOptionGraphicsItem;

namespace Pictor {

/// What a tiled item has to paint: the part of its bounds inside the exposed rectangle, the
/// painter's clip and the device, and the device pixels per item unit there.
struct PaintArea {
    QRectF area;
    double levelOfDetail = 0.0;

    /// A null exposed rectangle (callers that set none) asks for everything; an empty area means
    /// there is nothing to paint.
    static PaintArea of(const QPainter& painter, const QStyleOptionGraphicsItem* option,
                        const QRectF& bounds);
};

} // namespace Pictor
