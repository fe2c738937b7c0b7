// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"

#include <QGraphicsObject>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace KYVO {
class CImage;
}

namespace Pictor {

struct CImageInfo;
class TileRenderer;

/// A graphics item that shows one z-layer of a CImage, pixel (x, y) covering the unit square at (x, y).
///
/// The layer is never converted as a whole: painting converts only the tiles that the exposed area
/// touches and keeps them in the shared TileCache, so images far larger than one pixmap display fine.
/// When the painter scales down, tiles come from a coarser level of a pyramid (every 2nd, 4th, …
/// pixel), so a zoomed-out view of a huge layer converts about as many pixels as the screen has.
/// Grey mapping: see TileRenderer. Pixels are drawn nearest-neighbour when magnified.
///
/// The image is not owned and must outlive the item; its statistics (for the display window of 16-bit
/// and float images and for normalisation) come from the ImageInfoCache on first paint.
/// A QGraphicsObject so that owners can watch it with a QPointer.
class ImageItem : public QGraphicsObject {
    Q_OBJECT
public:
    enum { Type = UserType + 0x5043 };
    static constexpr int kDefaultTileSize = 512;

    /// Throws KYVO::CException for a null image, a layer outside the image, an unknown pixel type or a
    /// tile size below 1.
    ImageItem(const KYVO::CImage* image, std::size_t z, bool normalize = false,
              int tileSize = kDefaultTileSize, QGraphicsItem* parent = nullptr);
    ~ImageItem() override;

    /// (0, 0, width, height) of the layer.
    QRectF boundingRect() const override;
    /// Paints the part of the layer inside the exposed rectangle, the painter's clip and the device.
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget = nullptr) override;
    int type() const override { return Type; }

    const KYVO::CImage* image() const { return m_image; }
    std::size_t layer() const { return m_z; }
    bool normalize() const { return m_normalize; }
    /// The user's window and gamma; an unset one (the default) keeps the mapping of TileRenderer.
    /// Changing it converts the tiles afresh.
    void setContrast(const DisplayContrast& contrast);
    DisplayContrast contrast() const;
    int tileSize() const { return m_tileSize; }

    /// Qt::FastTransformation (the default) draws nearest-neighbour at every zoom; Qt::SmoothTransformation
    /// smooths only while the layer is shown smaller than 1:1. Magnified pixels are never smoothed.
    void setTransformationMode(Qt::TransformationMode mode);
    Qt::TransformationMode transformationMode() const { return m_mode; }

    /// Pyramid level used at a painter scale of `levelOfDetail` device pixels per layer pixel:
    /// the coarsest level whose sample spacing still is at most one device pixel.
    int levelFor(double levelOfDetail) const;
    /// Tiles this item has converted so far (cache misses).
    uint64_t convertedTileCount() const { return m_converted.load(); }
    /// Tiles of this item held by the shared cache now.
    std::size_t cachedTileCount() const;

private:
    QImage tile(int level, int column, int row) const;
    std::shared_ptr<const TileRenderer> renderer() const;

    const KYVO::CImage* m_image;
    std::size_t m_z;
    bool m_normalize;
    int m_tileSize;
    int m_maxLevel = 0;
    Qt::TransformationMode m_mode = Qt::FastTransformation;
    uint64_t m_owner;
    mutable std::atomic<uint64_t> m_converted{0};
    // Tiles may be converted off the GUI thread while the contrast changes.
    mutable std::mutex m_rendererMutex;
    DisplayContrast m_contrast;
    mutable std::shared_ptr<const TileRenderer> m_renderer;
};

/// A new graphics item (the caller owns it) showing layer z of `image`, which is not owned and must
/// outlive the item. Throws KYVO::CException when there is no image, z is outside it or its pixel
/// type cannot be shown.
QGraphicsItem* toQGraphicsItem(const KYVO::CImage* image, std::size_t z, bool normalize = false,
                               const DisplayContrast& contrast = DisplayContrast());

} // namespace Pictor
