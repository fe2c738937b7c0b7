// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/JsonTree.h"

#include <QColor>
#include <QLineF>
#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QTransform>

namespace pxm {

class JsonTextWriter;

/// The JSON form of the Qt value types a project file holds. Every value is an object that
/// names its kind under "$type"; members are written in QJsonObject's key order. The readers check the kind
/// first, then each key, and throw DeserializationError with the message of the first failing check.
class JsonValues {
public:
    static void write(JsonTextWriter& out, const QColor& color);
    static void write(JsonTextWriter& out, const QPointF& point);
    /// "x0"/"x1" are left and right, "y0"/"y1" top and bottom.
    static void write(JsonTextWriter& out, const QRectF& rect);
    static void write(JsonTextWriter& out, const QLineF& line);
    static void write(JsonTextWriter& out, const QPolygonF& polygon);
    /// The path as its fill polygons.
    static void write(JsonTextWriter& out, const QPainterPath& path);
    /// The nine matrix values row by row.
    static void write(JsonTextWriter& out, const QTransform& transform);

    /// Components outside 0..255 are clamped.
    static QColor toColor(const JsonTree::Value& value);
    static QPointF toPoint(const JsonTree::Value& value);
    static QRectF toRect(const JsonTree::Value& value);
    static QLineF toLine(const JsonTree::Value& value);
    static QPolygonF toPolygon(const JsonTree::Value& value);
    /// Checks only the kind: path items are restored without their geometry.
    /// A path from its fill polygons, under the fill rule the object names. An object without
    /// one was written before rules were kept: a path made only of rectangles is a brush's
    /// union of squares (winding), any other the simplified outline an eraser leaves (odd-even).
    static QPainterPath toPath(const JsonTree::Value& value);
    static QTransform toTransform(const JsonTree::Value& value);

    /// True when value is an object whose "$type" is type.
    static bool hasType(const JsonTree::Value& value, const char* type);
    /// True when a fill polygon is made only of axis-parallel rectangles.
    static bool isRectangleChain(const QPolygonF& polygon);
};

} // namespace pxm
