// SPDX-License-Identifier: MIT
#include "display/ImageItem.h"

#include "display/ImageInfoCache.h"
#include "display/PaintArea.h"
#include "display/TileCache.h"
#include "display/TileRenderer.h"
#include "platform/CException.h"
#include "platform/CImage.h"

#include <QPaintDevice>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QtDebug>
#include <algorithm>
#include <cmath>

namespace Pictor {

ImageItem::ImageItem(const KYVO::CImage* image, std::size_t z, bool normalize, int tileSize,
                     QGraphicsItem* parent)
    : QGraphicsObject(parent), m_image(image), m_z(z), m_normalize(normalize), m_tileSize(tileSize),
      m_owner(TileCache::newOwner()) {
    if (!image)
        KYVO_THROW("no image to display");
    if (z >= image->size().z)
        KYVO_THROW("layer " + std::to_string(z) + " is outside the image's " +
                   std::to_string(image->size().z) + " layers");
    if (int(image->type()) < 0 || int(image->type()) >= KYVO::ImageTypeCount)
        KYVO_THROW("cannot display pixel type " + std::to_string(int(image->type())));
    if (tileSize < 1)
        KYVO_THROW("tile size must be positive");
    // Scene coordinates are doubles and QRect is int: layers beyond 2^31 pixels a side cannot be shown.
    if (image->size().x > std::size_t(INT32_MAX) || image->size().y > std::size_t(INT32_MAX))
        KYVO_THROW("image too large to display");
    const std::size_t extent = std::max(image->size().x, image->size().y);
    while ((std::size_t(tileSize) << m_maxLevel) < extent && m_maxLevel < 30)
        ++m_maxLevel;
    ImageInfoCache::acquire(image);
    // The view hands the exposed rectangle only to items that ask for it.
    setFlag(ItemUsesExtendedStyleOption, true);
}

ImageItem::~ImageItem() {
    TileCache::shared().removeOwner(m_owner);
    ImageInfoCache::release(m_image);
}

QRectF ImageItem::boundingRect() const {
    return QRectF(0, 0, double(m_image->size().x), double(m_image->size().y));
}

void ImageItem::setTransformationMode(Qt::TransformationMode mode) {
    if (mode == m_mode)
        return;
    m_mode = mode;
    update();
}

int ImageItem::levelFor(double levelOfDetail) const {
    if (!(levelOfDetail > 0.0))
        return m_maxLevel;
    int level = 0;
    while (level < m_maxLevel && levelOfDetail * double(1 << (level + 1)) <= 1.0)
        ++level;
    return level;
}

std::size_t ImageItem::cachedTileCount() const {
    return TileCache::shared().tileCount(m_owner);
}

void ImageItem::setContrast(const DisplayContrast& contrast) {
    {
        std::lock_guard<std::mutex> lock(m_rendererMutex);
        if (contrast == m_contrast)
            return;
        m_contrast = contrast;
        m_renderer.reset();
    }
    TileCache::shared().removeOwner(m_owner);
    update();
}

DisplayContrast ImageItem::contrast() const {
    std::lock_guard<std::mutex> lock(m_rendererMutex);
    return m_contrast;
}

std::shared_ptr<const TileRenderer> ImageItem::renderer() const {
    std::lock_guard<std::mutex> lock(m_rendererMutex);
    if (!m_renderer) {
        std::shared_ptr<const CImageInfo> info;
        if (TileRenderer::needsImageInfo(m_image->type(), m_normalize, m_contrast))
            info = ImageInfoCache::info(m_image);
        m_renderer = std::make_shared<TileRenderer>(m_image, m_z, m_normalize, info.get(), m_contrast);
    }
    return m_renderer;
}

QImage ImageItem::tile(int level, int column, int row) const {
    const TileCache::Key key{m_owner, level, column, row};
    TileCache& cache = TileCache::shared();
    QImage image = cache.find(key);
    if (!image.isNull())
        return image;
    const long long span = static_cast<long long>(m_tileSize) << level;
    const long long x0 = column * span;
    const long long y0 = row * span;
    const long long w = std::min<long long>(span, static_cast<long long>(m_image->size().x) - x0);
    const long long h = std::min<long long>(span, static_cast<long long>(m_image->size().y) - y0);
    image = renderer()->render(QRect(int(x0), int(y0), int(w), int(h)), level);
    ++m_converted;
    cache.insert(key, image);
    return image;
}

void ImageItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget*) {
    const QRectF bounds = boundingRect();
    if (bounds.isEmpty() || !painter)
        return;
    const PaintArea paintArea = PaintArea::of(*painter, option, bounds);
    const QRectF& area = paintArea.area;
    if (area.isEmpty())
        return;
    const double lod = paintArea.levelOfDetail;
    const int level = levelFor(lod);
    const double span = double(static_cast<long long>(m_tileSize) << level);
    const int columns = int(std::ceil(bounds.width() / span));
    const int rows = int(std::ceil(bounds.height() / span));
    const int c0 = std::clamp(int(std::floor(area.left() / span)), 0, columns - 1);
    const int c1 = std::clamp(int(std::ceil(area.right() / span)) - 1, c0, columns - 1);
    const int r0 = std::clamp(int(std::floor(area.top() / span)), 0, rows - 1);
    const int r1 = std::clamp(int(std::ceil(area.bottom() / span)) - 1, r0, rows - 1);

    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, m_mode == Qt::SmoothTransformation && lod < 1.0);
    try {
        for (int r = r0; r <= r1; ++r) {
            for (int c = c0; c <= c1; ++c) {
                const QImage image = tile(level, c, r);
                const double x = c * span;
                const double y = r * span;
                // Item units per tile-image pixel; an edge tile's last sample may cover less than 2^level.
                const double fx = std::min(span, bounds.width() - x) / image.width();
                const double fy = std::min(span, bounds.height() - y) / image.height();
                // Only the samples under the area, widened to whole samples.
                const int i0 = std::max(0, int(std::floor((area.left() - x) / fx)));
                const int i1 = std::min(image.width(), int(std::ceil((area.right() - x) / fx)));
                const int j0 = std::max(0, int(std::floor((area.top() - y) / fy)));
                const int j1 = std::min(image.height(), int(std::ceil((area.bottom() - y) / fy)));
                if (i1 <= i0 || j1 <= j0)
                    continue;
                painter->drawImage(QRectF(x + i0 * fx, y + j0 * fy, (i1 - i0) * fx, (j1 - j0) * fy), image,
                                   QRectF(i0, j0, i1 - i0, j1 - j0));
            }
        }
    } catch (const std::exception& e) {
        // Painting runs inside Qt's event handling, which must not see exceptions.
        qWarning("image item: %s", e.what());
    }
    painter->restore();
}

QGraphicsItem* toQGraphicsItem(const KYVO::CImage* image, std::size_t z, bool normalize,
                               const DisplayContrast& contrast) {
    auto* item = new ImageItem(image, z, normalize);
    item->setContrast(contrast);
    return item;
}

} // namespace Pictor
