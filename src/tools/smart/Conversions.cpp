// SPDX-License-Identifier: MIT
#include "tools/smart/Conversions.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "segment/Coverage.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"

#include <QCoreApplication>
#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QGraphicsPathItem>
#include <QMap>
#include <QUndoCommand>

namespace pxm::conversions {

namespace {

QString text(const char* source) {
    return QCoreApplication::translate("pxm::conversions", source);
}

QUndoCommand* finished(QUndoCommand* command) {
    if (command->childCount() > 0)
        return command;
    delete command;
    return nullptr;
}

bool layerSize(const Scene* scene, int* width, int* height) {
    const LabeledImage* image = scene ? scene->image() : nullptr;
    if (!image || image->width() == 0 || image->height() == 0)
        return false;
    *width = int(image->width());
    *height = int(image->height());
    return true;
}

} // namespace

QList<QGraphicsItem*> targets(const Scene& scene, const Label* current) {
    QList<QGraphicsItem*> chosen;
    for (QGraphicsItem* item : scene.selectedItems())
        if (isLabelItem(item))
            chosen.append(item);
    if (chosen.isEmpty() && current)
        for (QGraphicsItem* item : scene.itemsOfLabel(current))
            if (isLabelItem(item))
                chosen.append(item);
    return chosen;
}

QUndoCommand* shapesToRegion(Scene* scene, const Project& project, const QList<QGraphicsItem*>& items) {
    int width = 0;
    int height = 0;
    if (!layerSize(scene, &width, &height))
        return nullptr;
    QMap<int, QList<QGraphicsItem*>> byLabel;
    for (QGraphicsItem* item : items)
        if (isLabelItem(item) && item->type() != QGraphicsLineItem::Type && project.labelById(labelIdOf(item)))
            byLabel[labelIdOf(item)].append(item);
    auto* command = new QUndoCommand(text("Shapes to region"));
    for (auto it = byLabel.cbegin(); it != byLabel.cend(); ++it) {
        // One region alone is a region already.
        if (it->size() == 1 && it->first()->type() == QGraphicsPathItem::Type)
            continue;
        cv::Mat pixels = segment::emptyMask(width, height);
        for (QGraphicsItem* item : *it)
            pixels |= segment::itemCoverage(item, width, height);
        for (QGraphicsItem* item : *it)
            new commands::RemoveItemFromScene(item, command);
        if (cv::countNonZero(pixels))
            SmartResult::addItems(scene, project.labelById(it.key()), pixels, SmartResult::Shape{}, command);
    }
    return finished(command);
}

QUndoCommand* regionToPolygons(Scene* scene, const Project& project, const QList<QGraphicsItem*>& items,
                               double simplify) {
    int width = 0;
    int height = 0;
    if (!layerSize(scene, &width, &height))
        return nullptr;
    auto* command = new QUndoCommand(text("Region to polygons"));
    for (QGraphicsItem* item : items) {
        const Label* label = project.labelById(labelIdOf(item));
        if (!isLabelItem(item) || item->type() != QGraphicsPathItem::Type || !label)
            continue;
        const cv::Mat pixels = segment::itemCoverage(item, width, height);
        new commands::RemoveItemFromScene(item, command);
        if (cv::countNonZero(pixels))
            SmartResult::addItems(scene, label, pixels, SmartResult::Shape{true, simplify}, command);
    }
    return finished(command);
}

QUndoCommand* maskToShapes(Scene* scene, const Project& project, const SmartResult::Shape& shape) {
    int width = 0;
    int height = 0;
    const LabeledImage* image = scene ? scene->image() : nullptr;
    if (!layerSize(scene, &width, &height) || !image->mask() || image->mask()->type() != KYVO::IMAGE_GREY_8 ||
        image->mask()->size().x != std::size_t(width) || image->mask()->size().y != std::size_t(height) ||
        scene->zLayer() >= image->mask()->size().z)
        return nullptr;
    cv::Mat values = segment::layerMat(*image->mask(), scene->zLayer()).clone();
    if (const KYVO::CImage* overlay = image->eraseOverlay(); overlay && overlay->size() == image->mask()->size())
        values.setTo(0, segment::layerMat(*overlay, scene->zLayer()));
    auto* command = new QUndoCommand(text("Mask to shapes"));
    for (int id = 1; id < 256; ++id) {
        const QList<Label*> owners = project.labelsByMaskId(id);
        if (owners.isEmpty())
            continue;
        const cv::Mat pixels = values == id;
        if (cv::countNonZero(pixels))
            SmartResult::addItems(scene, owners.first(), pixels, shape, command);
    }
    return finished(command);
}

namespace {

/// A new item of the same kind, geometry, placement and drawing as `item`; null for kinds that
/// are no label shapes.
QGraphicsItem* copyOf(const QGraphicsItem* item) {
    QGraphicsItem* copy = nullptr;
    if (auto* rect = qgraphicsitem_cast<const QGraphicsRectItem*>(item))
        copy = new QGraphicsRectItem(rect->rect());
    else if (auto* ellipse = qgraphicsitem_cast<const QGraphicsEllipseItem*>(item))
        copy = new QGraphicsEllipseItem(ellipse->rect());
    else if (auto* polygon = qgraphicsitem_cast<const QGraphicsPolygonItem*>(item))
        copy = new QGraphicsPolygonItem(polygon->polygon());
    else if (auto* line = qgraphicsitem_cast<const QGraphicsLineItem*>(item))
        copy = new QGraphicsLineItem(line->line());
    else if (auto* path = qgraphicsitem_cast<const QGraphicsPathItem*>(item))
        copy = new QGraphicsPathItem(path->path());
    if (copy) {
        copy->setPos(item->pos());
        copy->setTransform(item->transform());
    }
    return copy;
}

} // namespace

QUndoCommand* copyToLayer(Scene* from, Scene* to, const Project& project, const QList<QGraphicsItem*>& items,
                          const QString& text) {
    if (!from || !to || from == to || from->image() != to->image())
        return nullptr;
    auto* command = new QUndoCommand(text);
    // Bottom first, so the copies stack as the originals do.
    for (QGraphicsItem* item : from->items(Qt::AscendingOrder)) {
        if (!items.contains(item))
            continue;
        const Label* label = project.labelById(labelIdOf(item));
        QGraphicsItem* copy = label && isLabelItem(item) && item->scene() == from ? copyOf(item) : nullptr;
        if (!copy)
            continue;
        to->addLabelItem(copy, label);
        new commands::AddItemToScene(to, copy, command);
    }
    return finished(command);
}

} // namespace pxm::conversions
