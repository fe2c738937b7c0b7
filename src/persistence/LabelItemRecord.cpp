// SPDX-License-Identifier: MIT
#include "persistence/LabelItemRecord.h"

#include "persistence/JsonTextWriter.h"
#include "persistence/JsonValues.h"
#include "scene/LabelItems.h"

#include <QGraphicsItem>

namespace pxm {

bool LabelItemRecord::from(const QGraphicsItem& item, LabelItemRecord* record, bool ownPathData) {
    if (const auto* rect = dynamic_cast<const QGraphicsRectItem*>(&item)) {
        record->kind = Rect;
        record->rect = rect->rect();
    } else if (const auto* ellipse = dynamic_cast<const QGraphicsEllipseItem*>(&item)) {
        record->kind = Ellipse;
        record->rect = ellipse->rect();
    } else if (const auto* line = dynamic_cast<const QGraphicsLineItem*>(&item)) {
        record->kind = Line;
        record->line = line->line();
    } else if (const auto* polygon = dynamic_cast<const QGraphicsPolygonItem*>(&item)) {
        record->kind = Polygon;
        record->polygon = polygon->polygon();
    } else if (const auto* path = dynamic_cast<const QGraphicsPathItem*>(&item)) {
        record->kind = Path;
        if (ownPathData) {
            // A path caches its bounds inside the data it shares; a writer on another thread
            // gets data of its own so that painting here and writing there never touch the
            // same cache.
            const QPainterPath& source = path->path();
            record->path = QPainterPath();
            record->path.setFillRule(source.fillRule());
            record->path.addPath(source);
        } else {
            record->path = path->path();
        }
    } else {
        // Nothing could read another kind back.
        return false;
    }
    record->labelId = labelIdOf(&item);
    record->scenePos = item.scenePos();
    record->transform = item.sceneTransform();
    return true;
}

void LabelItemRecord::write(JsonTextWriter& out) const {
    static const char* const kTypes[] = {"QGraphicsRectItem", "QGraphicsEllipseItem", "QGraphicsLineItem",
                                         "QGraphicsPolygonItem", "QGraphicsPathItem"};
    out.beginObject();
    out.key("$type");
    out.asciiValue(kTypes[kind]);
    out.key("labelId");
    out.value(labelId);
    // The geometry's key sorts between "labelId" and "scenePos" for every kind.
    switch (kind) {
    case Rect:
    case Ellipse:
        out.key("rect");
        JsonValues::write(out, rect);
        break;
    case Line:
        out.key("line");
        JsonValues::write(out, line);
        break;
    case Polygon:
        out.key("polygon");
        JsonValues::write(out, polygon);
        break;
    case Path:
        out.key("path");
        JsonValues::write(out, path);
        break;
    }
    out.key("scenePos");
    JsonValues::write(out, scenePos);
    out.key("sceneTransform");
    JsonValues::write(out, transform);
    out.endObject();
}

} // namespace pxm
