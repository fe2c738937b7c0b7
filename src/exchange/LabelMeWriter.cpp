// SPDX-License-Identifier: MIT
#include "exchange/LabelMeWriter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/Coverage.h"
#include "segment/RegionShapes.h"

#include <QDir>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QPainterPath>
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

namespace {

QJsonArray rgba(const QColor& c) {
    return QJsonArray{c.red(), c.green(), c.blue(), c.alpha()};
}

QJsonArray pointList(const QPolygonF& polygon) {
    QJsonArray points;
    for (const QPointF& p : polygon)
        points.append(point(p));
    return points;
}

/// The item's outlines in scene coordinates with their LabelMe shape type.
QList<QPair<QString, QPolygonF>> outlinesOf(QGraphicsItem* item, int width, int height) {
    const QTransform t = item->sceneTransform();
    switch (item->type()) {
    case QGraphicsRectItem::Type: {
        const QRectF rect = static_cast<QGraphicsRectItem*>(item)->rect().normalized();
        if (t.type() <= QTransform::TxScale) {
            const QRectF mapped = t.mapRect(rect);
            return {{QStringLiteral("rectangle"), QPolygonF(QVector<QPointF>{mapped.topLeft(), mapped.bottomRight()})}};
        }
        return {{QStringLiteral("polygon"), t.map(QPolygonF(rect)).mid(0, 4)}};
    }
    case QGraphicsEllipseItem::Type: {
        QPainterPath path;
        path.addEllipse(static_cast<QGraphicsEllipseItem*>(item)->rect());
        QPolygonF outline = t.map(path.toFillPolygon());
        if (outline.size() > 1 && outline.first() == outline.last())
            outline.removeLast();
        return {{QStringLiteral("polygon"), outline}};
    }
    case QGraphicsPolygonItem::Type:
        return {{QStringLiteral("polygon"), t.map(static_cast<QGraphicsPolygonItem*>(item)->polygon())}};
    case QGraphicsLineItem::Type: {
        const QLineF line = t.map(static_cast<QGraphicsLineItem*>(item)->line());
        return {{QStringLiteral("line"), QPolygonF(QVector<QPointF>{line.p1(), line.p2()})}};
    }
    case QGraphicsPathItem::Type: {
        QList<QPair<QString, QPolygonF>> parts;
        for (const segment::TracedPart& part :
             segment::traceParts(segment::itemCoverage(item, width, height), 0.7))
            parts.append({QStringLiteral("polygon"), part.outline});
        return parts;
    }
    default:
        return {};
    }
}

} // namespace

void writeLabelMeComplete(QIODevice& out, LabeledImage* image, const QString& directory) {
    if (!image)
        return;
    QJsonArray shapes;
    if (const Scene* scene = image->scene(0)) {
        for (const auto& [item, label] : scene->labelledItems()) {
            QColor fill = label->color();
            fill.setAlphaF(label->opacity());
            QColor line = label->color();
            for (const auto& [type, outline] : outlinesOf(item, int(image->width()), int(image->height()))) {
                if (outline.size() < (type == "polygon" ? 3 : 2))
                    continue;
                QJsonObject shape;
                shape.insert("label", label->name());
                shape.insert("points", pointList(outline));
                shape.insert("group_id", QJsonValue::Null);
                shape.insert("shape_type", type);
                shape.insert("flags", QJsonObject());
                shape.insert("line_color", rgba(line));
                shape.insert("fill_color", rgba(fill));
                shapes.append(shape);
            }
        }
    }
    QJsonObject root;
    root.insert("version", "5.0.1");
    root.insert("flags", QJsonObject());
    root.insert("shapes", shapes);
    root.insert("imagePath", QDir(directory).relativeFilePath(QFileInfo(image->imagePath()).absoluteFilePath()));
    root.insert("imageData", QJsonValue::Null);
    root.insert("imageHeight", qint64(image->height()));
    root.insert("imageWidth", qint64(image->width()));
    out.write(QJsonDocument(root).toJson(QJsonDocument::Indented));
}

} // namespace pxm
