// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsPathItem>
#include <QHash>
#include <QImage>
#include <QVector>

namespace pxm {

/// A region painted with the freehand brush: a path item whose path is the union of the
/// pixel-aligned rectangles stamped into it (winding fill), which is what it saves and is hit
/// with. It paints from a raster of those rectangles, updated one by one in tiles,
/// so that a repaint costs the same after thousands of rectangles as after one. Whenever its
/// path is set from elsewhere (the eraser, undo) it paints that path as any path item does,
/// and takes to the raster again once its path is the stamped one.
class FreehandRegion : public QGraphicsPathItem {
public:
    explicit FreehandRegion(QGraphicsItem* parent = nullptr);

    /// Adds a square to the path and to the raster; an empty one adds nothing.
    void addSquare(const QRect& square);
    /// Adds pixel rectangles to the path and to the raster, with one path change.
    void addRects(const QVector<QRect>& rects);

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    static constexpr int TileSize = 128;
    void fillRaster(const QRect& square);
    void recolour(QRgb colour);

    QPainterPath m_stamped;        // the path the raster shows
    QHash<qint64, QImage> m_tiles; // by tile row and column; premultiplied colour where painted
    QRgb m_colour = 0;             // premultiplied brush colour the tiles hold
};

} // namespace pxm
