// SPDX-License-Identifier: MIT
#include "exchange/dataset/CocoFormat.h"

#include "persistence/JsonTree.h"

#include <QHash>
#include <QSet>

#include <cmath>

namespace pxm::coco {

QVector<int64_t> encode(const cv::Mat& pixels, const cv::Point& at, int width, int height) {
    QVector<int64_t> counts;
    const int64_t total = int64_t(width) * height;
    bool inside = false;  // whether the run under way counts set pixels
    int64_t runStart = 0; // column-major index where it began
    auto switchAt = [&](int64_t index) {
        counts.append(index - runStart);
        runStart = index;
        inside = !inside;
    };
    // Columns become rows, so that the runs are read in memory order.
    const cv::Mat columns = pixels.t();
    for (int x = 0; x < pixels.cols; ++x) {
        const int64_t column = int64_t(at.x + x) * height;
        const uint8_t* row = columns.ptr<uint8_t>(x);
        for (int y = 0; y < pixels.rows; ++y)
            if ((row[y] != 0) != inside)
                switchAt(column + at.y + y);
        // The pixel after the box's part of this column is unset, unless it is the top of the
        // next column's part of the box.
        const int64_t after = column + at.y + pixels.rows;
        const bool nextInBox = at.y == 0 && at.y + pixels.rows == height && x + 1 < pixels.cols;
        if (inside && !nextInBox && after < total)
            switchAt(after);
    }
    counts.append(total - runStart);
    return counts;
}

cv::Mat decode(const QVector<int64_t>& counts, int width, int height) {
    if (width <= 0 || height <= 0)
        return {};
    int64_t total = 0;
    for (int64_t c : counts) {
        if (c < 0 || c > int64_t(width) * height)
            return {};
        total += c;
        if (total > int64_t(width) * height)
            return {};
    }
    if (total != int64_t(width) * height)
        return {};
    // Column-major runs fill the transposed picture row by row.
    cv::Mat transposed = cv::Mat::zeros(width, height, CV_8UC1);
    uint8_t* data = transposed.data;
    int64_t index = 0;
    bool set = false;
    for (int64_t c : counts) {
        if (set)
            std::fill(data + index, data + index + c, uint8_t(255));
        index += c;
        set = !set;
    }
    return transposed.t();
}

QVector<int64_t> decodeString(const QByteArray& text, bool* ok) {
    // No image has a run longer than this; anything beyond is a broken string, refused before
    // it could overflow.
    constexpr int64_t Largest = int64_t(1) << 50;
    QVector<int64_t> counts;
    *ok = false;
    int p = 0;
    while (p < text.size()) {
        uint64_t bits = 0;
        int k = 0;
        bool more = true;
        while (more) {
            if (p >= text.size() || k >= 11)
                return {};
            const int c = text[p] - 48;
            if (c < 0 || c > 63)
                return {};
            bits |= uint64_t(c & 0x1f) << (5 * k);
            more = c & 0x20;
            ++p;
            ++k;
            if (!more && (c & 0x10))
                bits |= ~uint64_t(0) << (5 * k);
        }
        int64_t x = int64_t(bits);
        if (counts.size() > 2)
            x += counts[counts.size() - 2];
        if (x > Largest || x < -Largest)
            return {};
        counts.append(x);
    }
    *ok = true;
    return counts;
}

bool countFrom(const QJsonValue& value, int64_t* count) {
    const double d = value.toDouble(-1);
    if (!value.isDouble() || !(d >= 0) || d > double(int64_t(1) << 50) || std::floor(d) != d)
        return false;
    *count = int64_t(d);
    return true;
}

QJsonObject annotation(const DatasetInstance& instance, int id, int imageId, int width, int height) {
    QJsonObject a;
    a["id"] = id;
    a["image_id"] = imageId;
    a["category_id"] = instance.category;
    a["iscrowd"] = 0;
    a["area"] = double(instance.area);
    a["bbox"] = QJsonArray{instance.box.x, instance.box.y, instance.box.width, instance.box.height};
    if (!instance.polygons.isEmpty()) {
        QJsonArray polygons;
        for (const QPolygonF& polygon : instance.polygons) {
            QJsonArray numbers;
            for (const QPointF& p : polygon) {
                numbers.append(p.x());
                numbers.append(p.y());
            }
            polygons.append(numbers);
        }
        a["segmentation"] = polygons;
    } else {
        QJsonArray counts;
        for (int64_t c : encode(instance.pixels, instance.box.tl(), width, height))
            counts.append(double(c));
        a["segmentation"] = QJsonObject{{"counts", counts}, {"size", QJsonArray{height, width}}};
    }
    return a;
}

bool parseObject(const QByteArray& text, QJsonObject* object, QString* error) {
    JsonTree tree;
    if (!tree.parse(text)) {
        *error = QStringLiteral("it is no JSON (line %1)").arg(tree.errorLine() + 1);
        return false;
    }
    const QJsonValue root = tree.root().toQJsonValue();
    if (!root.isObject()) {
        *error = QStringLiteral("it is no JSON object");
        return false;
    }
    *object = root.toObject();
    return true;
}

namespace {

bool isInteger(const QJsonValue& v) {
    return v.isDouble() && std::floor(v.toDouble()) == v.toDouble();
}

} // namespace

QStringList check(const QJsonObject& document) {
    QStringList problems;
    for (const char* key : {"info", "licenses", "images", "annotations", "categories"})
        if (!document.contains(key))
            problems << QStringLiteral("The document has no \"%1\".").arg(key);
    QHash<int, QPair<QString, QSize>> images;
    for (const QJsonValue& v : document["images"].toArray()) {
        const QJsonObject image = v.toObject();
        const QString name = image["file_name"].toString();
        if (!isInteger(image["id"]) || name.isEmpty() || !isInteger(image["width"]) || !isInteger(image["height"]) ||
            image["width"].toInt() <= 0 || image["height"].toInt() <= 0) {
            problems << QStringLiteral("Image %1 needs an integer id, a file_name and a positive width and height.")
                            .arg(name.isEmpty() ? QStringLiteral("without a name") : name);
            continue;
        }
        if (images.contains(image["id"].toInt()))
            problems << QStringLiteral("Image %1 repeats the id %2.").arg(name).arg(image["id"].toInt());
        images.insert(image["id"].toInt(), {name, QSize(image["width"].toInt(), image["height"].toInt())});
    }
    QSet<int> categories;
    for (const QJsonValue& v : document["categories"].toArray()) {
        const QJsonObject category = v.toObject();
        const int id = category["id"].toInt();
        if (!isInteger(category["id"]) || id <= 0)
            problems << QStringLiteral("Category %1 has the id %2; ids start at 1, because 0 is the background.")
                            .arg(category["name"].toString())
                            .arg(category["id"].toVariant().toString());
        else if (categories.contains(id))
            problems << QStringLiteral("Category id %1 is given twice.").arg(id);
        if (category["name"].toString().isEmpty())
            problems << QStringLiteral("Category %1 has no name.").arg(id);
        categories.insert(id);
    }
    QSet<int> annotationIds;
    for (const QJsonValue& v : document["annotations"].toArray()) {
        const QJsonObject a = v.toObject();
        const int imageId = a["image_id"].toInt();
        const auto image = images.find(imageId);
        const QString where = QStringLiteral("Annotation %1 (image %2)")
                                  .arg(a["id"].toVariant().toString(),
                                       image != images.end() ? image->first : QString::number(imageId));
        if (!isInteger(a["id"]) || annotationIds.contains(a["id"].toInt()))
            problems << where + QStringLiteral(": the id is missing, not an integer or repeated.");
        annotationIds.insert(a["id"].toInt());
        if (image == images.end()) {
            problems << where + QStringLiteral(": no image has the id %1.").arg(imageId);
            continue;
        }
        if (!categories.contains(a["category_id"].toInt()))
            problems << where + QStringLiteral(": no category has the id %1.").arg(a["category_id"].toInt());
        if (!a.contains("iscrowd") || (a["iscrowd"].toInt() != 0 && a["iscrowd"].toInt() != 1))
            problems << where + QStringLiteral(": iscrowd must be 0 or 1.");
        if (!a["area"].isDouble() || a["area"].toDouble() <= 0)
            problems << where + QStringLiteral(": area must be a positive number.");
        const int width = image->second.width();
        const int height = image->second.height();
        const QJsonArray box = a["bbox"].toArray();
        QRectF boxRect;
        if (box.size() != 4) {
            problems << where + QStringLiteral(": bbox must be [x, y, width, height].");
        } else {
            boxRect = QRectF(box[0].toDouble(), box[1].toDouble(), box[2].toDouble(), box[3].toDouble());
            if (boxRect.width() <= 0 || boxRect.height() <= 0 || boxRect.left() < 0 || boxRect.top() < 0 ||
                boxRect.right() > width + 1e-6 || boxRect.bottom() > height + 1e-6)
                problems << where + QStringLiteral(": the bbox is empty or leaves the image.");
        }
        const QJsonValue segmentation = a["segmentation"];
        if (segmentation.isArray()) {
            QRectF around;
            for (const QJsonValue& p : segmentation.toArray()) {
                const QJsonArray numbers = p.toArray();
                if (numbers.size() == 4 || numbers.size() < 6 || numbers.size() % 2) {
                    problems << where +
                                    QStringLiteral(": a polygon needs at least 3 points; %1 numbers are no polygon.")
                                        .arg(numbers.size());
                    continue;
                }
                for (int i = 0; i + 1 < numbers.size(); i += 2) {
                    const QPointF point(numbers[i].toDouble(), numbers[i + 1].toDouble());
                    if (point.x() < 0 || point.y() < 0 || point.x() > width || point.y() > height) {
                        problems << where + QStringLiteral(": a polygon point lies outside the image.");
                        break;
                    }
                    around = around.isNull() ? QRectF(point, QSizeF(1e-9, 1e-9)) : around.united(QRectF(point, QSizeF(1e-9, 1e-9)));
                }
            }
            if (segmentation.toArray().isEmpty())
                problems << where + QStringLiteral(": the segmentation is empty.");
            // One box for all of the annotation's polygons: it must hold every one of them.
            if (!boxRect.isNull() && !around.isNull() &&
                !boxRect.adjusted(-1, -1, 1, 1).contains(around))
                problems << where + QStringLiteral(": the bbox does not enclose all of its polygons.");
        } else if (segmentation.isObject()) {
            const QJsonObject rle = segmentation.toObject();
            const QJsonArray size = rle["size"].toArray();
            if (size.size() != 2 || size[0].toInt() != height || size[1].toInt() != width)
                problems << where + QStringLiteral(": the RLE size must be [height, width] of its image.");
            if (rle["counts"].isArray()) {
                int64_t total = 0;
                bool negative = false;
                for (const QJsonValue& c : rle["counts"].toArray()) {
                    int64_t count = 0;
                    negative |= !countFrom(c, &count);
                    // Past the image's size the sum is wrong already; stopping keeps it finite.
                    if (total <= int64_t(width) * height)
                        total += count;
                }
                if (negative || total != int64_t(width) * height)
                    problems << where + QStringLiteral(": the RLE counts must be non-negative and sum to %1.")
                                            .arg(int64_t(width) * height);
            } else if (!rle["counts"].isString()) {
                problems << where + QStringLiteral(": the RLE has no counts.");
            }
        } else {
            problems << where + QStringLiteral(": no segmentation.");
        }
    }
    return problems;
}

} // namespace pxm::coco
