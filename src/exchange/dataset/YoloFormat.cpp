// SPDX-License-Identifier: MIT
#include "exchange/dataset/YoloFormat.h"

#include "segment/RegionShapes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextStream>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <vector>

namespace pxm::yolo {

namespace {

/// Appends a space and the value clipped to [0, 1] with six decimals. Written by hand: these
/// numbers are most of a dataset's text, and formatting them through strings costs more than
/// finding the outlines.
void appendNumber(QByteArray& out, double value) {
    const long long millionths = std::llround(value > 0 ? std::min(value, 1.0) * 1e6 : 0.0);
    char text[] = " 0.000000";
    text[1] = char('0' + millionths / 1000000);
    long long rest = millionths % 1000000;
    for (int i = 8; i >= 3; --i, rest /= 10)
        text[i] = char('0' + rest % 10);
    out.append(text, 9);
}

} // namespace

QByteArray boxLine(int classIndex, const DatasetInstance& instance, int width, int height) {
    const cv::Rect& b = instance.box;
    const double x0 = std::clamp(double(b.x), 0.0, double(width));
    const double y0 = std::clamp(double(b.y), 0.0, double(height));
    const double x1 = std::clamp(double(b.x + b.width), 0.0, double(width));
    const double y1 = std::clamp(double(b.y + b.height), 0.0, double(height));
    QByteArray line = QByteArray::number(classIndex);
    for (const double v :
         {(x0 + x1) / 2 / width, (y0 + y1) / 2 / height, (x1 - x0) / width, (y1 - y0) / height})
        appendNumber(line, v);
    return line;
}

QByteArray outlineLine(int classIndex, const DatasetInstance& instance, int width, int height) {
    if (instance.line)
        return {};
    QPolygonF outline = instance.outline;
    if (outline.isEmpty() && !instance.polygons.isEmpty()) {
        outline = instance.polygons.first();
    } else if (outline.isEmpty()) {
        outline = segment::largestOutline(instance.pixels, 0.7).translated(instance.box.x, instance.box.y);
    }
    if (outline.size() < 3)
        return {};
    QByteArray line = QByteArray::number(classIndex);
    line.reserve(line.size() + outline.size() * 18);
    for (const QPointF& p : outline) {
        appendNumber(line, p.x() / width);
        appendNumber(line, p.y() / height);
    }
    return line;
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

QStringList checkLines(const QByteArray& text, int classes, const QString& file) {
    // Read in place: a dataset's label files are millions of numbers, and splitting them into
    // strings cost more than writing them.
    QStringList problems;
    std::vector<std::string_view> fields;
    const char* const end = text.constData() + text.size();
    const char* p = text.constData();
    for (int number = 1; p < end; ++number) {
        const char* const eol = std::find(p, end, '\n');
        fields.clear();
        auto blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
        for (const char* q = p; q < eol;) {
            while (q < eol && blank(*q))
                ++q;
            const char* const start = q;
            while (q < eol && !blank(*q))
                ++q;
            if (q > start)
                fields.emplace_back(start, std::size_t(q - start));
        }
        p = eol + 1;
        if (fields.empty())
            continue;
        const QString where = QStringLiteral("%1, line %2").arg(file).arg(number);
        int cls = -1;
        const auto [classEnd, classError] =
            std::from_chars(fields[0].data(), fields[0].data() + fields[0].size(), cls);
        if (classError != std::errc() || classEnd != fields[0].data() + fields[0].size() || cls < 0 ||
            cls >= classes)
            problems << where + QStringLiteral(": the class must be an index from 0 to %1.").arg(classes - 1);
        const int count = int(fields.size());
        if (count != 5 && (count < 7 || count % 2 == 0)) {
            problems << where + QStringLiteral(
                                    ": %1 values; a box has 4 and an outline an even number of at least 6.")
                                    .arg(count - 1);
            continue;
        }
        double values[2] = {};
        for (int f = 1; f < count; ++f) {
            double v = -1;
            const auto [valueEnd, error] =
                std::from_chars(fields[f].data(), fields[f].data() + fields[f].size(), v);
            if (error != std::errc() || valueEnd != fields[f].data() + fields[f].size() ||
                !(v >= 0 && v <= 1)) {
                problems << where + QStringLiteral(": the values must be normalised to [0, 1].");
                break;
            }
            if (f >= 3)
                values[(f - 3) % 2] = v;
        }
        if (count == 5 && (values[0] <= 0 || values[1] <= 0))
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
            if (!text.contains(
                    QRegularExpression(QStringLiteral("^%1:").arg(key), QRegularExpression::MultilineOption)))
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
        problems << checkLines(file.readAll(), classes, "labels/" + info.fileName());
        if (images.exists() && !imageStems.contains(info.completeBaseName()))
            problems << QStringLiteral("labels/%1 has no image in images/.").arg(info.fileName());
    }
    return problems;
}

} // namespace pxm::yolo
