// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsRectItem>

namespace pxm {

/// The half-transparent rectangle the pixel tools show over the image under the brush.
class GraticuleItem : public QGraphicsRectItem {
public:
    explicit GraticuleItem(QGraphicsItem* parent = nullptr);
};

} // namespace pxm
