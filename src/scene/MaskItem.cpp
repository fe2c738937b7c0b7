// SPDX-License-Identifier: MIT
#include "scene/MaskItem.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/MaskFlood.h"

#include <QBitmap>
#include <QDebug>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <cmath>

namespace pxm {

namespace {
/// The item's layer of the mask and of the erase overlay; no mask when the layer is missing.
maskflood::Layer maskLayer(LabeledImage* image, uint32_t zLayer) {
    maskflood::Layer layer;
    KYVO::CImage* mask = image->mask();
    if (!mask || zLayer >= mask->size().z || mask->size().x != image->width() || mask->size().y != image->height())
        return layer;
    layer.mask = mask->layer(zLayer);
    KYVO::CImage* overlay = image->eraseOverlay();
    if (overlay && overlay->byteCount() >= mask->byteCount())
        layer.overlay = overlay->layer(zLayer);
    layer.width = int(image->width());
    layer.height = int(image->height());
    return layer;
}
} // namespace

MaskItem::MaskItem(LabeledImage* image, uint32_t zLayer, QGraphicsItem* parent)
    : QGraphicsItem(parent), m_project(image->project()), m_image(image), m_zLayer(zLayer) {
    setFlag(QGraphicsItem::ItemUsesExtendedStyleOption);
    setCacheMode(QGraphicsItem::DeviceCoordinateCache);
}

QRectF MaskItem::boundingRect() const {
    return QRectF(0, 0, m_image->width(), m_image->height());
}

bool MaskItem::pixelRange(const QRectF& rect, int* x0, int* y0, int* x1, int* y1) const {
    const QRectF r = rect.normalized();
    // Whole pixels: the integer parts of the corners, the far side widened by one pixel.
    const double width = m_image->width();
    const double height = m_image->height();
    *x0 = int(std::max(0.0, std::min(std::trunc(r.left()), width)));
    *y0 = int(std::max(0.0, std::min(std::trunc(r.top()), height)));
    *x1 = int(std::max(0.0, std::min(std::trunc(r.right() + 1), width)));
    *y1 = int(std::max(0.0, std::min(std::trunc(r.bottom() + 1), height)));
    return *x0 < *x1 && *y0 < *y1;
}

void MaskItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget*) {
    const KYVO::CImage* mask = m_image->mask();
    if (!mask)
        return;
    int x0, y0, x1, y1;
    if (!pixelRange(option->exposedRect, &x0, &y0, &x1, &y1))
        return;
    const std::size_t width = m_image->width();
    const std::size_t height = m_image->height();
    const std::size_t layerOffset = width * height * m_zLayer;
    if (layerOffset + width * height > mask->byteCount())
        return;

    // Per mask value: the premultiplied colour of its label at primary opacity, or none.
    QRgb colours[256];
    bool known[256] = {};
    if (m_project) {
        for (const Label* label : m_project->labels()) {
            const int v = label->maskId();
            if (v < 0 || v > 255)
                continue;
            QColor c = label->color();
            c.setAlphaF(label->opacity());
            colours[v] = qPremultiply(c.rgba());
            known[v] = true;
        }
    }

    const int w = x1 - x0;
    const int h = y1 - y0;
    QImage picture(w, h, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QImage hatched(w, h, QImage::Format_MonoLSB);
    hatched.setColor(0, QColor(Qt::white).rgb());
    hatched.setColor(1, QColor(Qt::black).rgb());
    hatched.fill(0);
    bool anyHatched = false;
    const uint8_t* data = mask->data() + layerOffset;
    const KYVO::CImage* overlayImage = m_image->eraseOverlay();
    const uint8_t* overlay = overlayImage && overlayImage->byteCount() >= mask->byteCount()
                                 ? overlayImage->data() + layerOffset
                                 : nullptr;
    for (int y = 0; y < h; ++y) {
        const std::size_t row = std::size_t(y + y0) * width + std::size_t(x0);
        auto* out = reinterpret_cast<QRgb*>(picture.scanLine(y));
        uchar* bits = hatched.scanLine(y);
        for (int x = 0; x < w; ++x) {
            const uint8_t v = data[row + std::size_t(x)];
            if (v == 0 || (overlay && overlay[row + std::size_t(x)] != 0))
                continue;
            if (known[v]) {
                out[x] = colours[v];
            } else {
                bits[x >> 3] |= uchar(1u << (x & 7));
                anyHatched = true;
            }
        }
    }

    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
    const QRectF target(x0, y0, w, h);
    painter->drawImage(target, picture);
    if (anyHatched) {
        // Values no label uses: grey hatching fixed to screen pixels, at half opacity.
        QRegion region(QBitmap::fromImage(hatched));
        region.translate(x0, y0);
        painter->setClipRegion(region, Qt::IntersectClip);
        painter->setOpacity(0.5);
        QBrush brush(Qt::gray, Qt::Dense3Pattern);
        brush.setTransform(painter->worldTransform().inverted());
        painter->setPen(Qt::NoPen);
        painter->fillRect(target, brush);
    }
    painter->restore();
}

uint8_t MaskItem::value(const QPoint& point) const {
    return maskflood::readValue(maskLayer(m_image, m_zLayer), point.x(), point.y());
}

void MaskItem::changeOverlay(const QRectF& rect, int delta) {
    if (!m_image->mask())
        return;
    m_image->ensureEraseOverlay();
    KYVO::CImage* overlay = m_image->eraseOverlay();
    int x0, y0, x1, y1;
    if (overlay && pixelRange(rect, &x0, &y0, &x1, &y1) && m_zLayer < overlay->size().z) {
        for (int y = y0; y < y1; ++y) {
            uint8_t* row = overlay->voxel(0, std::size_t(y), m_zLayer);
            // The counter wraps as an 8-bit value, so erase and unerase stay exact inverses.
            for (int x = x0; x < x1; ++x)
                row[x] = uint8_t(row[x] + delta);
        }
        m_image->setOverlayModified(true);
    }
    update(rect);
}

void MaskItem::erase(const QRectF& rect) {
    changeOverlay(rect, +1);
}

void MaskItem::unerase(const QRectF& rect) {
    changeOverlay(rect, -1);
}

void MaskItem::flood(const QPoint& start, uint8_t newValue, std::vector<maskflood::Run>* filled) {
    qDebug() << "flooding " << start << " with " << newValue;
    std::vector<maskflood::Run> runs;
    maskflood::flood(maskLayer(m_image, m_zLayer), start.x(), start.y(), newValue, &runs);
    if (!runs.empty())
        m_image->setMaskModified(true);
    if (filled)
        filled->insert(filled->end(), runs.begin(), runs.end());
    update();
}

void MaskItem::fill(const std::vector<maskflood::Run>& runs, uint8_t value) {
    maskflood::fillRuns(maskLayer(m_image, m_zLayer), runs, value);
    if (!runs.empty())
        m_image->setMaskModified(true);
    update();
}

} // namespace pxm
