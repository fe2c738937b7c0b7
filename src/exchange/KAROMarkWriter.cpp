// SPDX-License-Identifier: MIT
#include "exchange/KAROMarkWriter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QGraphicsItem>
#include <QGraphicsView>
#include <QPainterPath>
#include <QTextStream>
#include <algorithm>
#include <cmath>

namespace pxm {

namespace {

/// The item's bounding rectangle as Qt computes it for the same item without a pen. The
/// geometry is measured directly instead of swapping the pen, so the export thread never
/// changes items the GUI thread owns.
QRectF geometryRect(const QGraphicsItem* item) {
    switch (item->type()) {
    case QGraphicsRectItem::Type:
        return static_cast<const QGraphicsRectItem*>(item)->rect();
    case QGraphicsEllipseItem::Type: {
        const auto* ellipse = static_cast<const QGraphicsEllipseItem*>(item);
        if (ellipse->spanAngle() == 360 * 16)
            return ellipse->rect();
        QPainterPath path;
        path.moveTo(ellipse->rect().center());
        path.arcTo(ellipse->rect(), ellipse->startAngle() / 16.0, ellipse->spanAngle() / 16.0);
        return path.controlPointRect();
    }
    case QGraphicsPolygonItem::Type:
        return static_cast<const QGraphicsPolygonItem*>(item)->polygon().boundingRect();
    case QGraphicsLineItem::Type: {
        const QLineF line = static_cast<const QGraphicsLineItem*>(item)->line();
        return QRectF(line.p1(), line.p2()).normalized();
    }
    case QGraphicsPathItem::Type:
        return static_cast<const QGraphicsPathItem*>(item)->path().controlPointRect();
    default:
        return item->boundingRect();
    }
}

/// Rounds as qRound does (halves upwards), clamped so hostile coordinates cannot overflow.
qint64 roundedCoordinate(double value) {
    constexpr double limit = 1.0e15;
    if (std::isnan(value))
        return 0;
    return qint64(std::floor(std::max(-limit, std::min(limit, value)) + 0.5));
}

} // namespace

void writeKAROMark(QTextStream& out, Scene* scene) {
    if (!scene)
        return;
    LabeledImage* image = scene->image();
    out << "# Image\n" << image->imagePath() << "\n";
    const QList<QGraphicsView*> views = scene->views();
    if (views.size() == 1)
        out << "# Zoom factor: " << std::sqrt(std::fabs(views.first()->transform().determinant())) << "\n";
    for (const auto& [item, label] : scene->labelledItems()) {
        const QRectF box = item->mapRectToScene(geometryRect(item));
        // Right and bottom name the last pixel column and row inside the box.
        const qint64 left = roundedCoordinate(box.x());
        const qint64 top = roundedCoordinate(box.y());
        const qint64 right = roundedCoordinate(box.x() + box.width()) - 1;
        const qint64 bottom = roundedCoordinate(box.y() + box.height()) - 1;
        out << "# Mark\n"
            << "# User: pixmarker\n"
            << "# Color: " << label->maskId() << "\n"
            << "# left righ top bottom\n"
            << left << " " << right << " " << top << " " << bottom << "\n";
    }
}

} // namespace pxm
