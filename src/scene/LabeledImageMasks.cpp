// SPDX-License-Identifier: MIT
// Turning a labeled image's annotation into volumes: label masks, single-label masks,
// rendered snapshots and the effective (erased) mask.
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskPalette.h"
#include "scene/Scene.h"

#include <QGraphicsItem>
#include <QImage>
#include <QPainter>
#include <cstring>

namespace pxm {

namespace {

/// Paints one label item's shape with the given colour under the item's scene transform.
/// `linePen` decides the colour of line items, which are stroked rather than filled.
void paintShape(QPainter& painter, QGraphicsItem* item, const QColor& fill, const QColor& lineColor) {
    painter.setTransform(item->sceneTransform());
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(fill));
    switch (item->type()) {
    case QGraphicsEllipseItem::Type:
        painter.drawEllipse(static_cast<QGraphicsEllipseItem*>(item)->rect());
        break;
    case QGraphicsRectItem::Type:
        painter.drawRect(static_cast<QGraphicsRectItem*>(item)->rect());
        break;
    case QGraphicsPolygonItem::Type:
        painter.drawPolygon(static_cast<QGraphicsPolygonItem*>(item)->polygon(), Qt::OddEvenFill);
        break;
    case QGraphicsPathItem::Type:
        painter.drawPath(static_cast<QGraphicsPathItem*>(item)->path());
        break;
    case QGraphicsLineItem::Type: {
        auto* line = static_cast<QGraphicsLineItem*>(item);
        painter.setPen(QPen(lineColor, line->pen().widthF()));
        painter.setBrush(Qt::NoBrush);
        painter.drawLine(line->line());
        break;
    }
    default:
        break;
    }
}

QImage blankLayer(uint32_t width, uint32_t height) {
    QImage layer(int(width), int(height), QImage::Format_Grayscale8);
    layer.fill(0);
    return layer;
}

} // namespace

KYVO::CImage* LabeledImage::createErasedMask() const {
    if (!m_mask || !m_eraseOverlay)
        return nullptr;
    auto* result = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(m_width, m_height, m_depth));
    const std::size_t count =
        std::min(result->byteCount(), std::min(m_mask->byteCount(), m_eraseOverlay->byteCount()));
    const uint8_t* mask = m_mask->data();
    const uint8_t* overlay = m_eraseOverlay->data();
    uint8_t* out = result->data();
    for (std::size_t i = 0; i < count; ++i)
        out[i] = overlay[i] ? 0 : mask[i];
    return result;
}

KYVO::CImage* LabeledImage::createLabelMask() const {
    KYVO::CImage* volume = nullptr;
    if (m_mask)
        volume = m_eraseOverlay ? createErasedMask() : new KYVO::CImage(*m_mask);
    else
        volume = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(m_width, m_height, m_depth));
    if (!m_project)
        return volume;

    const QVector<QRgb>& palette = maskPalette();
    const std::size_t rowBytes = volume->size().x;
    for (int z = 0; z < m_scenes.size() && std::size_t(z) < volume->size().z; ++z) {
        QImage layer = blankLayer(m_width, m_height);
        {
            QPainter painter(&layer);
            painter.setRenderHint(QPainter::Antialiasing, false);
            // Topmost first: later painting covers earlier, so the lowest shape wins overlaps.
            for (QGraphicsItem* item : m_scenes[z]->items()) {
                if (!isLabelItem(item))
                    continue;
                const Label* label = m_project->labelById(labelIdOf(item));
                if (!label || label->maskId() < 0 || label->maskId() >= 256)
                    continue;
                const QColor color = QColor::fromRgb(palette[label->maskId()]);
                paintShape(painter, item, color, color);
            }
        }
        // Shapes only fill voxels the loaded mask leaves at 0.
        for (uint32_t y = 0; y < m_height && y < volume->size().y; ++y) {
            const uint8_t* src = layer.constScanLine(int(y));
            uint8_t* dst = volume->voxel(0, y, std::size_t(z));
            for (std::size_t x = 0; x < rowBytes; ++x)
                dst[x] = dst[x] ? dst[x] : src[x];
        }
    }
    return volume;
}

KYVO::CImage* LabeledImage::createSingleLabelMask(int labelId) const {
    auto* volume = new KYVO::CImage(KYVO::IMAGE_BOOL, KYVO::CSize(m_width, m_height, m_depth));
    const QColor one = QColor::fromRgb(maskPalette()[1]);
    for (int z = 0; z < m_scenes.size() && std::size_t(z) < volume->size().z; ++z) {
        QImage layer = blankLayer(m_width, m_height);
        {
            QPainter painter(&layer);
            painter.setRenderHint(QPainter::Antialiasing, false);
            for (QGraphicsItem* item : m_scenes[z]->items())
                if (isLabelItem(item) && labelIdOf(item) == labelId)
                    paintShape(painter, item, one, Qt::black); // lines of the label add nothing
        }
        for (uint32_t y = 0; y < m_height; ++y)
            std::memcpy(volume->voxel(0, y, std::size_t(z)), layer.constScanLine(int(y)), m_width);
    }
    return volume;
}

KYVO::CImage* LabeledImage::createRenderedImage() const {
    auto* volume = new KYVO::CImage(KYVO::IMAGE_RGB_8I, KYVO::CSize(m_width, m_height, m_depth));
    for (int z = 0; z < m_scenes.size() && std::size_t(z) < volume->size().z; ++z) {
        QImage layer(int(m_width), int(m_height), QImage::Format_RGB888);
        layer.fill(0);
        {
            QPainter painter(&layer);
            m_scenes[z]->render(&painter, QRectF(0, 0, m_width, m_height), QRectF(), Qt::KeepAspectRatio);
        }
        for (uint32_t y = 0; y < m_height; ++y)
            std::memcpy(volume->voxel(0, y, std::size_t(z)), layer.constScanLine(int(y)),
                        std::size_t(m_width) * 3);
    }
    return volume;
}

} // namespace pxm
