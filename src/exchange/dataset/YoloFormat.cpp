// SPDX-License-Identifier: MIT
#include "exchange/dataset/YoloFormat.h"

#include "segment/RegionShapes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextStream>

#include <algorithm>

namespace pxm::yolo {

namespace {

QString number(double value) {
    return QString::number(std::clamp(value, 0.0, 1.0), 'f', 6);
}

} // namespace

QString boxLine(int classIndex, const DatasetInstance& instance, int width, int height) {
    const cv::Rect& b = instance.box;
    const double x0 = std::clamp(double(b.x), 0.0, double(width));
    const double y0 = std::clamp(double(b.y), 0.0, double(height));
    const double x1 = std::clamp(double(b.x + b.width), 0.0, double(width));
    const double y1 = std::clamp(double(b.y + b.height), 0.0, double(height));
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(classIndex)
        .arg(number((x0 + x1) / 2 / width), number((y0 + y1) / 2 / height), number((x1 - x0) / width),
             number((y1 - y0) / height));
}

QString outlineLine(int classIndex, const DatasetInstance& instance, int width, int height) {
    if (instance.line)
        return {};
    QPolygonF outline;
    if (!instance.polygons.isEmpty()) {
        outline = instance.polygons.first();
    } else {
        outline = segment::largestOutline(instance.pixels, 0.7).translated(instance.box.x, instance.box.y);
    }
    if (outline.size() < 3)
        return {};
    QStringList fields{QString::number(classIndex)};
    for (const QPointF& p : outline)
        fields << number(p.x() / width) << number(p.y() / height);
    return fields.join(' ');
}

QString dataYaml(const QString& path, const QStringList& names) {
    QString text = QStringLiteral("path: %1\ntrain: images\nval: images\nnames:\n").arg(path);
    for (int i = 0; i < names.size(); ++i) {
        QString name = names[i];
        name.replace('\\', "\\\\").replace('"', "\\\"");
        text += QStringLiteral("  %1: \"%2\"\n").arg(i).arg(name);
    }
    return text;
}

QStringList checkLines(const QString& text, int classes, const QString& file) {
    QStringList problems;
    const QStringList lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.isEmpty())
            continue;
        const QString where = QStringLiteral("%1, line %2").arg(file).arg(i + 1);
        const QStringList fields = line.simplified().split(' ');
        bool ok = false;
        const int cls = fields[0].toInt(&ok);
        if (!ok || cls < 0 || cls >= classes)
            problems << where + QStringLiteral(": the class must be an index from 0 to %1.").arg(classes - 1);
        if (fields.size() != 5 && (fields.size() < 7 || fields.size() % 2 == 0)) {
            problems << where +
                            QStringLiteral(": %1 values; a box has 4 and an outline an even number of at least 6.")
                                .arg(fields.size() - 1);
            continue;
        }
        for (int f = 1; f < fields.size(); ++f) {
            const double v = fields[f].toDouble(&ok);
            if (!ok || v < 0 || v > 1) {
                problems << where + QStringLiteral(": the values must be normalised to [0, 1].");
                break;
            }
        }
        if (fields.size() == 5 && (fields[3].toDouble() <= 0 || fields[4].toDouble() <= 0))
            problems << where + QStringLiteral(": the box is empty.");
    }
    return problems;
}

QStringList checkFolder(const QString& folder) {
    QStringList problems;
    const QDir dir(folder);
    QFile yaml(dir.filePath("data.yaml"));
    int classes = 0;
    if (!yaml.open(QIODevice::ReadOnly | QIODevice::Text)) {
        problems << QStringLiteral("%1 has no data.yaml.").arg(folder);
    } else {
        const QString text = QString::fromUtf8(yaml.readAll());
        for (const char* key : {"path", "train", "val", "names"})
            if (!text.contains(QRegularExpression(QStringLiteral("^%1:").arg(key), QRegularExpression::MultilineOption)))
                problems << QStringLiteral("data.yaml has no \"%1\".").arg(key);
        // Names as "  N: name" lines: they must run 0, 1, 2 ... without gaps.
        QRegularExpressionMatchIterator it =
            QRegularExpression("^\\s+(\\d+)\\s*:", QRegularExpression::MultilineOption).globalMatch(text);
        QList<int> indices;
        while (it.hasNext())
            indices << it.next().captured(1).toInt();
        for (int i = 0; i < indices.size(); ++i)
            if (indices[i] != i) {
                problems << QStringLiteral("data.yaml: the class indices must run from 0 without gaps; "
                                           "found %1 where %2 belongs.")
                                .arg(indices[i])
                                .arg(i);
                break;
            }
        classes = indices.size();
    }
    const QDir labels(dir.filePath("labels"));
    if (!labels.exists())
        problems << QStringLiteral("%1 has no labels folder.").arg(folder);
    const QDir images(dir.filePath("images"));
    QStringList imageStems;
    for (const QFileInfo& info : images.entryInfoList(QDir::Files))
        imageStems << info.completeBaseName();
    for (const QFileInfo& info : labels.entryInfoList({"*.txt"}, QDir::Files)) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            continue;
        problems << checkLines(QString::fromUtf8(file.readAll()), classes, "labels/" + info.fileName());
        if (images.exists() && !imageStems.contains(info.completeBaseName()))
            problems << QStringLiteral("labels/%1 has no image in images/.").arg(info.fileName());
    }
    return problems;
}

} // namespace pxm::yolo
