// SPDX-License-Identifier: MIT
#include "exchange/VGGImageAnnotatorWriter.h"

#include "exchange/VGGImageAnnotatorWriteError.h"
#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <algorithm>
#include <climits>
#include <cmath>

namespace pxm {

namespace {

/// Rounds as qRound does, clamped to the int range so hostile coordinates cannot overflow.
int roundedCoordinate(double value) {
    if (std::isnan(value))
        return 0;
    const double rounded = std::floor(value + 0.5);
    return int(std::max(double(INT_MIN), std::min(double(INT_MAX), rounded)));
}

/// The vertices of a polygon or rectangle item in scene coordinates.
QPolygonF sceneVertices(const QGraphicsItem* item) {
    if (item->type() == QGraphicsRectItem::Type) {
        // Top-left, top-right, bottom-right, bottom-left, rotated with the item; no closing point.
        const QRectF rect = static_cast<const QGraphicsRectItem*>(item)->rect();
        return item->mapToScene(
            QPolygonF({rect.topLeft(), rect.topRight(), rect.bottomRight(), rect.bottomLeft()}));
    }
    return item->mapToScene(static_cast<const QGraphicsPolygonItem*>(item)->polygon());
}

QJsonObject imageEntry(const LabeledImage* image, const QString& fileName) {
    QJsonObject regions;
    if (const Scene* scene = image->scene(0)) {
        for (const auto& [item, label] : scene->labelledItems()) {
            if (item->type() != QGraphicsPolygonItem::Type && item->type() != QGraphicsRectItem::Type)
                continue; // the format gets polygon regions only
            const QPolygonF vertices = sceneVertices(item);
            QJsonArray xs, ys;
            for (const QPointF& p : vertices) {
                xs.append(roundedCoordinate(p.x()));
                ys.append(roundedCoordinate(p.y()));
            }
            const QJsonObject shape{{"name", "polygon"}, {"all_points_x", xs}, {"all_points_y", ys}};
            const QJsonObject attributes{{"name", label->name()}};
            regions.insert(QString::number(regions.size()),
                           QJsonObject{{"shape_attributes", shape}, {"region_attributes", attributes}});
        }
    }
    return QJsonObject{{"fileref", ""},
                       {"size", 0},
                       {"filename", fileName},
                       {"base64_image_data", ""},
                       {"file_attributes", QJsonObject()},
                       {"regions", regions}};
}

} // namespace

VGGImageAnnotatorWriter::VGGImageAnnotatorWriter(Project* project, const QString& path)
    : m_project(project), m_path(path) {
    QJsonObject document;
    if (project) {
        for (const LabeledImage* image : project->images()) {
            if (image->depth() > 1)
                continue;
            const QString fileName = QFileInfo(image->imagePath()).fileName();
            document.insert(fileName, imageEntry(image, fileName));
        }
    }
    // A failed write leaves neither a damaged target nor a stray temporary file.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw VGGImageAnnotatorWriteError(path, file.errorString());
    const QByteArray data = QJsonDocument(document).toJson(QJsonDocument::Indented);
    if (file.write(data) != data.size() || !file.commit())
        throw VGGImageAnnotatorWriteError(path, file.errorString());
}

} // namespace pxm
