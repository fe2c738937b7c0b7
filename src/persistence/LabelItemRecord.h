// SPDX-License-Identifier: MIT
#pragma once

#include <QLineF>
#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QTransform>

class QGraphicsItem;

namespace pxm {

class JsonTextWriter;

/// One label item as the project file holds it: its kind, label id, geometry and place in the
/// scene. The live save and the recovery snapshots both write items through it, so the two
/// can never disagree on the file's form.
struct LabelItemRecord {
    enum Kind : unsigned char { Rect, Ellipse, Line, Polygon, Path };

    Kind kind = Rect;
    int labelId = 0;
    QRectF rect;
    QLineF line;
    QPolygonF polygon;
    QPainterPath path;
    QPointF scenePos;
    QTransform transform;

    /// Fills `record` from an item of a kind the file has a form for; false for any other.
    /// With `ownPathData` a path gets data of its own, for writing on another thread.
    static bool from(const QGraphicsItem& item, LabelItemRecord* record, bool ownPathData = false);
    /// Writes the item's object.
    void write(JsonTextWriter& out) const;
};

} // namespace pxm
