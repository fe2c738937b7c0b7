// SPDX-License-Identifier: MIT
#include "exchange/LabelMeWriter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QGraphicsItem>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace pxm {

namespace {

QJsonArray point(const QPointF& p) {
    return QJsonArray{p.x(), p.y()};
}

/// The item's own geometry (no position or transform) as LabelMe points; empty for kinds
/// LabelMe has no shape for.
QJsonArray pointsOf(const QGraphicsItem* item, bool* known) {
    *known = true;
    switch (item->type()) {
    case QGraphicsRectItem::Type: {
        const QRectF rect = static_cast<const QGraphicsRectItem*>(item)->rect().normalized();
        return QJsonArray{point(rect.topLeft()), point(rect.bottomRight())};
    }
    case QGraphicsEllipseItem::Type: {
        const QRectF rect = static_cast<const QGraphicsEllipseItem*>(item)->rect().normalized();
        return QJsonArray{point(rect.topLeft()), point(rect.bottomRight())};
    }
    case QGraphicsPolygonItem::Type: {
        QJsonArray points;
        for (const QPointF& p : static_cast<const QGraphicsPolygonItem*>(item)->polygon())
            points.append(point(p));
        return points;
    }
    case QGraphicsLineItem::Type: {
        const QLineF line = static_cast<const QGraphicsLineItem*>(item)->line();
        return QJsonArray{point(line.p1()), point(line.p2())};
    }
    default:
        *known = false;
        return QJsonArray();
    }
}

} // namespace

void writeLabelMe(QIODevice& out, LabeledImage* image) {
    if (!image)
        return;
    QJsonArray shapes;
    if (const Scene* scene = image->scene(0)) {
        for (const auto& [item, label] : scene->labelledItems()) {
            const QColor color = label->color();
            QJsonObject shape;
            shape.insert("group_id", QJsonValue::Null);
            shape.insert("flags", QJsonObject());
            shape.insert("label", label->name());
            shape.insert("fill_color", QJsonArray{color.alpha(), color.red(), color.green(), color.blue()});
            bool known = false;
            const QJsonArray points = pointsOf(item, &known);
            if (known)
                shape.insert("points", points);
            shapes.append(shape);
        }
    }
    QJsonObject root;
    root.insert("version", "4.0.0");
    root.insert("flags", QJsonObject());
    root.insert("imagePath", image->imagePath());
    root.insert("imageData", QJsonValue::Null);
    root.insert("imageWidth", qint64(image->width()));
    root.insert("imageHeight", qint64(image->height()));
    root.insert("shapes", shapes);
    out.write(QJsonDocument(root).toJson(QJsonDocument::Indented));
}

} // namespace pxm
