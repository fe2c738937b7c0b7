// SPDX-License-Identifier: MIT
#include "display/PyramidItem.h"

#include "display/CImageInfo.h"
#include "display/PaintArea.h"
#include "display/TileCache.h"
#include "display/TileRenderer.h"
#include "platform/CImage.h"
#include "platform/io/TiffPyramid.h"

#include <QPaintDevice>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QtDebug>
#include <algorithm>
#include <cmath>

namespace Pictor {

PyramidItem::PyramidItem(std::shared_ptr<const KYVO::io::TiffPyramid> pyramid, bool normalize, int tileSize,
                         QGraphicsItem* parent)
    : QGraphicsObject(parent), m_pyramid(std::move(pyramid)), m_normalize(normalize), m_tileSize(tileSize),
      m_owner(TileCache::newOwner()) {
    if (m_tileSize <= 0) {
        const auto& first = m_pyramid->level(0);
        const bool fits = first.tiled && first.blockWidth == first.blockHeight && first.blockWidth >= 64 &&
                          first.blockWidth <= 1024;
        m_tileSize = fits ? int(first.blockWidth) : 512;
    }
    setFlag(ItemUsesExtendedStyleOption, true);
}

PyramidItem::~PyramidItem() {
    TileCache::shared().removeOwner(m_owner);
}

QRectF PyramidItem::boundingRect() const {
    const auto& first = m_pyramid->level(0);
    return QRectF(0, 0, double(first.width), double(first.height));
}

int PyramidItem::levelFor(double levelOfDetail) const {
    const double full = double(m_pyramid->level(0).width);
    int level = 0;
    // A coarser level is taken while one of its pixels still fits in a device pixel.
    while (
        level + 1 < m_pyramid->levelCount() &&
        (!(levelOfDetail > 0.0) || levelOfDetail * full / double(m_pyramid->level(level + 1).width) <= 1.0))
        ++level;
    return level;
}

std::size_t PyramidItem::cachedTileCount() const {
    return TileCache::shared().tileCount(m_owner);
}

void PyramidItem::setContrast(const DisplayContrast& contrast) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (contrast == m_contrast)
            return;
        m_contrast = contrast;
    }
    TileCache::shared().removeOwner(m_owner);
    update();
}

DisplayContrast PyramidItem::contrast() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_contrast;
}

const CImageInfo* PyramidItem::info() const {
    // Called with m_mutex held.
    if (!m_info) {
        const int coarsest = m_pyramid->levelCount() - 1;
        const auto& level = m_pyramid->level(coarsest);
        const auto pixels = m_pyramid->read(coarsest, 0, 0, level.width, level.height);
        m_info = std::make_unique<CImageInfo>(computeImageInfo(*pixels));
    }
    return m_info.get();
}

QImage PyramidItem::tile(int level, int column, int row) const {
    const TileCache::Key key{m_owner, level, column, row};
    TileCache& cache = TileCache::shared();
    QImage image = cache.find(key);
    if (!image.isNull())
        return image;
    const auto pixels =
        m_pyramid->read(level, uint32_t(column) * uint32_t(m_tileSize), uint32_t(row) * uint32_t(m_tileSize),
                        uint32_t(m_tileSize), uint32_t(m_tileSize));
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const bool needsInfo = TileRenderer::needsImageInfo(m_pyramid->type(), m_normalize, m_contrast);
        const TileRenderer renderer(pixels.get(), 0, m_normalize, needsInfo ? info() : nullptr, m_contrast);
        image = renderer.render(QRect(0, 0, int(pixels->size().x), int(pixels->size().y)), 0);
    }
    ++m_converted;
    cache.insert(key, image);
    return image;
}

QRgb PyramidItem::displayedPixel(int level, int x, int y) const {
    const QImage image = tile(level, x / m_tileSize, y / m_tileSize);
    return image.pixel(x % m_tileSize, y % m_tileSize);
}

void PyramidItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget*) {
    const QRectF bounds = boundingRect();
    if (bounds.isEmpty() || !painter)
        return;
    const PaintArea paintArea = PaintArea::of(*painter, option, bounds);
    const QRectF& area = paintArea.area;
    if (area.isEmpty())
        return;
    const double lod = paintArea.levelOfDetail;
    const int level = levelFor(lod);
    const auto& lv = m_pyramid->level(level);
    // First-level units per pixel of this level.
    const double fx = bounds.width() / double(lv.width);
    const double fy = bounds.height() / double(lv.height);
    const double span = m_tileSize;
    const int columns = int(std::ceil(lv.width / span));
    const int rows = int(std::ceil(lv.height / span));
    const int c0 = std::clamp(int(std::floor(area.left() / fx / span)), 0, columns - 1);
    const int c1 = std::clamp(int(std::ceil(area.right() / fx / span)) - 1, c0, columns - 1);
    const int r0 = std::clamp(int(std::floor(area.top() / fy / span)), 0, rows - 1);
    const int r1 = std::clamp(int(std::ceil(area.bottom() / fy / span)) - 1, r0, rows - 1);

    // A file without coarse levels, zoomed out, would need thousands of full-resolution tiles:
    // beyond a screenful only the tiles at hand are drawn, the rest stays grey.
    const bool tooMany = (long long)(c1 - c0 + 1) * (r1 - r0 + 1) > kMaxTilesPerPaint;
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, lod < 1.0);
    try {
        for (int r = r0; r <= r1; ++r) {
            for (int c = c0; c <= c1; ++c) {
                const QImage image = tooMany ? TileCache::shared().find(TileCache::Key{m_owner, level, c, r})
                                             : tile(level, c, r);
                if (image.isNull()) {
                    painter->fillRect(QRectF(c * span * fx, r * span * fy, span * fx, span * fy),
                                      Qt::darkGray);
                    continue;
                }
                painter->drawImage(
                    QRectF(c * span * fx, r * span * fy, image.width() * fx, image.height() * fy), image);
            }
        }
    } catch (const std::exception& e) {
        // Painting runs inside Qt's event handling, which must not see exceptions.
        qWarning("pyramid item: %s", e.what());
    }
    painter->restore();
}

} // namespace Pictor
