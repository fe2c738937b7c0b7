// SPDX-License-Identifier: MIT
#include "exchange/dataset/CocoFormat.h"

#include "persistence/JsonTree.h"

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

Annotation annotation(const DatasetInstance& instance, int id, int imageId, int width, int height) {
    Annotation a;
    a.id = id;
    a.imageId = imageId;
    a.categoryId = instance.category;
    a.iscrowd = 0;
    a.area = double(instance.area);
    a.bbox = {double(instance.box.x), double(instance.box.y), double(instance.box.width),
              double(instance.box.height)};
    if (!instance.polygons.isEmpty()) {
        a.segmentation = Annotation::Segmentation::Polygons;
        for (const QPolygonF& polygon : instance.polygons) {
            QVector<double> numbers;
            numbers.reserve(polygon.size() * 2);
            for (const QPointF& p : polygon)
                numbers << p.x() << p.y();
            a.polygons.append(numbers);
        }
    } else {
        a.segmentation = Annotation::Segmentation::Counts;
        const QVector<int64_t> counts = encode(instance.pixels, instance.box.tl(), width, height);
        a.counts.reserve(counts.size());
        for (int64_t c : counts)
            a.counts.append(double(c));
        a.size = {double(height), double(width)};
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

QStringList check(const QJsonObject& document) {
    return check(fromJson(document));
}

} // namespace pxm::coco
