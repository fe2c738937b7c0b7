// SPDX-License-Identifier: MIT
#pragma once

#include "display/CImageInfo.h"

#include <QGraphicsScene>
#include <QPointer>
#include <cstddef>
#include <memory>

namespace KYVO {
class CImage;
}

namespace Pictor {

class ImageItem;

/// A graphics scene that shows one z-layer of a CImage and knows the image's statistics.
///
/// The image is not owned: whoever sets it keeps it alive until another image (or null) is set or the
/// scene is destroyed. By default the scene builds its own image item (z value -1, the scene
/// rectangle set to the layer); a subclass that manages its own item turns that off.
class Scene : public QGraphicsScene {
    Q_OBJECT
public:
    explicit Scene(QObject* parent = nullptr);
    ~Scene() override;

    /// Sets the image and the layer to show and rebuilds the image item (unless turned off). Passing
    /// the same image again redraws it, which picks up a changed normalisation. A different image drops
    /// the cached statistics. Null removes the item. Throws KYVO::CException, changing nothing, when z
    /// is outside the image.
    void SetCImage(const KYVO::CImage* image, std::size_t z = 0);
    const KYVO::CImage* CImage() const { return m_image; }
    std::size_t Layer() const { return m_layer; }

    /// Stretches grey values to the data's range; takes effect with the next SetCImage.
    void SetNormalize(bool on) { m_normalize = on; }
    bool Normalize() const { return m_normalize; }

    /// Statistics of the whole image and per slice, computed on first use and shared with every other
    /// scene and item showing the same image; null without image. The pointer stays valid until the
    /// next call of ImageInfo, SetCImage or InvalidateImageInfo on this scene.
    const CImageInfo* ImageInfo() const;
    /// The voxels changed: forgets the statistics (for every holder of the image) and rebuilds the
    /// scene's own image item.
    void InvalidateImageInfo();

    /// The image item the scene built itself; null when there is none.
    QGraphicsItem* ShownImageItem() const;

protected:
    /// Whether the scene builds its own image item; turning it off deletes the item.
    void SetShowsImageItem(bool on);
    bool ShowsImageItem() const { return m_showsImageItem; }

private:
    void rebuildItem();
    void deleteItem();

    const KYVO::CImage* m_image = nullptr;
    std::size_t m_layer = 0;
    bool m_normalize = false;
    bool m_showsImageItem = true;
    QPointer<ImageItem> m_item; // watched: clear() may delete it behind our back
    mutable std::shared_ptr<const CImageInfo> m_info;
};

} // namespace Pictor
