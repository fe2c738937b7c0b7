// SPDX-License-Identifier: MIT
#include "scene/LabeledImage.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/io/TiffCodec.h"
#include "platform/io/TiffOverviews.h"
#include "platform/io/TiffPyramid.h"
#include "scene/LabelItems.h"
#include "scene/OverviewBuilder.h"
#include "scene/Scene.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <atomic>

namespace pxm {

namespace {
std::atomic<quint64> g_nextIdentity{1};

/// Loads through the platform reader; a failure is logged, gives null and leaves the
/// reader's reason in `error` when given.
KYVO::CImage* loadLogged(const QString& path, QString* error = nullptr) {
    try {
        return KYVO::CImageIo2::Load(path.toLocal8Bit().toStdString());
    } catch (const KYVO::CException& e) {
        qWarning().noquote() << e.what();
        if (error)
            *error = QString::fromLocal8Bit(e.what());
    }
    return nullptr;
}

/// The image at `path` read on demand, when it is a 2D TIFF too large to hold whole; null
/// otherwise, or when it cannot be read that way (then the ordinary reader says why).
std::shared_ptr<const KYVO::io::TiffPyramid> openOnDemand(const QString& path) {
    // Only TIFFs are read on demand: other images are spared a second opening of their file.
    static const QStringList endings{"tif", "tiff", "btf", "tf8"};
    if (!endings.contains(QFileInfo(path).suffix(), Qt::CaseInsensitive))
        return nullptr;
    try {
        const std::string local = path.toLocal8Bit().toStdString();
        const KYVO::CSize size = KYVO::CImageIo2::ReadSize(local);
        if (size.z != 1 || uint64_t(size.x) * uint64_t(size.y) <= LabeledImage::kOnDemandPixels)
            return nullptr;
        return std::make_shared<const KYVO::io::TiffPyramid>(local);
    } catch (const KYVO::CException& e) {
        qWarning().noquote() << e.what();
    }
    return nullptr;
}
} // namespace

LabeledImage::LabeledImage(Project* project)
    : QObject(project), m_project(project), m_identity(g_nextIdentity.fetch_add(1)) {}

LabeledImage::~LabeledImage() {
    m_overviews.reset();
    const QList<Scene*> scenes = m_scenes;
    m_scenes.clear();
    qDeleteAll(scenes);
    deleteImage();
    deleteMask();
}

void LabeledImage::setWidth(uint32_t width) {
    if (m_width == 0)
        m_width = width;
}

void LabeledImage::setHeight(uint32_t height) {
    if (m_height == 0)
        m_height = height;
}

void LabeledImage::setDepth(uint32_t depth) {
    if (m_depth == 0)
        m_depth = depth;
}

void LabeledImage::setColorChannels(uint32_t channels) {
    if (m_colorChannels == 0)
        m_colorChannels = channels;
}

void LabeledImage::setImagePath(const QString& path) {
    if (path == m_imagePath)
        return;
    m_imagePath = path;
    emit imagePathChanged();
}

void LabeledImage::setMaskPath(const QString& path) {
    if (path == m_maskPath)
        return;
    m_maskPath = path;
    emit maskPathChanged();
}

void LabeledImage::createScenes() {
    if (!m_scenes.isEmpty() || m_depth == 0)
        return;
    for (uint32_t z = 0; z < m_depth; ++z)
        m_scenes.append(new Scene(this, z));
}

void LabeledImage::deleteImage() {
    if (m_ownsImage)
        delete m_image;
    m_image = nullptr;
    m_ownsImage = false;
    m_pyramid.reset();
}

void LabeledImage::openOverviews() {
    if (!m_pyramid || !KYVO::io::TiffOverviews::needed(*m_pyramid))
        return;
    const std::string source = m_pyramid->path();
    try {
        const auto files =
            KYVO::io::TiffOverviews::find(source, OverviewBuilder::cacheFolder().toLocal8Bit().toStdString());
        if (!files.empty()) {
            m_pyramid = std::make_shared<const KYVO::io::TiffPyramid>(source, files);
            return;
        }
    } catch (const KYVO::CException& e) {
        qWarning().noquote() << e.what();
    }
    if (m_overviews)
        return;
    // Without levels a zoomed-out view would read the whole image: they are built in the
    // background, and the image is shown from them once they are there.
    m_overviews = std::make_unique<OverviewBuilder>(QString::fromLocal8Bit(source.c_str()));
    connect(m_overviews.get(), &OverviewBuilder::progressChanged, this,
            &LabeledImage::overviewProgressChanged);
    connect(m_overviews.get(), &OverviewBuilder::finished, this,
            [this, source](const QStringList& files, const QString& error) {
                if (!m_overviews)
                    return;
                m_overviews.reset();
                if (!error.isEmpty())
                    qWarning().noquote() << error;
                if (!files.isEmpty() && m_pyramid && m_pyramid->path() == source) {
                    std::vector<std::string> levels;
                    for (const QString& file : files)
                        levels.push_back(file.toLocal8Bit().toStdString());
                    try {
                        m_pyramid = std::make_shared<const KYVO::io::TiffPyramid>(source, levels);
                    } catch (const KYVO::CException& e) {
                        qWarning().noquote() << e.what();
                    }
                }
                emit overviewProgressChanged(-1);
                emit imageChanged();
            });
    m_overviews->start();
}

int LabeledImage::overviewProgress() const {
    return m_overviews ? m_overviews->percent() : -1;
}

bool LabeledImage::tooLargeForPixels() const {
    return m_pyramid || uint64_t(m_width) * uint64_t(m_height) > kOnDemandPixels;
}

void LabeledImage::deleteMask() {
    if (m_ownsMask)
        delete m_mask;
    m_mask = nullptr;
    m_ownsMask = false;
    m_maskModified = false;
}

void LabeledImage::setImage(KYVO::CImage* image, bool takeOwnership) {
    if (image == m_image && !takeOwnership)
        return;
    if (image && image == m_image) {
        // Handing the current image over again must not delete it while in use.
        m_ownsImage = true;
        return;
    }
    const bool hadImage = m_image != nullptr;
    deleteImage();
    m_imageState = ImageState::NotLoaded;
    if (!image) {
        // Whoever shows the old pixels must let go of them now.
        if (hadImage)
            emit imageChanged();
        return;
    }
    const KYVO::CSize size = image->size();
    if ((m_width && size.x != m_width) || (m_height && size.y != m_height) ||
        (m_depth && size.z != m_depth)) {
        m_imageState = ImageState::SizeMismatch;
        if (takeOwnership)
            delete image;
        if (hadImage)
            emit imageChanged();
        return;
    }
    const uint32_t channels = uint32_t(image->channels());
    if (m_colorChannels && m_colorChannels != channels)
        qWarning().nospace() << "Expected an image with " << m_colorChannels << " color channels, but got "
                             << channels << ".";
    m_image = image;
    m_ownsImage = takeOwnership;
    m_imageState = ImageState::Ok;
    m_width = uint32_t(size.x);
    m_height = uint32_t(size.y);
    m_depth = uint32_t(size.z);
    m_colorChannels = channels;
    createScenes();
    emit imageChanged();
}

void LabeledImage::loadImage(bool /*force*/) {
    const bool hadImage = m_image != nullptr;
    deleteImage();
    m_imageState = ImageState::NotLoaded;
    m_loadError.clear();
    if (auto pyramid = openOnDemand(m_imagePath)) {
        const KYVO::CSize size = pyramid->size();
        if ((m_width && size.x != m_width) || (m_height && size.y != m_height) || (m_depth && m_depth != 1)) {
            m_imageState = ImageState::SizeMismatch;
            if (hadImage)
                emit imageChanged();
            return;
        }
        m_pyramid = std::move(pyramid);
        m_imageState = ImageState::Ok;
        m_width = uint32_t(size.x);
        m_height = uint32_t(size.y);
        m_depth = 1;
        m_colorChannels = uint32_t(KYVO::ImageTypeChannels(m_pyramid->type()));
        openOverviews();
        createScenes();
        emit imageChanged();
        return;
    }
    if (KYVO::CImage* loaded = loadLogged(m_imagePath, &m_loadError)) {
        setImage(loaded, true);
    } else {
        m_imageState = ImageState::LoadFailed;
        if (hadImage)
            emit imageChanged();
    }
}

void LabeledImage::setMask(KYVO::CImage* mask, bool takeOwnership, bool checkLabels) {
    if (mask == m_mask)
        return;
    const bool hadMask = m_mask != nullptr;
    deleteMask();
    m_maskState = m_maskPath.isEmpty() ? MaskState::Ok : MaskState::NotLoaded;
    if (!mask) {
        if (hadMask)
            emit maskChanged();
        return;
    }
    const KYVO::CSize size = mask->size();
    if ((m_width && size.x != m_width) || (m_height && size.y != m_height) ||
        (m_depth && size.z != m_depth)) {
        m_maskState = MaskState::SizeMismatch;
        if (takeOwnership)
            delete mask;
        if (hadMask)
            emit maskChanged();
        return;
    }
    if (mask->type() != KYVO::IMAGE_GREY_8) {
        m_maskState = MaskState::WrongType;
        if (takeOwnership)
            delete mask;
        if (hadMask)
            emit maskChanged();
        return;
    }
    if (checkLabels && m_project) {
        bool present[256] = {};
        const uint8_t* data = mask->data();
        const std::size_t count = mask->byteCount();
        for (std::size_t i = 0; i < count; ++i)
            present[data[i]] = true;
        for (int v = 1; v < 256; ++v) {
            if (!present[v] || !m_project->labelsByMaskId(v).isEmpty())
                continue;
            qWarning().nospace() << "Mask contains non existing label id " << v;
            m_project->createLabel()->setMaskId(v);
        }
    }
    m_mask = mask;
    m_ownsMask = takeOwnership;
    m_maskState = MaskState::Ok;
    m_width = uint32_t(size.x);
    m_height = uint32_t(size.y);
    m_depth = uint32_t(size.z);
    createScenes();
    if (!m_eraseOverlay)
        ensureEraseOverlay();
    emit maskChanged();
}

void LabeledImage::loadMask(bool force, bool checkLabels) {
    if (m_maskPath.isEmpty() || (m_mask && !force))
        return;
    const bool hadMask = m_mask != nullptr;
    deleteMask();
    m_maskState = MaskState::NotLoaded;
    if (KYVO::CImage* loaded = loadLogged(m_maskPath)) {
        setMask(loaded, true, checkLabels);
    } else {
        m_maskState = MaskState::LoadFailed;
        if (hadMask)
            emit maskChanged();
    }
}

void LabeledImage::ensureEraseOverlay() {
    if (m_eraseOverlay || !m_width || !m_height || !m_depth || tooLargeForPixels())
        return;
    if (!m_eraseOverlayPath.isEmpty()) {
        std::unique_ptr<KYVO::CImage> loaded(loadLogged(m_eraseOverlayPath));
        if (loaded) {
            const KYVO::CSize size = loaded->size();
            if (size.x == m_width && size.y == m_height && size.z == m_depth &&
                loaded->type() == KYVO::IMAGE_GREY_8)
                m_eraseOverlay = std::move(loaded);
            else
                qWarning().noquote() << "Loaded mask overlay from " << m_eraseOverlayPath
                                     << " has unexpected size.";
        }
    }
    if (!m_eraseOverlay)
        m_eraseOverlay =
            std::make_unique<KYVO::CImage>(KYVO::IMAGE_GREY_8, KYVO::CSize(m_width, m_height, m_depth));
}

void LabeledImage::incUsage(bool pixels) {
    if (pixels && !m_image && !m_pyramid && !m_imagePath.isEmpty())
        loadImage(false);
    if (!m_mask && !m_maskPath.isEmpty())
        loadMask(false, false);
    if (!m_eraseOverlay && !m_eraseOverlayPath.isEmpty())
        ensureEraseOverlay();
    ++m_usageCount;
}

void LabeledImage::decUsage() {
    if (m_usageCount == 0) {
        swap();
        return;
    }
    if (--m_usageCount == 0)
        swap();
}

void LabeledImage::swap() {
    if (m_image && m_ownsImage && !m_imagePath.isEmpty())
        deleteImage();
    // An edited mask exists only here until it is saved: dropping it would lose the edits.
    if (m_mask && m_ownsMask && !m_maskPath.isEmpty() && !m_maskModified)
        deleteMask();
    if (!m_eraseOverlay)
        return;
    if (m_eraseOverlayPath.isEmpty() && m_project)
        m_eraseOverlayPath =
            m_project->temporaryDirectory().absoluteFilePath(QString("erased_mask_%1.pgm").arg(m_identity));
    try {
        KYVO::CImageIo2::Save(m_eraseOverlayPath.toLocal8Bit().toStdString(), *m_eraseOverlay);
    } catch (const KYVO::CException& e) {
        // Dropping an overlay that could not be written would lose the user's erasures.
        qWarning().noquote() << "Keeping the erase overlay in memory:" << e.what();
        return;
    }
    m_eraseOverlay.reset();
}

bool LabeledImage::hasItemsOfLabel(const Label* label) const {
    if (!label)
        return false;
    for (const Scene* scene : m_scenes)
        if (!scene->itemsOfLabel(label).isEmpty())
            return true;
    return false;
}

bool LabeledImage::hasLabelItems() const {
    for (const Scene* scene : m_scenes)
        for (const QGraphicsItem* item : scene->items())
            if (isLabelItem(item))
                return true;
    return false;
}

bool LabeledImage::hasVisibleLabelItems() const {
    for (const Scene* scene : m_scenes)
        for (const QGraphicsItem* item : scene->items())
            if (isLabelItem(item) && item->opacity() > 0)
                return true;
    return false;
}

bool LabeledImage::voxelSize(double size[3]) const {
    const QString suffix = QFileInfo(m_imagePath).suffix().toLower();
    if (suffix != "tif" && suffix != "tiff")
        return false;
    try {
        return KYVO::io::TiffCodec::voxelSize(QFile::encodeName(m_imagePath).toStdString(), size);
    } catch (const std::exception&) {
        return false; // an unreadable file states nothing
    }
}

} // namespace pxm
