// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"

#include <QGraphicsObject>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace KYVO {
class CImage;
namespace io {
class TiffPyramid;
}
} // namespace KYVO

namespace Pictor {

struct CImageInfo;

/// A graphics item that shows a TIFF read on demand: pixel (x, y) of its first level covers the
/// unit square at (x, y), as with ImageItem, but no level is ever held whole.
///
/// Painting picks the coarsest level whose pixels are still no larger than a device pixel, reads
/// only the tiles of that level the exposed area touches, converts them with the grey or contrast
/// mapping of TileRenderer and keeps them in the shared TileCache, whose byte budget bounds the
/// memory however far the user pans. Statistics that the mapping needs (the window of 16-bit
/// images, normalisation) come from the coarsest level.
class PyramidItem : public QGraphicsObject {
    Q_OBJECT
public:
    enum { Type = UserType + 0x5044 };
    /// More tiles than this in one paint are not read: only those already cached are drawn.
    static constexpr int kMaxTilesPerPaint = 256;

    /// `tileSize` 0 takes the file's own tiles where they are between 64 and 1024 pixels, else 512.
    explicit PyramidItem(std::shared_ptr<const KYVO::io::TiffPyramid> pyramid, bool normalize = false,
                         int tileSize = 0, QGraphicsItem* parent = nullptr);
    ~PyramidItem() override;

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget = nullptr) override;
    int type() const override { return Type; }

    const KYVO::io::TiffPyramid& pyramid() const { return *m_pyramid; }
    void setContrast(const DisplayContrast& contrast);
    DisplayContrast contrast() const;
    int tileSize() const { return m_tileSize; }

    /// The level painted at `levelOfDetail` device pixels per first-level pixel.
    int levelFor(double levelOfDetail) const;
    /// Tiles read and converted so far (cache misses).
    uint64_t convertedTileCount() const { return m_converted.load(); }
    /// Tiles of this item held by the shared cache now.
    std::size_t cachedTileCount() const;
    /// The displayed colour of tile-aligned pixel (x, y) of `level`, read through the cache.
    QRgb displayedPixel(int level, int x, int y) const;

private:
    QImage tile(int level, int column, int row) const;
    const CImageInfo* info() const;

    std::shared_ptr<const KYVO::io::TiffPyramid> m_pyramid;
    bool m_normalize;
    int m_tileSize;
    uint64_t m_owner;
    mutable std::atomic<uint64_t> m_converted{0};
    mutable std::mutex m_mutex;
    DisplayContrast m_contrast;
    mutable std::unique_ptr<CImageInfo> m_info;
};

} // namespace Pictor
