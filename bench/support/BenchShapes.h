// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsItem>
#include <QPainterPath>
#include <QRandomGenerator>
#include <cmath>

namespace pxmbench {

/// One label shape of the reference workloads at (x, y): by `kind` modulo 5 a rectangle,
/// an ellipse, a 20-vertex polygon, a line or a closed free-hand path.
inline QGraphicsItem* makeShape(QRandomGenerator& random, int kind, double x, double y, double size) {
    switch (kind % 5) {
    case 0:
        return new QGraphicsRectItem(x, y, size, size * 0.7);
    case 1:
        return new QGraphicsEllipseItem(x, y, size, size * 0.8);
    case 2: {
        QPolygonF polygon;
        for (int k = 0; k < 20; ++k) {
            const double a = 2 * M_PI * k / 20, r = size * (0.6 + 0.4 * random.generateDouble());
            polygon << QPointF(x + r * std::cos(a), y + r * std::sin(a));
        }
        return new QGraphicsPolygonItem(polygon);
    }
    case 3:
        return new QGraphicsLineItem(x, y, x + size, y + size / 2);
    default: {
        QPainterPath path(QPointF(x, y));
        for (int k = 1; k < 12; ++k)
            path.lineTo(x + k * size / 12, y + size / 4 * std::sin(k));
        path.closeSubpath();
        return new QGraphicsPathItem(path);
    }
    }
}

} // namespace pxmbench
