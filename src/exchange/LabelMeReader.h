// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/BaseReader.h"
#include "persistence/JsonTree.h"

#include <QColor>
#include <QHash>
#include <QString>
#include <optional>

namespace pxm {

class Label;
class Scene;

/// Imports LabelMe JSON files: each file adds one 2D image, and each shape of type
/// "polygon", "rectangle", "circle" or "line" an item under the label of its name. A missing
/// label is created with the shape's colour; an existing one takes a differing colour of the
/// file. Faults in single shapes go to the debug log; structural faults end the file. A file
/// that is not JSON fails with the line where it stops being JSON.
class LabelMeReader : public BaseReader {
    Q_OBJECT
public:
    explicit LabelMeReader(QObject* parent = nullptr);

    /// Reads one LabelMe file; throws CriticalReadError for the faults that end it.
    void readFile(const QString& path) override;

private:
    void readShape(const JsonTree::Value& shape, Scene* target);
    Label* labelFor(const QString& name, const QColor& lineColor, const QColor& fillColor);

    // The colour each label was last given by the file being read.
    QHash<const Label*, std::optional<QRgb>> m_appliedColors;
};

} // namespace pxm
