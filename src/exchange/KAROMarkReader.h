// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/BaseReader.h"

#include <QString>
#include <QTextStream>

namespace pxm {

class Label;
class Scene;

/// Imports KARO mark files: each image block adds a 2D image and each mark a rectangle item.
/// Colour numbers are taken as label ids; a missing label is created with the number as its
/// id and as its 0xRRGGBB colour.
///
/// A line beginning with "# Image" ends an image block and is consumed with it, so in a file
/// with several blocks only every other one is read; files written by writeKAROMark hold one.
class KAROMarkReader : public BaseReader {
    Q_OBJECT
public:
    explicit KAROMarkReader(QObject* parent = nullptr);

    /// Reads one mark file; throws CriticalReadError when it cannot be opened, when an image
    /// header has no path or when the image has more than one z-layer.
    void readFile(const QString& path) override;

private:
    bool nextLine();
    void readImageBlock();
    void readMarkBlock(Scene* target);
    Label* labelForColor(int color);

    QTextStream m_stream;
    int m_lineNumber = -1;
    QString m_line;
};

} // namespace pxm
