// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>
#include <limits>

namespace pxm::coco {

/// A number as a COCO document holds it; NaN where the value is missing or no number, so that
/// what an outside file gets wrong survives until it is checked.
constexpr double Missing = std::numeric_limits<double>::quiet_NaN();

/// One entry of "images".
struct Image {
    double id = Missing;
    QString fileName;
    double width = Missing;
    double height = Missing;
};

/// One entry of "categories".
struct Category {
    double id = Missing;
    QString name;
};

/// One entry of "annotations", with its segmentation in whichever form it has.
struct Annotation {
    enum class Segmentation { None, Polygons, Counts, CountString, NoCounts };

    double id = Missing;
    double imageId = Missing;
    double categoryId = Missing;
    double iscrowd = Missing;
    double area = Missing;
    QVector<double> bbox;
    Segmentation segmentation = Segmentation::None;
    QVector<QVector<double>> polygons; ///< each polygon's numbers, x and y in turn
    QVector<double> counts;            ///< uncompressed RLE
    QVector<double> size;              ///< RLE [height, width]
};

/// A COCO instances document: what its checks look at and what a writer puts out. The writer
/// fills one of these, checks it and writes it as text without going through a JSON tree,
/// which for a dataset of 100,000 annotations costs more than finding them.
struct Document {
    bool hasInfo = true;
    bool hasLicenses = true;
    bool hasImages = true;
    bool hasAnnotations = true;
    bool hasCategories = true;
    QVector<Image> images;
    QVector<Category> categories;
    QVector<Annotation> annotations;
};

/// The document as read from any COCO JSON object, keeping what is missing or malformed.
Document fromJson(const QJsonObject& object);

/// Compact JSON text of the document, with an "info" naming this program and no licences.
QByteArray toJson(const Document& document);

/// What is wrong with a COCO document: every rule a training loader relies on (ids, references,
/// category 0, boxes inside the image, polygons of at least 3 points and never 4 numbers, RLE
/// sizes and sums, area and iscrowd present, one box enclosing all of an annotation's polygons).
/// Each problem names the image and the annotation. Empty when it is fine.
QStringList check(const Document& document);

} // namespace pxm::coco
