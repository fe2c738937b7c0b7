// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsItem>

namespace pxm {

/// Item data key under which every label item carries its label's id.
constexpr int LabelIdDataKey = 1001;

/// Item data key marking a shape a tool is still drawing: it shows in the scene but is not
/// part of the annotation until the tool commits it.
constexpr int UnfinishedItemDataKey = 1002;

/// True when the item carries a label id and is not a shape still being drawn.
inline bool isLabelItem(const QGraphicsItem* item) {
    return item && item->data(LabelIdDataKey).isValid() && !item->data(UnfinishedItemDataKey).toBool();
}

/// Marks or unmarks a shape as still being drawn.
inline void setUnfinished(QGraphicsItem* item, bool unfinished) {
    if (unfinished)
        item->setData(UnfinishedItemDataKey, true);
    else
        item->setData(UnfinishedItemDataKey, QVariant());
}

/// The label id an item carries (0 when it carries none).
inline int labelIdOf(const QGraphicsItem* item) {
    return item ? item->data(LabelIdDataKey).toInt() : 0;
}

} // namespace pxm
