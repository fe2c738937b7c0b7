// SPDX-License-Identifier: MIT
#include "persistence/JsonValues.h"

#include "persistence/DeserializationError.h"
#include "persistence/JsonTextWriter.h"

#include <algorithm>

namespace pxm {

namespace {

[[noreturn]] void fail(const char* message) {
    throw DeserializationError(QString::fromUtf8(message));
}

double number(const JsonTree::Value& object, const char* key, const char* message) {
    const JsonTree::Value value = object.member(key);
    if (!value.isNumber())
        fail(message);
    return value.toNumber();
}

int colorComponent(const JsonTree::Value& object, const char* key, const char* message) {
    return int(std::clamp(number(object, key, message), 0.0, 255.0));
}

} // namespace

bool JsonValues::hasType(const JsonTree::Value& value, const char* type) {
    return value.isObject() && value.member("$type").equals(type);
}

void JsonValues::write(JsonTextWriter& out, const QColor& color) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QColor");
    out.key("alpha");
    out.value(color.alpha());
    out.key("blue");
    out.value(color.blue());
    out.key("green");
    out.value(color.green());
    out.key("red");
    out.value(color.red());
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QPointF& point) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QPointF");
    out.key("x");
    out.value(point.x());
    out.key("y");
    out.value(point.y());
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QRectF& rect) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QRectF");
    out.key("x0");
    out.value(rect.left());
    out.key("x1");
    out.value(rect.right());
    out.key("y0");
    out.value(rect.top());
    out.key("y1");
    out.value(rect.bottom());
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QLineF& line) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QLineF");
    out.key("p0");
    write(out, line.p1());
    out.key("p1");
    write(out, line.p2());
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QPolygonF& polygon) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QPolygonF");
    out.key("points");
    out.beginArray();
    for (const QPointF& point : polygon)
        write(out, point);
    out.endArray();
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QPainterPath& path) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QPainterPath");
    out.key("fillRule");
    out.asciiValue(path.fillRule() == Qt::WindingFill ? "WindingFill" : "OddEvenFill");
    out.key("polygons");
    out.beginArray();
    for (const QPolygonF& polygon : path.toFillPolygons())
        write(out, polygon);
    out.endArray();
    out.endObject();
}

void JsonValues::write(JsonTextWriter& out, const QTransform& t) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("QTransform");
    out.key("values");
    out.beginArray();
    for (const double value :
         {t.m11(), t.m12(), t.m13(), t.m21(), t.m22(), t.m23(), t.m31(), t.m32(), t.m33()})
        out.value(value);
    out.endArray();
    out.endObject();
}

bool JsonValues::isRectangleChain(const QPolygonF& polygon) {
    // A fill polygon strings closed outlines together, each followed by a return to the
    // polygon's first point; a rectangle's outline is its four corners and the first again.
    int i = 0;
    const int n = polygon.size();
    while (i < n) {
        if (n - i < 5)
            return false;
        const QPointF* p = polygon.constData() + i;
        if (p[4] != p[0])
            return false;
        for (int k = 0; k < 4; ++k) {
            const QPointF& a = p[k];
            const QPointF& b = p[k + 1];
            if (a.x() != b.x() && a.y() != b.y())
                return false;
        }
        i += 5;
        // The step back to the polygon's start between outlines.
        if (i < n && i > 5 && polygon[i] == polygon[0])
            ++i;
    }
    return n > 0;
}

QColor JsonValues::toColor(const JsonTree::Value& value) {
    if (!hasType(value, "QColor"))
        fail("QColor: Expected a JSON object with '$type' 'QColor'.");
    const int red = colorComponent(value, "red", "QColor: Expected 'red' to be a number.");
    const int green = colorComponent(value, "green", "QColor: Expected 'green' to be a number.");
    const int blue = colorComponent(value, "blue", "QColor: Expected 'blue' to be a number.");
    const int alpha = colorComponent(value, "alpha", "QColor: Expected 'alpha' to be a number.");
    return QColor(red, green, blue, alpha);
}

QPointF JsonValues::toPoint(const JsonTree::Value& value) {
    if (!hasType(value, "QPointF"))
        fail("QPointF: Expected a JSON object with '$type' 'QPointF'.");
    const double x = number(value, "x", "QPointF: Expected 'x' to be a number.");
    const double y = number(value, "y", "QPointF: Expected 'y' to be a number.");
    return QPointF(x, y);
}

QRectF JsonValues::toRect(const JsonTree::Value& value) {
    if (!hasType(value, "QRectF"))
        fail("QRectF: Expected a JSON object with '$type' 'QRectF'.");
    const double x0 = number(value, "x0", "QRectF: Expected 'x0' to be a number.");
    const double x1 = number(value, "x1", "QRectF: Expected 'x1' to be a number.");
    const double y0 = number(value, "y0", "QRectF: Expected 'y0' to be a number.");
    const double y1 = number(value, "y1", "QRectF: Expected 'y1' to be a number.");
    return QRectF(QPointF(x0, y0), QPointF(x1, y1));
}

QLineF JsonValues::toLine(const JsonTree::Value& value) {
    if (!hasType(value, "QLineF"))
        fail("QLineF: Expected a JSON object with '$type' 'QLineF'.");
    const QPointF p0 = toPoint(value.member("p0"));
    const QPointF p1 = toPoint(value.member("p1"));
    return QLineF(p0, p1);
}

QPolygonF JsonValues::toPolygon(const JsonTree::Value& value) {
    if (!hasType(value, "QPolygonF"))
        fail("QPolygonF: Expected a JSON object with '$type' 'QPolygonF'.");
    const JsonTree::Value points = value.member("points");
    if (!points.isArray())
        fail("QPolygonF: Expected 'points' to be an array.");
    QPolygonF polygon;
    // The array is in memory already, so its size is a safe bound.
    polygon.reserve(points.size());
    for (int i = 0; i < points.size(); ++i)
        polygon.append(toPoint(points.at(i)));
    return polygon;
}

QPainterPath JsonValues::toPath(const JsonTree::Value& value) {
    if (!hasType(value, "QPainterPath"))
        fail("QPainterPath: Expected a JSON object with '$type' 'QPainterPath'.");
    QPainterPath path;
    const JsonTree::Value polygons = value.member("polygons");
    if (polygons.isUndefined())
        return path;
    if (!polygons.isArray())
        fail("QPainterPath: Expected 'polygons' to be an array.");
    bool onlyRectangles = true;
    for (int i = 0; i < polygons.size(); ++i) {
        const QPolygonF polygon = toPolygon(polygons.at(i));
        onlyRectangles = onlyRectangles && isRectangleChain(polygon);
        path.addPolygon(polygon);
    }
    const JsonTree::Value rule = value.member("fillRule");
    if (rule.isUndefined())
        path.setFillRule(onlyRectangles ? Qt::WindingFill : Qt::OddEvenFill);
    else if (rule.equals("WindingFill"))
        path.setFillRule(Qt::WindingFill);
    else if (rule.equals("OddEvenFill"))
        path.setFillRule(Qt::OddEvenFill);
    else
        fail("QPainterPath: Expected 'fillRule' to be 'WindingFill' or 'OddEvenFill'.");
    return path;
}

QTransform JsonValues::toTransform(const JsonTree::Value& value) {
    if (!hasType(value, "QTransform"))
        fail("QTransform: Expected a JSON object with '$type' 'QTransform'.");
    const JsonTree::Value values = value.member("values");
    if (!values.isArray() || values.size() != 9)
        fail("QTransform: Expected 'values' to be a JSON array with 9 numbers.");
    double m[9];
    for (int i = 0; i < 9; ++i) {
        if (!values.at(i).isNumber())
            fail("QTransform: Expected 'values' to contain only numbers.");
        m[i] = values.at(i).toNumber();
    }
    return QTransform(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
}

} // namespace pxm
