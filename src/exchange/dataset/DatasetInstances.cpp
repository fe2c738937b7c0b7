// SPDX-License-Identifier: MIT
#include "exchange/dataset/DatasetInstances.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/LayerMat.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QImage>
#include <QPainter>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace pxm {

namespace {

/// The item's pixels within `clip`, as a binary matrix over the box it covers there.
bool rasterise(QGraphicsItem* item, const cv::Rect& clip, cv::Rect* box, cv::Mat* pixels) {
    const QRect bounds = item->sceneBoundingRect().toAlignedRect().adjusted(-1, -1, 1, 1);
    const cv::Rect area = cv::Rect(bounds.x(), bounds.y(), bounds.width(), bounds.height()) & clip;
    if (area.empty())
        return false;
    cv::Mat canvas = cv::Mat::zeros(area.size(), CV_8UC1);
    {
        QImage target(canvas.data, canvas.cols, canvas.rows, int(canvas.step), QImage::Format_Grayscale8);
        QPainter painter(&target);
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QTransform offset = QTransform::fromTranslate(-area.x, -area.y);
        painter.setTransform(item->sceneTransform() * offset);
        const QColor white(255, 255, 255);
        painter.setPen(Qt::NoPen);
        painter.setBrush(white);
        switch (item->type()) {
        case QGraphicsEllipseItem::Type:
            painter.drawEllipse(static_cast<QGraphicsEllipseItem*>(item)->rect());
            break;
        case QGraphicsRectItem::Type:
            painter.drawRect(static_cast<QGraphicsRectItem*>(item)->rect());
            break;
        case QGraphicsPolygonItem::Type:
            painter.drawPolygon(static_cast<QGraphicsPolygonItem*>(item)->polygon(), Qt::OddEvenFill);
            break;
        case QGraphicsPathItem::Type:
            painter.drawPath(static_cast<QGraphicsPathItem*>(item)->path());
            break;
        default:
            return false;
        }
    }
    const cv::Rect inner = cv::boundingRect(canvas);
    if (inner.empty())
        return false;
    *box = inner + area.tl();
    *pixels = canvas(inner).clone();
    return true;
}

/// The shape's exact outline in scene coordinates, when it is a polygon lying in the layer.
QVector<QPolygonF> exactOutline(QGraphicsItem* item, const QRectF& layer) {
    QPolygonF outline;
    if (auto* rect = qgraphicsitem_cast<QGraphicsRectItem*>(item))
        outline = item->sceneTransform().map(QPolygonF(rect->rect()));
    else if (auto* polygon = qgraphicsitem_cast<QGraphicsPolygonItem*>(item))
        outline = item->sceneTransform().map(polygon->polygon());
    if (outline.size() >= 2 && outline.first() == outline.last())
        outline.removeLast();
    if (outline.size() < 3)
        return {};
    for (const QPointF& p : outline)
        if (p.x() < layer.left() || p.y() < layer.top() || p.x() > layer.right() || p.y() > layer.bottom())
            return {};
    return {outline};
}

} // namespace

QVector<DatasetInstance> DatasetInstances::collect(const Project& project, const Scene& scene,
                                                   const QString& imageName) {
    QVector<DatasetInstance> instances;
    const LabeledImage* image = scene.image();
    if (!image || image->width() == 0 || image->height() == 0)
        return instances;
    const cv::Rect clip(0, 0, int(image->width()), int(image->height()));
    const QRectF layer(0, 0, image->width(), image->height());
    auto usable = [&](const Label* label) {
        if (label && label->maskId() > 0 && label->maskId() < 256)
            return true;
        const QString name = label ? label->name() : QStringLiteral("?");
        if (!m_warnedLabels.contains(name)) {
            m_warnedLabels << name;
            m_warnings << QStringLiteral("Label %1 has mask id %2, which names no category: its shapes are left out.")
                              .arg(name)
                              .arg(label ? label->maskId() : 0);
        }
        return false;
    };
    int number = 0;
    for (QGraphicsItem* item : scene.items(Qt::AscendingOrder)) {
        if (!isLabelItem(item))
            continue;
        ++number;
        const Label* label = project.labelById(labelIdOf(item));
        if (!usable(label))
            continue;
        DatasetInstance instance;
        instance.category = label->maskId();
        instance.what = QStringLiteral("shape %1 (%2) of %3").arg(number).arg(label->name(), imageName);
        if (auto* line = qgraphicsitem_cast<QGraphicsLineItem*>(item)) {
            const QLineF l = item->sceneTransform().map(line->line());
            const double left = std::max(0.0, std::min(l.x1(), l.x2()));
            const double right = std::min(layer.right(), std::max(l.x1(), l.x2()));
            const double top = std::max(0.0, std::min(l.y1(), l.y2()));
            const double bottom = std::min(layer.bottom(), std::max(l.y1(), l.y2()));
            instance.line = true;
            // A line along a pixel row still covers that row: its box is at least a pixel wide.
            const int x0 = int(std::floor(left));
            const int y0 = int(std::floor(top));
            instance.box = cv::Rect(x0, y0, std::max(1, int(std::ceil(right)) - x0),
                                    std::max(1, int(std::ceil(bottom)) - y0)) &
                           clip;
            if (left > right || top > bottom || instance.box.empty()) {
                m_warnings << QStringLiteral("The line %1 lies outside the image: left out.").arg(instance.what);
                continue;
            }
            instance.area = instance.box.area();
            instances.append(instance);
            continue;
        }
        if (!rasterise(item, clip, &instance.box, &instance.pixels)) {
            m_warnings << QStringLiteral("%1 has no pixel inside the image: left out.").arg(instance.what);
            continue;
        }
        instance.area = cv::countNonZero(instance.pixels);
        instance.polygons = exactOutline(item, layer);
        instances.append(instance);
    }
    // Regions of the loaded mask, erased pixels left out.
    const KYVO::CImage* mask = image->mask();
    if (!mask || mask->type() != KYVO::IMAGE_GREY_8 || mask->size().x != image->width() ||
        mask->size().y != image->height() || scene.zLayer() >= mask->size().z)
        return instances;
    cv::Mat values = segment::layerMat(*mask, scene.zLayer()).clone();
    if (const KYVO::CImage* overlay = image->eraseOverlay(); overlay && overlay->size() == mask->size())
        values.setTo(0, segment::layerMat(*overlay, scene.zLayer()));
    for (int id = 1; id < 256; ++id) {
        const QList<Label*> owners = project.labelsByMaskId(id);
        const cv::Mat pixels = values == id;
        if (!cv::countNonZero(pixels))
            continue;
        if (owners.isEmpty()) {
            m_warnings << QStringLiteral("Mask value %1 in %2 belongs to no label: left out.").arg(id).arg(imageName);
            continue;
        }
        cv::Mat regions;
        cv::Mat stats;
        cv::Mat centroids;
        const int count = cv::connectedComponentsWithStats(pixels, regions, stats, centroids, m_connectivity, CV_32S);
        for (int r = 1; r < count; ++r) {
            DatasetInstance instance;
            instance.category = id;
            instance.what = QStringLiteral("mask region %1 of value %2 (%3) of %4")
                                .arg(r)
                                .arg(id)
                                .arg(owners.first()->name(), imageName);
            instance.box = cv::Rect(stats.at<int>(r, cv::CC_STAT_LEFT), stats.at<int>(r, cv::CC_STAT_TOP),
                                    stats.at<int>(r, cv::CC_STAT_WIDTH), stats.at<int>(r, cv::CC_STAT_HEIGHT));
            instance.pixels = regions(instance.box) == r;
            instance.area = stats.at<int>(r, cv::CC_STAT_AREA);
            instances.append(instance);
        }
    }
    return instances;
}

} // namespace pxm
