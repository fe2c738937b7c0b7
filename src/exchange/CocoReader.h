// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/BaseReader.h"

#include <QHash>

class QJsonObject;

namespace pxm {

class Label;

/// Imports a COCO instances file: each image becomes an image of the project (found relative
/// to the file, or by its file name next to it; otherwise the missing-file dialog asks for it
/// when it is shown), each category a label (matched by name; new ones take the category id as
/// mask id), each polygon a polygon shape and each RLE (counts or compressed string) a painted
/// region. The whole file is one undo step.
class CocoReader : public BaseReader {
    Q_OBJECT
public:
    explicit CocoReader(QObject* parent = nullptr);

    void readFile(const QString& path) override;

private:
    Label* labelFor(int categoryId, const QString& name);
    void readCategories(const QJsonObject& document);

    QHash<int, Label*> m_labels; // by category id, for the file being read
    QHash<int, QString> m_names;
};

} // namespace pxm
