// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsItem>

namespace pxm {

/// Item data key under which every label item carries its label's id.
constexpr int LabelIdDataKey = 1001;

/// True when the item carries a label id.
inline bool isLabelItem(const QGraphicsItem* item) {
    return item && item->data(LabelIdDataKey).isValid();
}

/// The label id an item carries (0 when it carries none).
inline int labelIdOf(const QGraphicsItem* item) {
    return item ? item->data(LabelIdDataKey).toInt() : 0;
}

} // namespace pxm
