// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QGraphicsItem>
#include <QImage>

#include <opencv2/core.hpp>

namespace pxm {

/// Shows a binary layer in a colour over the image while a smart tool is adjusted. It carries
/// no label id, so it never reaches the project file, an export or the undo stack.
class MaskPreviewItem : public QGraphicsItem {
public:
    explicit MaskPreviewItem(QGraphicsItem* parent = nullptr);

    /// Shows `mask` (CV_8UC1, 0 or 255, layer coordinates) in `colour`; an empty mask shows
    /// nothing.
    void setMask(const cv::Mat& mask, const QColor& colour);
    const cv::Mat& mask() const { return m_mask; }

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    cv::Mat m_mask;
    QImage m_image; // indexed view of m_mask: 0 clear, 255 the colour
};

} // namespace pxm
