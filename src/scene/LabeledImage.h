// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QList>
#include <QObject>
#include <QPair>
#include <QRectF>
#include <QString>
#include <QVector>
#include <cstdint>
#include <memory>

class QGraphicsItem;

namespace KYVO {
class CImage;
namespace io {
class TiffPyramid;
}
} // namespace KYVO

namespace pxm {

class Label;
class OverviewBuilder;
class Project;
class Scene;

/// One image of a project with everything drawn on it: the image and its path, a label
/// mask loaded with it, an erase overlay recording which mask voxels the eraser removed,
/// and one Scene per z-layer. It is the unit that is loaded lazily and swapped out again,
/// and it turns its annotation into mask volumes.
///
/// Volumes are laid out x fastest, then y, then z. Mask voxels hold mask ids (0 =
/// unlabelled), never label ids. The erase overlay counts eraser passes per voxel; a mask
/// voxel is in force only where the overlay is 0.
class LabeledImage : public QObject {
    Q_OBJECT
public:
    enum class ImageState : int32_t { Ok = 0, NotLoaded = 1, LoadFailed = 2, SizeMismatch = 3 };
    enum class MaskState : int32_t { Ok = 0, NotLoaded = 1, LoadFailed = 2, SizeMismatch = 3, WrongType = 4 };

    explicit LabeledImage(Project* project);
    ~LabeledImage() override;

    Project* project() const { return m_project; }
    uint32_t usageCount() const { return m_usageCount; }

    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    uint32_t depth() const { return m_depth; }
    uint32_t colorChannels() const { return m_colorChannels; }
    /// These take effect only while the stored value is still 0.
    void setWidth(uint32_t width);
    void setHeight(uint32_t height);
    void setDepth(uint32_t depth);
    void setColorChannels(uint32_t channels);

    QString imagePath() const { return m_imagePath; }
    /// The physical size of one voxel in micrometres, where the image's file states one (a TIFF's
    /// resolution tags or ImageJ description); false otherwise.
    bool voxelSize(double size[3]) const;
    void setImagePath(const QString& path);
    QString maskPath() const { return m_maskPath; }
    void setMaskPath(const QString& path);
    QString eraseOverlayPath() const { return m_eraseOverlayPath; }

    KYVO::CImage* image() const { return m_image; }
    /// The image read on demand from its file, for 2D TIFFs above `kOnDemandPixels`: such an image
    /// is never loaded whole, so image() stays null and pixel tools and masks are not offered.
    std::shared_ptr<const KYVO::io::TiffPyramid> pyramid() const { return m_pyramid; }
    /// Pixels per layer above which a TIFF is read on demand (16384 x 16384).
    static constexpr uint64_t kOnDemandPixels = uint64_t(1) << 28;
    /// True when the image is too large for pixel tools and masks (read on demand, or known to
    /// be larger than kOnDemandPixels per layer).
    bool tooLargeForPixels() const;
    /// Percent done of the overview levels being built for an image read on demand whose file has
    /// too few; -1 when none are being built.
    int overviewProgress() const;
    KYVO::CImage* mask() const { return m_mask; }
    KYVO::CImage* eraseOverlay() const { return m_eraseOverlay.get(); }
    ImageState imageState() const { return m_imageState; }
    /// Why the image file could not be read the last time it was loaded; empty after success.
    QString loadError() const { return m_loadError; }
    MaskState maskState() const { return m_maskState; }
    /// True once the loaded mask was edited in memory (a reassign) and not yet saved: such a
    /// mask cannot be brought back from its file, so it is never swapped out.
    bool maskModified() const { return m_maskModified; }
    void setMaskModified(bool modified) { m_maskModified = modified; }
    /// Whether the erase overlay changed since the mask was last saved: with the mask's own
    /// flag, what decides whether a save has to write the mask at all.
    bool overlayModified() const { return m_overlayModified; }
    void setOverlayModified(bool modified) { m_overlayModified = modified; }

    const QList<Scene*>& scenes() const { return m_scenes; }
    /// The scene of layer z, or null when there is none.
    Scene* scene(int z) const { return m_scenes.value(z); }
    /// Creates one scene per z-layer once the depth is known and no scenes exist yet.
    void createScenes();

    /// Takes a new image. Refuses (SizeMismatch) one whose size differs from a known size.
    void setImage(KYVO::CImage* image, bool takeOwnership);
    /// Loads the image from its path; failures are logged and kept as LoadFailed.
    void loadImage(bool force = false);
    /// Takes a new mask: it must have the known size and be 8-bit grey. With checkLabels,
    /// every mask value no label uses gets a new label.
    void setMask(KYVO::CImage* mask, bool takeOwnership, bool checkLabels);
    void loadMask(bool force = false, bool checkLabels = true);
    /// Creates the erase overlay (from its swap file when there is one) once the size is known.
    void ensureEraseOverlay();

    /// Pins the data in memory, loading what is missing; without `pixels` the image itself is
    /// not loaded (the mask and the erase overlay are), for work that needs only its size.
    void incUsage(bool pixels = true);
    /// Releases a pin; the last one swaps the data out.
    void decUsage();
    /// Drops what can be brought back: images and masks with a path, and the overlay (saved first).
    void swap();

    bool hasItemsOfLabel(const Label* label) const;
    bool hasLabelItems() const;
    bool hasVisibleLabelItems() const;

    /// A new 8-bit volume of mask ids (caller owns): the effective mask, with the label
    /// items painted into the voxels it leaves at 0.
    KYVO::CImage* createLabelMask() const;
    /// A label item that paints into label masks, with its mask colour and scene bounds.
    struct MaskShape {
        QGraphicsItem* item = nullptr;
        QColor colour;
        QRectF bounds;
    };
    /// The label items of layer z that paint into label masks, in the order they are painted.
    QVector<MaskShape> maskShapes(std::size_t z) const;
    /// Rows top .. top + rows - 1 of layer z of what createLabelMask gives, into `out` (rows x width
    /// bytes, every one written), without building the volume: for masks too large to hold whole.
    /// `shapes` are the layer's maskShapes(), found once for all strips of a layer. Shapes are
    /// painted in blocks of at most `blockWidth` (and 16384) columns.
    void paintLabelMaskRows(std::size_t z, const QVector<MaskShape>& shapes, uint32_t top, uint32_t rows,
                            uint8_t* out, uint32_t blockWidth = 16384) const;
    /// A new bool volume (caller owns), 1 where shapes of the label lie.
    KYVO::CImage* createSingleLabelMask(int labelId) const;
    /// A new RGB volume (caller owns) of what every scene shows.
    KYVO::CImage* createRenderedImage() const;
    /// A new 8-bit volume (caller owns) of the effective mask; null without mask or overlay.
    KYVO::CImage* createErasedMask() const;

signals:
    void swapped();
    void unswapped();
    void imageChanged();
    void imagePathChanged();
    void maskChanged();
    void maskPathChanged();
    /// Overview levels are being built (percent done), or were (-1).
    void overviewProgressChanged(int percent);

private:
    void openOverviews();
    QVector<QPair<QGraphicsItem*, QColor>> labelShapes(int z, const QVector<QRgb>& palette) const;
    void deleteImage();
    void deleteMask();

    Project* m_project = nullptr;
    uint32_t m_usageCount = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_depth = 0;
    uint32_t m_colorChannels = 0;
    QString m_imagePath;
    KYVO::CImage* m_image = nullptr;
    std::shared_ptr<const KYVO::io::TiffPyramid> m_pyramid;
    std::unique_ptr<OverviewBuilder> m_overviews;
    ImageState m_imageState = ImageState::NotLoaded;
    QString m_loadError;
    bool m_ownsImage = false;
    QString m_maskPath;
    KYVO::CImage* m_mask = nullptr;
    MaskState m_maskState = MaskState::Ok;
    bool m_maskModified = false;
    bool m_overlayModified = false;
    bool m_ownsMask = false;
    QString m_eraseOverlayPath;
    std::unique_ptr<KYVO::CImage> m_eraseOverlay;
    QList<Scene*> m_scenes;
    // Names this image's overlay swap file; unique for the life of the process.
    const quint64 m_identity;
};

} // namespace pxm
