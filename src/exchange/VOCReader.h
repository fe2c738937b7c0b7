// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/BaseReader.h"

#include <QRectF>
#include <QString>

class QXmlStreamReader;

namespace pxm {

class Scene;

/// Imports Pascal VOC files: each "annotation" adds a 2D image, found through its "path",
/// "folder" and "filename" when the file exists, and each "object" a rectangle item under
/// the label of that name (created when missing). Unexpected elements and malformed XML
/// become warnings; what was read before a fault is kept.
class VOCReader : public BaseReader {
    Q_OBJECT
public:
    explicit VOCReader(QObject* parent = nullptr);

    /// Reads one VOC file; throws CriticalReadError when it cannot be opened.
    void readFile(const QString& path) override;

private:
    void readAnnotation(QXmlStreamReader& xml, const QString& vocPath);
    void readObject(QXmlStreamReader& xml, Scene* target);
    QRectF readBox(QXmlStreamReader& xml);
    void warnUnknown(QXmlStreamReader& xml);
};

} // namespace pxm
