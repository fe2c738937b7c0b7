// SPDX-License-Identifier: MIT
#include "exchange/CocoReader.h"

#include "exchange/CriticalReadError.h"
#include "exchange/dataset/CocoFormat.h"
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/RegionShapes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUndoStack>

#include <memory>

namespace pxm {

CocoReader::CocoReader(QObject* parent) : BaseReader(parent) {}

Label* CocoReader::labelFor(int categoryId, const QString& name) {
    if (Label* known = m_labels.value(categoryId))
        return known;
    const QString trimmed = name.trimmed().isEmpty() ? QStringLiteral("category %1").arg(categoryId) : name.trimmed();
    Label* label = project()->labelByName(trimmed);
    if (!label) {
        auto* add = new commands::AddLabel(project());
        project()->undoStack()->push(add);
        label = add->label();
        project()->undoStack()->push(new commands::SetLabelName(label, trimmed));
        if (categoryId > 0 && categoryId < 256)
            project()->undoStack()->push(new commands::SetLabelMaskId(label, categoryId));
    }
    m_labels.insert(categoryId, label);
    return label;
}

void CocoReader::readCategories(const QJsonObject& document) {
    for (const QJsonValue& v : document["categories"].toArray()) {
        const QJsonObject category = v.toObject();
        m_names.insert(category["id"].toInt(), category["name"].toString());
    }
}

void CocoReader::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw CriticalReadError(QString("Could not open %1").arg(path), -1);
    QJsonObject document;
    QString error;
    if (!coco::parseObject(file.readAll(), &document, &error))
        throw CriticalReadError(QString("%1 is no COCO file: %2").arg(path, error), -1);
    if (!document["images"].isArray())
        throw CriticalReadError(QString("%1 is no COCO file: it has no image list").arg(path), -1);
    m_labels.clear();
    m_names.clear();
    readCategories(document);
    QHash<int, QList<QJsonObject>> byImage;
    for (const QJsonValue& v : document["annotations"].toArray())
        byImage[v.toObject()["image_id"].toInt()].append(v.toObject());
    const QDir here = QFileInfo(path).absoluteDir();
    for (const QJsonValue& v : document["images"].toArray()) {
        const QJsonObject entry = v.toObject();
        const QString fileName = entry["file_name"].toString();
        const int width = entry["width"].toInt();
        const int height = entry["height"].toInt();
        if (width <= 0 || height <= 0 || uint32_t(width) > maxImageExtent || uint32_t(height) > maxImageExtent) {
            addError(QString("Image %1 has no usable size (%2 x %3): left out.").arg(fileName).arg(width).arg(height));
            continue;
        }
        // The image belongs to this function until the add-images command takes it.
        std::unique_ptr<LabeledImage> image(new LabeledImage(project()));
        image->setWidth(uint32_t(width));
        image->setHeight(uint32_t(height));
        image->setDepth(1);
        image->createScenes();
        for (const QString& candidate : {here.filePath(fileName), here.filePath(QFileInfo(fileName).fileName())})
            if (image->imagePath().isEmpty() && QFileInfo::exists(candidate))
                image->setImagePath(QFileInfo(candidate).absoluteFilePath());
        if (image->imagePath().isEmpty())
            image->setImagePath(QFileInfo(here.filePath(fileName)).absoluteFilePath());
        Scene* scene = image->scene(0);
        for (const QJsonObject& a : byImage.value(entry["id"].toInt())) {
            const int category = a["category_id"].toInt();
            if (!m_names.contains(category)) {
                addWarning(QString("Annotation %1 names the unknown category %2: left out.")
                               .arg(a["id"].toInt())
                               .arg(category));
                continue;
            }
            Label* label = labelFor(category, m_names.value(category));
            const QJsonValue segmentation = a["segmentation"];
            if (segmentation.isObject()) {
                const QJsonObject rle = segmentation.toObject();
                QVector<int64_t> counts;
                bool ok = true;
                if (rle["counts"].isString())
                    counts = coco::decodeString(rle["counts"].toString().toLatin1(), &ok);
                else
                    for (const QJsonValue& c : rle["counts"].toArray()) {
                        int64_t count = 0;
                        ok &= coco::countFrom(c, &count);
                        counts.append(count);
                    }
                const cv::Mat pixels = ok ? coco::decode(counts, width, height) : cv::Mat();
                if (pixels.empty()) {
                    addWarning(QString("Annotation %1: its RLE does not fit its image: left out.").arg(a["id"].toInt()));
                    continue;
                }
                QPainterPath path = segment::maskPath(pixels);
                path.setFillRule(Qt::WindingFill);
                scene->addLabelItem(new QGraphicsPathItem(path), label);
            } else if (segmentation.isArray() && !segmentation.toArray().isEmpty()) {
                for (const QJsonValue& p : segmentation.toArray()) {
                    const QJsonArray numbers = p.toArray();
                    QPolygonF polygon;
                    for (int i = 0; i + 1 < numbers.size(); i += 2)
                        polygon << QPointF(clampedCoordinate(numbers[i].toDouble()),
                                           clampedCoordinate(numbers[i + 1].toDouble()));
                    if (polygon.size() < 3) {
                        addWarning(QString("Annotation %1 has a polygon of under 3 points: left out.").arg(a["id"].toInt()));
                        continue;
                    }
                    scene->addLabelItem(new QGraphicsPolygonItem(polygon), label);
                }
            } else if (a["bbox"].toArray().size() == 4) {
                const QJsonArray b = a["bbox"].toArray();
                scene->addLabelItem(new QGraphicsRectItem(QRectF(clampedCoordinate(b[0].toDouble()),
                                                                 clampedCoordinate(b[1].toDouble()),
                                                                 clampedCoordinate(b[2].toDouble()),
                                                                 clampedCoordinate(b[3].toDouble()))),
                                    label);
            }
        }
        project()->undoStack()->push(new commands::AddImages(project(), image.release()));
    }
}

} // namespace pxm
