// SPDX-License-Identifier: MIT
#include "tools/FreehandRegion.h"

#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <algorithm>
#include <cmath>

namespace pxm {

namespace {
qint64 tileKey(int column, int row) {
    return (qint64(row) << 32) | quint32(column);
}

int floorDiv(int a, int b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}
} // namespace

FreehandRegion::FreehandRegion(QGraphicsItem* parent) : QGraphicsPathItem(parent) {
    setFlag(QGraphicsItem::ItemUsesExtendedStyleOption);
    m_stamped.setFillRule(Qt::WindingFill);
}

void FreehandRegion::addSquare(const QRect& square) {
    addRects({square});
}

void FreehandRegion::addRects(const QVector<QRect>& rects) {
    // Start from the item's own path: it may have been set from outside since.
    if (path() != m_stamped) {
        m_stamped = path();
        m_tiles.clear();
        m_stamped.setFillRule(Qt::WindingFill);
        // A path set from elsewhere is put into the raster whole, once.
        const QRect bounds = m_stamped.boundingRect().toAlignedRect();
        if (!m_stamped.isEmpty()) {
            m_colour = qPremultiply(brush().color().rgba());
            for (int ty = floorDiv(bounds.top(), TileSize); ty <= floorDiv(bounds.bottom(), TileSize); ++ty)
                for (int tx = floorDiv(bounds.left(), TileSize); tx <= floorDiv(bounds.right(), TileSize);
                     ++tx) {
                    QImage tile(TileSize, TileSize, QImage::Format_ARGB32_Premultiplied);
                    tile.fill(Qt::transparent);
                    QPainter p(&tile);
                    p.translate(-tx * TileSize, -ty * TileSize);
                    p.fillPath(m_stamped, QColor::fromRgba(qUnpremultiply(m_colour)));
                    p.end();
                    m_tiles.insert(tileKey(tx, ty), tile);
                }
        }
    }
    bool added = false;
    for (const QRect& r : rects) {
        // An empty rectangle would only leave a stray point in the saved outline.
        if (r.isEmpty())
            continue;
        m_stamped.addRect(r);
        fillRaster(r);
        added = true;
    }
    // One path change per batch: every change recomputes the item's bounds.
    if (added || path() != m_stamped)
        setPath(m_stamped);
}

void FreehandRegion::fillRaster(const QRect& square) {
    if (square.isEmpty())
        return;
    const QRgb colour = qPremultiply(brush().color().rgba());
    if (colour != m_colour)
        recolour(colour);
    for (int ty = floorDiv(square.top(), TileSize); ty <= floorDiv(square.bottom(), TileSize); ++ty)
        for (int tx = floorDiv(square.left(), TileSize); tx <= floorDiv(square.right(), TileSize); ++tx) {
            const QRect tileRect(tx * TileSize, ty * TileSize, TileSize, TileSize);
            const QRect part = square.intersected(tileRect).translated(-tileRect.topLeft());
            auto it = m_tiles.find(tileKey(tx, ty));
            if (it == m_tiles.end()) {
                QImage tile(TileSize, TileSize, QImage::Format_ARGB32_Premultiplied);
                tile.fill(Qt::transparent);
                it = m_tiles.insert(tileKey(tx, ty), tile);
            }
            for (int y = part.top(); y <= part.bottom(); ++y) {
                auto* row = reinterpret_cast<QRgb*>(it->scanLine(y));
                std::fill(row + part.left(), row + part.right() + 1, m_colour);
            }
        }
}

void FreehandRegion::recolour(QRgb colour) {
    for (QImage& tile : m_tiles) {
        const int count = tile.width() * tile.height();
        auto* px = reinterpret_cast<QRgb*>(tile.bits());
        for (int i = 0; i < count; ++i)
            if (px[i] != 0)
                px[i] = colour;
    }
    m_colour = colour;
}

void FreehandRegion::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    const bool plainFill = brush().style() == Qt::SolidPattern && pen().style() == Qt::NoPen && !isSelected();
    if (!plainFill || path() != m_stamped) {
        QGraphicsPathItem::paint(painter, option, widget);
        return;
    }
    const QRgb colour = qPremultiply(brush().color().rgba());
    if (colour != m_colour)
        recolour(colour);
    const QRect exposed = option->exposedRect.toAlignedRect().intersected(boundingRect().toAlignedRect());
    if (exposed.isEmpty())
        return;
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
    for (int ty = floorDiv(exposed.top(), TileSize); ty <= floorDiv(exposed.bottom(), TileSize); ++ty)
        for (int tx = floorDiv(exposed.left(), TileSize); tx <= floorDiv(exposed.right(), TileSize); ++tx) {
            const auto it = m_tiles.constFind(tileKey(tx, ty));
            if (it == m_tiles.constEnd())
                continue;
            const QRect tileRect(tx * TileSize, ty * TileSize, TileSize, TileSize);
            const QRect part = exposed.intersected(tileRect);
            painter->drawImage(QRectF(part), *it, QRectF(part.translated(-tileRect.topLeft())));
        }
    painter->restore();
}

} // namespace pxm
