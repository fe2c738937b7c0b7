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
    /// Shows a layer of region numbers (CV_8UC1): number i in `colours[i]`, 0 and numbers
    /// without a colour clear.
    void setRegions(const cv::Mat& numbers, const QVector<QColor>& colours);
    const cv::Mat& mask() const { return m_mask; }
    /// Shows the pixels hatched (diagonal stripes), for results not yet applied.
    void setHatched(bool hatched);

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    cv::Mat m_mask;
    QImage m_image; // indexed view of m_mask
    bool m_hatched = false;
};

} // namespace pxm
