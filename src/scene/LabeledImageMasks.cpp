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
#include "scene/ShapePainter.h"

#include <QGraphicsItem>
#include <QImage>
#include <QPainter>
#include <cstring>
#include <limits>

namespace pxm {

namespace {

QImage blankLayer(uint32_t width, uint32_t height) {
    QImage layer(int(width), int(height), QImage::Format_Grayscale8);
    layer.fill(0);
    return layer;
}

/// Layer z of a one-byte-per-voxel volume as a grey image sharing the volume's memory.
QImage layerOf(KYVO::CImage& volume, std::size_t z) {
    return QImage(volume.layer(z), int(volume.size().x), int(volume.size().y), int(volume.size().x),
                  QImage::Format_Grayscale8);
}

/// True when the volume has the labeled image's layer size and that size can be painted.
bool hasLayerShape(const KYVO::CImage& volume, uint32_t width, uint32_t height) {
    return width > 0 && height > 0 && volume.size().x == width && volume.size().y == height &&
           width <= uint32_t(std::numeric_limits<int>::max()) &&
           height <= uint32_t(std::numeric_limits<int>::max());
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
    if (!hasLayerShape(*volume, m_width, m_height))
        return volume;
    for (int z = 0; z < m_scenes.size() && std::size_t(z) < volume->size().z; ++z) {
        const QVector<QPair<QGraphicsItem*, QColor>> shapes = labelShapes(z, palette);
        if (shapes.isEmpty())
            continue;
        // Without a loaded mask the layer is still all 0, so the shapes can be painted
        // straight into the volume; otherwise they go through a layer of their own.
        const bool direct = !m_mask;
        QImage layer = direct ? layerOf(*volume, std::size_t(z)) : blankLayer(m_width, m_height);
        {
            QPainter painter(&layer);
            painter.setRenderHint(QPainter::Antialiasing, false);
            for (const auto& shape : qAsConst(shapes))
                paintLabelShape(painter, shape.first, shape.second, shape.second);
        }
        if (direct)
            continue;
        // Shapes only fill voxels the loaded mask leaves at 0.
        for (uint32_t y = 0; y < m_height; ++y)
            fillZeroVoxels(volume->voxel(0, y, std::size_t(z)), layer.constScanLine(int(y)), rowBytes);
    }
    return volume;
}

QVector<QPair<QGraphicsItem*, QColor>> LabeledImage::labelShapes(int z, const QVector<QRgb>& palette) const {
    // Topmost first: later painting covers earlier, so the lowest shape wins overlaps.
    QVector<QPair<QGraphicsItem*, QColor>> shapes;
    if (!m_project || z < 0 || z >= m_scenes.size())
        return shapes;
    for (QGraphicsItem* item : m_scenes[z]->items()) {
        if (!isLabelItem(item))
            continue;
        const Label* label = m_project->labelById(labelIdOf(item));
        if (label && label->maskId() >= 0 && label->maskId() < 256)
            shapes.append({item, QColor::fromRgb(palette[label->maskId()])});
    }
    return shapes;
}

QVector<LabeledImage::MaskShape> LabeledImage::maskShapes(std::size_t z) const {
    QVector<MaskShape> shapes;
    for (const auto& [item, colour] : labelShapes(int(z), maskPalette()))
        shapes.append({item, colour, item->sceneBoundingRect().adjusted(-2, -2, 2, 2)});
    return shapes;
}

void LabeledImage::paintLabelMaskRows(std::size_t z, const QVector<MaskShape>& shapes, uint32_t top, uint32_t rows,
                                      uint8_t* out, uint32_t blockWidth) const {
    if (!m_width || top >= m_height || z >= m_depth || blockWidth == 0)
        return;
    rows = std::min(rows, m_height - top);
    const std::size_t rowBytes = m_width;
    const bool hasMask = m_mask && m_mask->type() == KYVO::IMAGE_GREY_8 && m_mask->size().x == m_width &&
                         m_mask->size().y == m_height && z < m_mask->size().z;
    if (hasMask) {
        const bool overlay = m_eraseOverlay && m_eraseOverlay->size() == m_mask->size();
        for (uint32_t r = 0; r < rows; ++r) {
            const uint8_t* mask = m_mask->voxel(0, top + r, z);
            const uint8_t* erased = overlay ? m_eraseOverlay->voxel(0, top + r, z) : nullptr;
            uint8_t* row = out + r * rowBytes;
            for (std::size_t x = 0; x < rowBytes; ++x)
                row[x] = erased && erased[x] ? 0 : mask[x];
        }
    } else {
        std::memset(out, 0, rows * rowBytes);
    }
    if (shapes.isEmpty())
        return;
    // The raster engine works in 16-bit coordinates, so wide strips are painted in blocks; only
    // the shapes that reach a block are painted, in the order the whole layer paints them.
    blockWidth = std::min<uint32_t>(blockWidth, 16384);
    for (uint32_t left = 0; left < m_width; left += blockWidth) {
        const uint32_t width = std::min(blockWidth, m_width - left);
        const QRectF block(left, top, width, rows);
        QImage layer = hasMask ? blankLayer(width, rows)
                               : QImage(out + left, int(width), int(rows), int(rowBytes), QImage::Format_Grayscale8);
        {
            QPainter painter(&layer);
            painter.setRenderHint(QPainter::Antialiasing, false);
            const QTransform base = QTransform::fromTranslate(-double(left), -double(top));
            for (const MaskShape& shape : shapes) {
                if (shape.bounds.intersects(block))
                    paintLabelShape(painter, shape.item, shape.colour, shape.colour, base);
            }
        }
        if (hasMask) {
            for (uint32_t r = 0; r < rows; ++r)
                fillZeroVoxels(out + r * rowBytes + left, layer.constScanLine(int(r)), width);
        }
    }
}

KYVO::CImage* LabeledImage::createSingleLabelMask(int labelId) const {
    auto* volume = new KYVO::CImage(KYVO::IMAGE_BOOL, KYVO::CSize(m_width, m_height, m_depth));
    const QColor one = QColor::fromRgb(maskPalette()[1]);
    if (!hasLayerShape(*volume, m_width, m_height))
        return volume;
    for (int z = 0; z < m_scenes.size() && std::size_t(z) < volume->size().z; ++z) {
        // The volume starts at 0 and painting writes 0 or 1, so it is painted in place.
        QImage layer = layerOf(*volume, std::size_t(z));
        QPainter painter(&layer);
        painter.setRenderHint(QPainter::Antialiasing, false);
        for (QGraphicsItem* item : m_scenes[z]->items())
            if (isLabelItem(item) && labelIdOf(item) == labelId)
                paintLabelShape(painter, item, one, Qt::black); // lines of the label add nothing
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
