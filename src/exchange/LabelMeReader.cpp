// SPDX-License-Identifier: MIT
#include "exchange/LabelMeReader.h"

#include "exchange/CriticalReadError.h"
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QUndoStack>
#include <algorithm>
#include <cmath>
#include <memory>

namespace pxm {

namespace {

// Larger files are not LabelMe annotations; reading more would only waste memory.
constexpr qint64 maxDocumentBytes = qint64(1) << 30;

/// Faults in single shapes are the developer's business, not the user's: debug log only.
void log(const QString& text) {
    qDebug().noquote() << text;
}

/// A size value when it is a number within limits, else 0 (unknown).
uint32_t extent(const JsonTree::Value& value) {
    const double v = value.toNumber();
    if (!std::isfinite(v) || v < 0 || v > double(BaseReader::maxImageExtent))
        return 0;
    return uint32_t(v);
}

int colorComponent(const JsonTree::Value& value) {
    const double v = value.toNumber();
    return std::isfinite(v) ? int(std::lround(std::min(255.0, std::max(0.0, v)))) : 0;
}

/// [red, green, blue] or [alpha, red, green, blue]; an invalid colour for anything else.
QColor readColor(const JsonTree::Value& values) {
    if (!values.isArray())
        return QColor();
    if (values.size() < 3) {
        log("Expected at least 3 values for an RGB(A) color.");
        return QColor();
    }
    for (int i = 0; i < 3; ++i) {
        if (!values.at(i).isNumber()) {
            log("Expected only numbers for RGB(A) values.");
            return QColor();
        }
    }
    if (values.size() == 3)
        return QColor(colorComponent(values.at(0)), colorComponent(values.at(1)),
                      colorComponent(values.at(2)));
    if (values.size() == 4)
        return QColor(colorComponent(values.at(1)), colorComponent(values.at(2)),
                      colorComponent(values.at(3)), colorComponent(values.at(0)));
    return QColor();
}

/// Every point of the array; a malformed point ends the file.
QPolygonF readPoints(const JsonTree::Value& points) {
    QPolygonF polygon;
    polygon.reserve(points.size());
    for (int i = 0; i < points.size(); ++i) {
        const JsonTree::Value point = points.at(i);
        if (!point.isArray())
            throw CriticalReadError("Expected a 'point' to be a JSON array.");
        if (point.size() != 2 || !point.at(0).isNumber() || !point.at(1).isNumber() ||
            !std::isfinite(point.at(0).toNumber()) || !std::isfinite(point.at(1).toNumber()))
            throw CriticalReadError("Expected a 'point' to be a JSON array with two numbers.");
        polygon.append(QPointF(BaseReader::clampedCoordinate(point.at(0).toNumber()),
                               BaseReader::clampedCoordinate(point.at(1).toNumber())));
    }
    return polygon;
}

/// The item a shape type makes from its points, or null (logged) when there are too few.
QGraphicsItem* buildItem(const QString& type, const QPolygonF& points) {
    if (type == QLatin1String("polygon"))
        return new QGraphicsPolygonItem(points);
    if (points.size() < 2) {
        log(QString("Expected at least two points for a '%1' shape.").arg(type));
        return nullptr;
    }
    if (type == QLatin1String("rectangle"))
        return new QGraphicsRectItem(QRectF(points[0], points[1]).normalized());
    if (type == QLatin1String("circle")) // two corners of the bounding box, not centre and rim
        return new QGraphicsEllipseItem(QRectF(points[0], points[1]).normalized());
    return new QGraphicsLineItem(QLineF(points[0], points[1]));
}

} // namespace

LabelMeReader::LabelMeReader(QObject* parent) : BaseReader(parent) {}

void LabelMeReader::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw CriticalReadError(QString("Could not open '%1'.").arg(path));
    if (file.size() > maxDocumentBytes)
        throw CriticalReadError(QString("Expected a JSON document at '%1'.").arg(path));
    // Our own parser: it takes what QJsonDocument takes, tells where a document breaks, and
    // does not leak on repeated keys as Qt's does.
    JsonTree document;
    if (!document.parse(file.readAll()))
        throw CriticalReadError(QString("Expected a JSON document at '%1'.").arg(path), document.errorLine());
    const JsonTree::Value root = document.root();
    if (!root.isObject())
        throw CriticalReadError(QString("Expected a JSON object in '%1'.").arg(path));
    m_appliedColors.clear();

    // The image belongs to this function until the add-images command takes it.
    std::unique_ptr<LabeledImage> image(new LabeledImage(project()));
    if (root.member("imageHeight").isNumber())
        image->setHeight(extent(root.member("imageHeight")));
    if (root.member("imageWidth").isNumber())
        image->setWidth(extent(root.member("imageWidth")));
    image->setDepth(1);

    const JsonTree::Value pathValue = root.member("imagePath");
    if (pathValue.isUndefined())
        throw CriticalReadError("Missing 'imagePath' key.");
    if (!pathValue.isString())
        throw CriticalReadError("Expected 'imagePath' to be a string.");
    QString imagePath = pathValue.toString();
    if (!imagePath.startsWith('/'))
        imagePath = QDir::cleanPath(QFileInfo(path).absoluteDir().absoluteFilePath(imagePath));
    image->setImagePath(imagePath);

    if (!root.member("imageData").isUndefined() && !root.member("imageData").isNull())
        log("The 'imageData' attribute is currently not supported.");

    image->createScenes();
    Scene* target = image->scene(0);

    const JsonTree::Value shapes = root.member("shapes");
    if (!shapes.isArray())
        throw CriticalReadError("Expected 'shapes' to be a JSON array.");
    for (int i = 0; i < shapes.size(); ++i) {
        const JsonTree::Value shape = shapes.at(i);
        if (!shape.isObject())
            throw CriticalReadError("Expected 'shapes' items to be JSON objects.");
        readShape(shape, target);
    }
    project()->undoStack()->push(new commands::AddImages(project(), image.release()));
}

Label* LabelMeReader::labelFor(const QString& name, const QColor& lineColor, const QColor& fillColor) {
    // Label names are stored trimmed; matching the trimmed text keeps one label per name.
    Label* label = project()->labelByName(name.trimmed());
    if (!label) {
        auto* created = new Label;
        created->setName(name);
        const QColor color = fillColor.isValid() ? fillColor : lineColor;
        if (color.isValid()) {
            created->setColor(color);
            m_appliedColors.insert(created, color.rgba());
        }
        project()->undoStack()->push(new commands::AddLabel(project(), created));
        return created;
    }
    // The fill colour wins over the line colour.
    const QColor color = fillColor.isValid() && fillColor.rgba() != label->color().rgba()   ? fillColor
                         : lineColor.isValid() && lineColor.rgba() != label->color().rgba() ? lineColor
                                                                                            : QColor();
    // The label keeps its colour opaque, so a translucent colour always differs from it; one
    // command per label and colour is enough for the whole file.
    if (color.isValid() && m_appliedColors.value(label) != std::optional<QRgb>(color.rgba())) {
        project()->undoStack()->push(new commands::SetLabelColor(label, color));
        m_appliedColors.insert(label, color.rgba());
    }
    return label;
}

void LabelMeReader::readShape(const JsonTree::Value& shape, Scene* target) {
    const JsonTree::Value name = shape.member("label");
    if (name.isUndefined()) {
        log("Missing 'label' attribute in 'shapes' object.");
        return;
    }
    if (!name.isString()) {
        log("Expected 'label' to be a JSON string.");
        return;
    }
    const QColor lineColor = readColor(shape.member("line_color"));
    const QColor fillColor = readColor(shape.member("fill_color"));
    const Label* label = labelFor(name.toString(), lineColor, fillColor);

    const JsonTree::Value typeValue = shape.member("shape_type");
    if (typeValue.isUndefined()) {
        log("'shape' item does not have a 'shape_type' attribute.");
        return;
    }
    if (!typeValue.isString()) {
        log("Expected 'shape_type' to be a string.");
        return;
    }
    const QString type = typeValue.toString();
    if (type != QLatin1String("polygon") && type != QLatin1String("rectangle") &&
        type != QLatin1String("circle") && type != QLatin1String("line")) {
        log("Unsupported 'shape_type': " + type);
        return;
    }
    const JsonTree::Value points = shape.member("points");
    if (!points.isArray()) {
        log("Expected 'points' to be a JSON array.");
        return;
    }
    if (QGraphicsItem* item = buildItem(type, readPoints(points)))
        target->addLabelItem(item, label);
}

} // namespace pxm
