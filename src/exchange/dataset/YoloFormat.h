// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/dataset/DatasetInstances.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace pxm::yolo {

/// "class cx cy w h": the instance's box, normalised to the image and clipped to [0, 1], six
/// decimals.
QByteArray boxLine(int classIndex, const DatasetInstance& instance, int width, int height);

/// "class x1 y1 x2 y2 ...": the instance's outline (its exact polygon, or the traced outline of
/// its largest part), normalised and clipped; empty for a line or an outline of under 3 points.
QByteArray outlineLine(int classIndex, const DatasetInstance& instance, int width, int height);

/// The data.yaml of a dataset in `path` with the class names in index order.
QString dataYaml(const QString& path, const QStringList& names);

/// What is wrong with the lines of one label file: each line must be a class index below
/// `classes` and values in [0, 1] — five fields for boxes, or an odd count of at least seven
/// for outlines. `file` names it in the messages.
QStringList checkLines(const QByteArray& text, int classes, const QString& file);

/// What is wrong with a YOLO folder: data.yaml with path, train, val and names numbered 0 to
/// n-1 without gaps, every file in labels/ checked, and an image for each label file when the
/// folder has images/.
QStringList checkFolder(const QString& folder);

} // namespace pxm::yolo
