// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/dataset/CocoDocument.h"
#include "exchange/dataset/DatasetInstances.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <QVector>
#include <cstdint>
#include <opencv2/core.hpp>

namespace pxm::coco {

/// Uncompressed RLE of a region in an image of the given size: run lengths in column-major
/// order (down each column, then the next), the first run counting zeros.
QVector<int64_t> encode(const cv::Mat& pixels, const cv::Point& at, int width, int height);

/// The binary image (width x height) of uncompressed RLE counts; empty when the counts do not
/// sum to width x height or one is negative.
cv::Mat decode(const QVector<int64_t>& counts, int width, int height);

/// The counts of RLE in the compressed string form (pycocotools' LEB128-like text); empty with
/// `ok` false when the text is malformed.
QVector<int64_t> decodeString(const QByteArray& text, bool* ok);

/// A run length read from JSON: a whole number from 0 to 2^50; false for anything else.
bool countFrom(const QJsonValue& value, int64_t* count);

/// One annotation for an instance (not a line): id, image_id, category_id, iscrowd 0, area,
/// bbox [x, y, w, h] and segmentation (the exact polygons, or RLE).
Annotation annotation(const DatasetInstance& instance, int id, int imageId, int width, int height);

/// Parses a JSON object with our own parser (QJsonDocument leaks on some broken documents);
/// false with the reason in `error` when the text is no JSON object.
bool parseObject(const QByteArray& text, QJsonObject* object, QString* error);

/// The checks of `check(const Document&)` on a JSON object read from anywhere.
QStringList check(const QJsonObject& document);

} // namespace pxm::coco
