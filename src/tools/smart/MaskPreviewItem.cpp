// SPDX-License-Identifier: MIT
#include "tools/smart/MaskPreviewItem.h"

#include <QPainter>

namespace pxm {

namespace {
/// Over every label shape, under the brush cursors.
constexpr qreal PreviewZValue = 0.9e6;
} // namespace

MaskPreviewItem::MaskPreviewItem(QGraphicsItem* parent) : QGraphicsItem(parent) {
    setZValue(PreviewZValue);
    setAcceptedMouseButtons(Qt::NoButton);
}

void MaskPreviewItem::setMask(const cv::Mat& mask, const QColor& colour) {
    QVector<QColor> colours(256);
    colours[255] = colour;
    setRegions(mask, colours);
}

void MaskPreviewItem::setRegions(const cv::Mat& numbers, const QVector<QColor>& colours) {
    prepareGeometryChange();
    m_mask = numbers.isContinuous() ? numbers : numbers.clone();
    m_image = QImage();
    if (!m_mask.empty()) {
        m_image = QImage(m_mask.data, m_mask.cols, m_mask.rows, int(m_mask.step), QImage::Format_Indexed8);
        QVector<QRgb> table(256, 0);
        for (int i = 1; i < colours.size() && i < 256; ++i) {
            if (!colours[i].isValid())
                continue;
            QColor shown = colours[i];
            shown.setAlpha(150);
            table[i] = shown.rgba();
        }
        m_image.setColorTable(table);
    }
    update();
}

QRectF MaskPreviewItem::boundingRect() const {
    return QRectF(0, 0, m_mask.cols, m_mask.rows);
}

void MaskPreviewItem::setHatched(bool hatched) {
    m_hatched = hatched;
    update();
}

void MaskPreviewItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) {
    if (m_image.isNull())
        return;
    if (!m_hatched) {
        painter->drawImage(QPointF(0, 0), m_image);
        return;
    }
    // The region faint, with stripes of its colour over it.
    QImage alpha = m_image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QImage stripes(alpha.size(), QImage::Format_ARGB32_Premultiplied);
    stripes.fill(Qt::transparent);
    {
        QPainter p(&stripes);
        p.fillRect(stripes.rect(), QBrush(QColor::fromRgba(m_image.colorTable().value(255)), Qt::BDiagPattern));
        p.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        p.drawImage(0, 0, alpha);
    }
    painter->setOpacity(0.4);
    painter->drawImage(QPointF(0, 0), alpha);
    painter->setOpacity(1);
    painter->drawImage(QPointF(0, 0), stripes);
}

} // namespace pxm
