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
#include <algorithm>
#include <cmath>
#include <memory>
#include <opencv2/imgproc.hpp>

namespace pxm {

namespace {

/// Paints items one at a time on one canvas, with one painter: setting both up per item costs
/// more than painting most shapes. The canvas covers the layer up to 4096 x 4096 pixels; in a
/// larger layer each item gets a canvas of its own area, so memory follows the shapes.
class Rasteriser {
public:
    static constexpr int64_t MaxSharedPixels = int64_t(4096) * 4096;

    Rasteriser(int width, int height) : m_layer(0, 0, width, height) {
        if (int64_t(width) * height <= MaxSharedPixels)
            begin(cv::Mat::zeros(height, width, CV_8UC1));
    }

    /// The item's pixels within the layer, as a binary matrix over the box they fill.
    bool rasterise(QGraphicsItem* item, cv::Rect* box, cv::Mat* pixels) {
        const QRect bounds = item->sceneBoundingRect().toAlignedRect().adjusted(-1, -1, 1, 1);
        cv::Rect area = cv::Rect(bounds.x(), bounds.y(), bounds.width(), bounds.height()) & m_layer;
        if (area.empty())
            return false;
        cv::Point origin(0, 0);
        if (m_shared) {
            m_canvas(area).setTo(0);
        } else {
            begin(cv::Mat::zeros(area.size(), CV_8UC1));
            origin = area.tl();
            area -= origin;
        }
        m_painter->setTransform(item->sceneTransform() * QTransform::fromTranslate(-origin.x, -origin.y));
        const bool painted = paint(item);
        const cv::Rect inner = painted ? cv::boundingRect(m_canvas(area)) : cv::Rect();
        if (!inner.empty()) {
            *box = inner + area.tl() + origin;
            *pixels = m_canvas(inner + area.tl()).clone();
        }
        if (!m_shared)
            m_painter.reset();
        return !inner.empty();
    }

private:
    void begin(cv::Mat canvas) {
        m_painter.reset();
        m_canvas = canvas;
        m_target = QImage(m_canvas.data, m_canvas.cols, m_canvas.rows, int(m_canvas.step),
                          QImage::Format_Grayscale8);
        m_painter = std::make_unique<QPainter>(&m_target);
        m_painter->setRenderHint(QPainter::Antialiasing, false);
        m_painter->setPen(Qt::NoPen);
        m_painter->setBrush(QColor(255, 255, 255));
        m_shared = m_canvas.size() == m_layer.size();
    }

    bool paint(QGraphicsItem* item) {
        QPainter& painter = *m_painter;
        switch (item->type()) {
        case QGraphicsEllipseItem::Type:
            painter.drawEllipse(static_cast<QGraphicsEllipseItem*>(item)->rect());
            return true;
        case QGraphicsRectItem::Type:
            painter.drawRect(static_cast<QGraphicsRectItem*>(item)->rect());
            return true;
        case QGraphicsPolygonItem::Type:
            painter.drawPolygon(static_cast<QGraphicsPolygonItem*>(item)->polygon(), Qt::OddEvenFill);
            return true;
        case QGraphicsPathItem::Type:
            painter.drawPath(static_cast<QGraphicsPathItem*>(item)->path());
            return true;
        default:
            return false;
        }
    }

    cv::Rect m_layer;
    cv::Mat m_canvas;
    QImage m_target;
    std::unique_ptr<QPainter> m_painter; // ended before its canvas goes
    bool m_shared = false;
};

/// The shape as a polygon in scene coordinates, without a closing repeat of its first corner:
/// rectangles and polygons exactly (`exact` set), full ellipses with corners that stray from the
/// curve by no more than a twentieth of a pixel either way. Empty for any other shape, and for
/// ellipses that the raster engine does not draw as curves.
QPolygonF shapePolygon(QGraphicsItem* item, bool* exact) {
    QPolygonF polygon;
    *exact = true;
    if (auto* rect = qgraphicsitem_cast<QGraphicsRectItem*>(item)) {
        polygon = item->sceneTransform().map(QPolygonF(rect->rect()));
    } else if (auto* shape = qgraphicsitem_cast<QGraphicsPolygonItem*>(item)) {
        polygon = item->sceneTransform().map(shape->polygon());
    } else if (auto* ellipse = qgraphicsitem_cast<QGraphicsEllipseItem*>(item);
               ellipse && ellipse->spanAngle() == 360 * 16) {
        *exact = false;
        const QRectF r = ellipse->rect();
        const QTransform transform = item->sceneTransform();
        // The raster engine draws an unturned ellipse on whole pixels with its own integer
        // algorithm, whose pixels no true ellipse outlines well: those are traced instead.
        const QRectF onScene = transform.mapRect(r);
        auto whole = [](double v) { return std::floor(v) == v; };
        if (transform.type() <= QTransform::TxScale && whole(onScene.x()) && whole(onScene.y()) &&
            whole(onScene.width()) && whole(onScene.height()))
            return {};
        const double radius = std::max(1.0, std::max(onScene.width(), onScene.height()) / 2);
        // A chord of angle a falls short of the curve by radius (1 - cos(a/2)); corners pushed
        // out by half of that make it stray as much outside as inside, so the areas agree.
        const double step = std::sqrt(0.8 / radius);
        const int corners = std::clamp(int(std::ceil(2 * M_PI / step)), 12, 1024);
        const double half = M_PI / corners;
        const double scale = 2 / (1 + std::cos(half));
        polygon.reserve(corners);
        for (int k = 0; k < corners; ++k) {
            const double a = 2 * M_PI * k / corners;
            polygon << transform.map(QPointF(r.center().x() + scale * r.width() / 2 * std::cos(a),
                                             r.center().y() + scale * r.height() / 2 * std::sin(a)));
        }
    }
    if (polygon.size() >= 2 && polygon.first() == polygon.last())
        polygon.removeLast();
    return polygon.size() >= 3 ? polygon : QPolygonF();
}

bool inside(const QPolygonF& polygon, const QRectF& layer) {
    for (const QPointF& p : polygon)
        if (p.x() < layer.left() || p.y() < layer.top() || p.x() > layer.right() || p.y() > layer.bottom())
            return false;
    return true;
}

/// The polygon cut to the layer, edge by edge (Sutherland-Hodgman): exact for any polygon, as
/// the layer is convex; where the polygon leaves the layer more than once, the pieces are
/// joined along the border, which adds no area.
QPolygonF clipped(QPolygonF polygon, const QRectF& layer) {
    if (inside(polygon, layer))
        return polygon;
    const double bounds[4] = {layer.left(), layer.right(), layer.top(), layer.bottom()};
    for (int edge = 0; edge < 4 && !polygon.isEmpty(); ++edge) {
        const bool vertical = edge < 2;
        const double bound = bounds[edge];
        auto keeps = [&](const QPointF& p) {
            const double v = vertical ? p.x() : p.y();
            return edge % 2 == 0 ? v >= bound : v <= bound;
        };
        auto cut = [&](const QPointF& a, const QPointF& b) {
            const double t = vertical ? (bound - a.x()) / (b.x() - a.x()) : (bound - a.y()) / (b.y() - a.y());
            return a + t * (b - a);
        };
        QPolygonF kept;
        for (int i = 0; i < polygon.size(); ++i) {
            const QPointF& previous = polygon[(i + polygon.size() - 1) % polygon.size()];
            const QPointF& current = polygon[i];
            if (keeps(current)) {
                if (!keeps(previous))
                    kept << cut(previous, current);
                kept << current;
            } else if (keeps(previous)) {
                kept << cut(previous, current);
            }
        }
        polygon = kept;
    }
    return polygon.size() >= 3 ? polygon : QPolygonF();
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
            m_warnings << QStringLiteral(
                              "Label %1 has mask id %2, which names no category: its shapes are left out.")
                              .arg(name)
                              .arg(label ? label->maskId() : 0);
        }
        return false;
    };
    int number = 0;
    Rasteriser rasteriser(clip.width, clip.height);
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
                m_warnings
                    << QStringLiteral("The line %1 lies outside the image: left out.").arg(instance.what);
                continue;
            }
            instance.area = instance.box.area();
            instances.append(instance);
            continue;
        }
        if (!rasteriser.rasterise(item, &instance.box, &instance.pixels)) {
            m_warnings << QStringLiteral("%1 has no pixel inside the image: left out.").arg(instance.what);
            continue;
        }
        instance.area = cv::countNonZero(instance.pixels);
        bool exact = false;
        const QPolygonF polygon = shapePolygon(item, &exact);
        if (exact && !polygon.isEmpty() && inside(polygon, layer))
            instance.polygons = {polygon};
        if (m_outlines && !polygon.isEmpty())
            instance.outline = clipped(polygon, layer);
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
            m_warnings << QStringLiteral("Mask value %1 in %2 belongs to no label: left out.")
                              .arg(id)
                              .arg(imageName);
            continue;
        }
        cv::Mat regions;
        cv::Mat stats;
        cv::Mat centroids;
        const int count =
            cv::connectedComponentsWithStats(pixels, regions, stats, centroids, m_connectivity, CV_32S);
        for (int r = 1; r < count; ++r) {
            DatasetInstance instance;
            instance.category = id;
            instance.what = QStringLiteral("mask region %1 of value %2 (%3) of %4")
                                .arg(r)
                                .arg(id)
                                .arg(owners.first()->name(), imageName);
            instance.box =
                cv::Rect(stats.at<int>(r, cv::CC_STAT_LEFT), stats.at<int>(r, cv::CC_STAT_TOP),
                         stats.at<int>(r, cv::CC_STAT_WIDTH), stats.at<int>(r, cv::CC_STAT_HEIGHT));
            instance.pixels = regions(instance.box) == r;
            instance.area = stats.at<int>(r, cv::CC_STAT_AREA);
            instances.append(instance);
        }
    }
    return instances;
}

} // namespace pxm
