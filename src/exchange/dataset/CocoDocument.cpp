// SPDX-License-Identifier: MIT
#include "exchange/dataset/CocoDocument.h"

#include <QHash>
#include <QJsonArray>
#include <QPair>
#include <QRectF>
#include <QSet>
#include <QSize>
#include <cmath>
#include <cstdint>

namespace pxm::coco {

namespace {

double numberOf(const QJsonValue& value) {
    return value.isDouble() ? value.toDouble() : Missing;
}

QVector<double> numbersOf(const QJsonValue& value) {
    QVector<double> numbers;
    const QJsonArray array = value.toArray();
    numbers.reserve(array.size());
    for (const QJsonValue& v : array)
        numbers.append(numberOf(v));
    return numbers;
}

bool isInteger(double v) {
    return std::isfinite(v) && std::floor(v) == v;
}

/// The value as an int where it is a whole number an int holds, otherwise 0, as JSON readers
/// take it.
int asInt(double v) {
    return isInteger(v) && std::abs(v) <= 2147483647.0 ? int(v) : 0;
}

QString text(double v) {
    return std::isfinite(v) ? QString::number(v, 'g', 16) : QString();
}

void appendNumber(QByteArray& out, double v) {
    if (std::isfinite(v) && std::floor(v) == v && std::abs(v) < 9007199254740992.0)
        out += QByteArray::number(qint64(v));
    else if (std::isfinite(v))
        out += QByteArray::number(v, 'g', QLocale::FloatingPointShortest);
    else
        out += "null";
}

void appendNumbers(QByteArray& out, const QVector<double>& numbers) {
    out += '[';
    for (int i = 0; i < numbers.size(); ++i) {
        if (i)
            out += ',';
        appendNumber(out, numbers[i]);
    }
    out += ']';
}

void appendString(QByteArray& out, const QString& value) {
    out += '"';
    for (const char c : value.toUtf8()) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (uint8_t(c) < 0x20)
                out += QByteArray("\\u00") + QByteArray::number(uint8_t(c), 16).rightJustified(2, '0');
            else
                out += c;
        }
    }
    out += '"';
}

/// Writes one JSON object, member by member, braces included; after a first object of a list it
/// begins with the comma.
class ObjectWriter {
public:
    ObjectWriter(QByteArray& out, bool comma) : m_out(out) { m_out += comma ? ",{" : "{"; }
    ~ObjectWriter() { m_out += '}'; }
    ObjectWriter(const ObjectWriter&) = delete;
    ObjectWriter& operator=(const ObjectWriter&) = delete;

    /// Starts the member `name`; its value is to be appended to what this returns.
    QByteArray& key(const char* name) {
        m_out += m_first ? "\"" : ",\"";
        m_first = false;
        m_out += name;
        m_out += "\":";
        return m_out;
    }

private:
    QByteArray& m_out;
    bool m_first = true;
};

} // namespace

Document fromJson(const QJsonObject& object) {
    Document document;
    document.hasInfo = object.contains("info");
    document.hasLicenses = object.contains("licenses");
    document.hasImages = object.contains("images");
    document.hasAnnotations = object.contains("annotations");
    document.hasCategories = object.contains("categories");
    for (const QJsonValue& v : object["images"].toArray()) {
        const QJsonObject image = v.toObject();
        document.images.append({numberOf(image["id"]), image["file_name"].toString(),
                                numberOf(image["width"]), numberOf(image["height"])});
    }
    for (const QJsonValue& v : object["categories"].toArray()) {
        const QJsonObject category = v.toObject();
        document.categories.append({numberOf(category["id"]), category["name"].toString()});
    }
    for (const QJsonValue& v : object["annotations"].toArray()) {
        const QJsonObject a = v.toObject();
        Annotation annotation;
        annotation.id = numberOf(a["id"]);
        annotation.imageId = numberOf(a["image_id"]);
        annotation.categoryId = numberOf(a["category_id"]);
        annotation.iscrowd = numberOf(a["iscrowd"]);
        annotation.area = numberOf(a["area"]);
        if (a["bbox"].isArray())
            annotation.bbox = numbersOf(a["bbox"]);
        const QJsonValue segmentation = a["segmentation"];
        if (segmentation.isArray()) {
            annotation.segmentation = Annotation::Segmentation::Polygons;
            for (const QJsonValue& p : segmentation.toArray())
                annotation.polygons.append(numbersOf(p));
        } else if (segmentation.isObject()) {
            const QJsonObject rle = segmentation.toObject();
            annotation.size = numbersOf(rle["size"]);
            if (rle["counts"].isArray()) {
                annotation.segmentation = Annotation::Segmentation::Counts;
                annotation.counts = numbersOf(rle["counts"]);
            } else {
                annotation.segmentation = rle["counts"].isString() ? Annotation::Segmentation::CountString
                                                                   : Annotation::Segmentation::NoCounts;
            }
        }
        document.annotations.append(annotation);
    }
    return document;
}

QByteArray toJson(const Document& document) {
    QByteArray out;
    out.reserve(1 << 20);
    out += R"({"info":{"description":"Exported by Pixmarker","version":"1.0"},"licenses":[],"images":[)";
    for (int i = 0; i < document.images.size(); ++i) {
        const Image& image = document.images[i];
        ObjectWriter o(out, i > 0);
        appendNumber(o.key("id"), image.id);
        appendString(o.key("file_name"), image.fileName);
        appendNumber(o.key("width"), image.width);
        appendNumber(o.key("height"), image.height);
    }
    out += "],\"annotations\":[";
    for (int i = 0; i < document.annotations.size(); ++i) {
        const Annotation& a = document.annotations[i];
        ObjectWriter o(out, i > 0);
        appendNumber(o.key("id"), a.id);
        appendNumber(o.key("image_id"), a.imageId);
        appendNumber(o.key("category_id"), a.categoryId);
        appendNumber(o.key("iscrowd"), a.iscrowd);
        appendNumber(o.key("area"), a.area);
        appendNumbers(o.key("bbox"), a.bbox);
        if (a.segmentation == Annotation::Segmentation::Polygons) {
            o.key("segmentation") += '[';
            for (int p = 0; p < a.polygons.size(); ++p) {
                if (p)
                    out += ',';
                appendNumbers(out, a.polygons[p]);
            }
            out += ']';
        } else {
            ObjectWriter rle(o.key("segmentation"), false);
            appendNumbers(rle.key("counts"), a.counts);
            appendNumbers(rle.key("size"), a.size);
        }
    }
    out += "],\"categories\":[";
    for (int i = 0; i < document.categories.size(); ++i) {
        ObjectWriter o(out, i > 0);
        appendNumber(o.key("id"), document.categories[i].id);
        appendString(o.key("name"), document.categories[i].name);
        o.key("supercategory") += "\"\"";
    }
    out += "]}";
    return out;
}

QStringList check(const Document& document) {
    QStringList problems;
    for (const auto& [present, key] : {std::pair{document.hasInfo, "info"},
                                       {document.hasLicenses, "licenses"},
                                       {document.hasImages, "images"},
                                       {document.hasAnnotations, "annotations"},
                                       {document.hasCategories, "categories"}})
        if (!present)
            problems << QStringLiteral("The document has no \"%1\".").arg(key);
    QHash<int, QPair<QString, QSize>> images;
    for (const Image& image : document.images) {
        const QString& name = image.fileName;
        if (!isInteger(image.id) || name.isEmpty() || !isInteger(image.width) || !isInteger(image.height) ||
            asInt(image.width) <= 0 || asInt(image.height) <= 0) {
            problems << QStringLiteral(
                            "Image %1 needs an integer id, a file_name and a positive width and height.")
                            .arg(name.isEmpty() ? QStringLiteral("without a name") : name);
            continue;
        }
        const int id = asInt(image.id);
        if (images.contains(id))
            problems << QStringLiteral("Image %1 repeats the id %2.").arg(name).arg(id);
        images.insert(id, {name, QSize(asInt(image.width), asInt(image.height))});
    }
    QSet<int> categories;
    for (const Category& category : document.categories) {
        const int id = asInt(category.id);
        if (!isInteger(category.id) || id <= 0)
            problems << QStringLiteral(
                            "Category %1 has the id %2; ids start at 1, because 0 is the background.")
                            .arg(category.name, text(category.id));
        else if (categories.contains(id))
            problems << QStringLiteral("Category id %1 is given twice.").arg(id);
        if (category.name.isEmpty())
            problems << QStringLiteral("Category %1 has no name.").arg(id);
        categories.insert(id);
    }
    QSet<int> annotationIds;
    for (const Annotation& a : document.annotations) {
        const int imageId = asInt(a.imageId);
        const auto image = images.constFind(imageId);
        const QString where =
            QStringLiteral("Annotation %1 (image %2)")
                .arg(text(a.id), image != images.constEnd() ? image->first : QString::number(imageId));
        if (!isInteger(a.id) || annotationIds.contains(asInt(a.id)))
            problems << where + QStringLiteral(": the id is missing, not an integer or repeated.");
        annotationIds.insert(asInt(a.id));
        if (image == images.constEnd()) {
            problems << where + QStringLiteral(": no image has the id %1.").arg(imageId);
            continue;
        }
        if (!categories.contains(asInt(a.categoryId)))
            problems << where + QStringLiteral(": no category has the id %1.").arg(asInt(a.categoryId));
        if (a.iscrowd != 0 && a.iscrowd != 1)
            problems << where + QStringLiteral(": iscrowd must be 0 or 1.");
        if (!(a.area > 0))
            problems << where + QStringLiteral(": area must be a positive number.");
        const int width = image->second.width();
        const int height = image->second.height();
        QRectF boxRect;
        if (a.bbox.size() != 4) {
            problems << where + QStringLiteral(": bbox must be [x, y, width, height].");
        } else {
            boxRect = QRectF(a.bbox[0], a.bbox[1], a.bbox[2], a.bbox[3]);
            if (!(a.bbox[2] > 0 && a.bbox[3] > 0 && a.bbox[0] >= 0 && a.bbox[1] >= 0 &&
                  a.bbox[0] + a.bbox[2] <= width + 1e-6 && a.bbox[1] + a.bbox[3] <= height + 1e-6))
                problems << where + QStringLiteral(": the bbox is empty or leaves the image.");
        }
        switch (a.segmentation) {
        case Annotation::Segmentation::Polygons: {
            double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;
            for (const QVector<double>& numbers : a.polygons) {
                if (numbers.size() == 4 || numbers.size() < 6 || numbers.size() % 2) {
                    problems << where + QStringLiteral(
                                            ": a polygon needs at least 3 points; %1 numbers are no polygon.")
                                            .arg(numbers.size());
                    continue;
                }
                for (int i = 0; i + 1 < numbers.size(); i += 2) {
                    const double x = numbers[i];
                    const double y = numbers[i + 1];
                    if (!(x >= 0 && y >= 0 && x <= width && y <= height)) {
                        problems << where + QStringLiteral(": a polygon point lies outside the image.");
                        break;
                    }
                    left = std::min(left, x);
                    right = std::max(right, x);
                    top = std::min(top, y);
                    bottom = std::max(bottom, y);
                }
            }
            if (a.polygons.isEmpty())
                problems << where + QStringLiteral(": the segmentation is empty.");
            // One box for all of the annotation's polygons: it must hold every one of them.
            if (!boxRect.isNull() && left <= right &&
                !(left >= boxRect.left() - 1 && top >= boxRect.top() - 1 && right <= boxRect.right() + 1 &&
                  bottom <= boxRect.bottom() + 1))
                problems << where + QStringLiteral(": the bbox does not enclose all of its polygons.");
            break;
        }
        case Annotation::Segmentation::Counts:
        case Annotation::Segmentation::CountString:
        case Annotation::Segmentation::NoCounts: {
            if (a.size.size() != 2 || asInt(a.size[0]) != height || asInt(a.size[1]) != width)
                problems << where + QStringLiteral(": the RLE size must be [height, width] of its image.");
            if (a.segmentation == Annotation::Segmentation::NoCounts) {
                problems << where + QStringLiteral(": the RLE has no counts.");
            } else if (a.segmentation == Annotation::Segmentation::Counts) {
                const int64_t pixels = int64_t(width) * height;
                int64_t total = 0;
                bool negative = false;
                for (const double c : a.counts) {
                    const bool whole = c >= 0 && c <= double(int64_t(1) << 50) && std::floor(c) == c;
                    negative |= !whole;
                    // Past the image's size the sum is wrong already; stopping keeps it finite.
                    if (whole && total <= pixels)
                        total += int64_t(c);
                }
                if (negative || total != pixels)
                    problems << where + QStringLiteral(": the RLE counts must be non-negative and sum to %1.")
                                            .arg(pixels);
            }
            break;
        }
        case Annotation::Segmentation::None:
            problems << where + QStringLiteral(": no segmentation.");
            break;
        }
    }
    return problems;
}

} // namespace pxm::coco
