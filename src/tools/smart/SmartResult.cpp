// SPDX-License-Identifier: MIT
#include "tools/smart/SmartResult.h"

#include "model/Label.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "segment/Coverage.h"
#include "segment/RegionShapes.h"
#include "tools/FreehandRegion.h"
#include "tools/commands/ShapeCommands.h"

#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QUndoCommand>

#include <opencv2/core.hpp>

namespace pxm {

namespace {

/// The label's topmost painted region at the point, or null.
QGraphicsPathItem* regionAt(Scene* scene, const Label* label, const QPointF& at) {
    for (QGraphicsItem* item : scene->items(at, Qt::IntersectsItemShape, Qt::DescendingOrder)) {
        if (isLabelItem(item) && labelIdOf(item) == label->id() && item->type() == QGraphicsPathItem::Type)
            return static_cast<QGraphicsPathItem*>(item);
    }
    return nullptr;
}

} // namespace

void SmartResult::addItems(Scene* scene, const Label* label, const cv::Mat& pixels, const Shape& shape,
                           QUndoCommand* parent) {
    auto addRegion = [&](const cv::Mat& part) {
        auto* region = new FreehandRegion;
        region->addRects(segment::maskRects(part));
        scene->addLabelItem(region, label);
        new commands::AddItemToScene(scene, region, parent);
    };
    if (!shape.polygon) {
        addRegion(pixels);
        return;
    }
    for (const segment::TracedPart& part : segment::traceParts(pixels, shape.simplify)) {
        if (!part.pixelsWithHoles.empty()) {
            addRegion(part.pixelsWithHoles);
            continue;
        }
        auto* polygon = new QGraphicsPolygonItem(part.outline);
        scene->addLabelItem(polygon, label);
        new commands::AddItemToScene(scene, polygon, parent);
    }
}

cv::Mat SmartResult::otherLabels(const LabeledImage& image, std::size_t z, const Label* label) {
    const Scene* scene = image.scene(int(z));
    return scene ? segment::otherLabelsCoverage(*scene, label) : cv::Mat();
}

QUndoCommand* SmartResult::apply(LabeledImage* image, const Label* label, const std::vector<cv::Mat>& layers,
                                 Mode mode, const QPointF& at, const Shape& shape, const QString& name) {
    if (!image || !label)
        return nullptr;
    auto* command = new QUndoCommand(name);
    const int width = int(image->width());
    const int height = int(image->height());
    for (std::size_t z = 0; z < layers.size(); ++z) {
        Scene* scene = image->scene(int(z));
        const cv::Mat& mask = layers[z];
        if (!scene || mask.empty() || mask.cols != width || mask.rows != height || !cv::countNonZero(mask))
            continue;
        QGraphicsPathItem* target = mode == Mode::New ? nullptr : regionAt(scene, label, at);
        if (!target) {
            if (mode != Mode::Subtract)
                addItems(scene, label, mask, shape, command);
            continue;
        }
        const cv::Mat before = segment::itemCoverage(target, width, height);
        const cv::Mat after = mode == Mode::Add ? (before | mask) : (before & ~mask);
        if (cv::countNonZero(before != after) == 0)
            continue;
        if (!cv::countNonZero(after)) {
            new commands::RemoveItemFromScene(target, command);
            continue;
        }
        QPainterPath path = target->sceneTransform().inverted().map(segment::maskPath(after));
        path.setFillRule(Qt::WindingFill);
        new commands::SetPathItemPath(target, target->path(), path, command);
    }
    if (command->childCount() == 0) {
        delete command;
        return nullptr;
    }
    return command;
}

} // namespace pxm
