// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskWorker.h"

#include "exchange/KAROMarkWriter.h"
#include "exchange/LabelMeWriter.h"
#include "exchange/VGGImageAnnotatorWriteError.h"
#include "exchange/VGGImageAnnotatorWriter.h"
#include "exchange/VOCWriter.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QTextStream>
#include <QXmlStreamWriter>
#include <memory>
#include <vector>

namespace pxm {

namespace {

/// Holds one pin of an image or a scene and releases it on every way out.
template <typename T> class Pin {
public:
    explicit Pin(T* object) : m_object(object) { m_object->incUsage(); }
    Pin(T* object, bool pixels) : m_object(object) { m_object->incUsage(pixels); }
    ~Pin() { m_object->decUsage(); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

private:
    T* m_object;
};

std::string localPath(const QString& path) {
    return path.toLocal8Bit().toStdString();
}

} // namespace

ExportMaskWorker::ExportMaskWorker(Project* project, QObject* parent) : QThread(parent), m_project(project) {}

ExportMaskWorker::~ExportMaskWorker() {
    requestStop();
    wait();
}

int ExportMaskWorker::progressTotal() const {
    if (!m_project)
        return 0;
    const int images = m_project->images().size();
    const int labels = m_project->labels().size();
    int layers = 0;
    for (const LabeledImage* image : m_project->images())
        layers += int(image->depth());
    int total = 0;
    if (m_fullMask)
        total += images;
    if (m_boolMask)
        total += images * labels;
    if (m_snapshot)
        total += images;
    if (m_karoMark)
        total += layers;
    if (m_voc)
        total += layers;
    if (m_labelMe)
        total += images;
    if (m_labelMeComplete)
        total += images;
    if (m_datasets.any())
        total += 1;
    return total;
}

QString ExportMaskWorker::makeFilename(const LabeledImage* image, const Scene* scene, const Label* label,
                                       const QString& suffix) const {
    // The order of the replacements is part of the naming rule: a label name that itself
    // contains "{image_name}" is expanded once more.
    QString name = m_filename;
    name.replace(QStringLiteral("{label_id}"), label ? QString::number(label->id()) : QString());
    name.replace(QStringLiteral("{label_name}"), label ? label->name() : QString());
    name.replace(QStringLiteral("{image_name}"),
                 image ? QFileInfo(image->imagePath()).completeBaseName() : QString());
    name.replace(QStringLiteral("{z_layer}"), scene ? QString::number(scene->zLayer()) : QString());
    return m_directory + QDir::separator() + name + suffix;
}

bool ExportMaskWorker::isLabeled(const LabeledImage* image) {
    return image && image->hasLabelItems();
}

void ExportMaskWorker::run() {
    exportProject();
}

void ExportMaskWorker::exportProject() {
    m_progress = 0;
    m_currentImage = nullptr;
    m_stopRequested = false;
    m_failures = 0;
    m_unreadable = 0;
    if (!m_project)
        return;

    const QList<LabeledImage*> images = m_project->images();
    for (LabeledImage* image : images) {
        // A stop asked for while an image was skipped must not start the next one.
        if (stopRequested())
            return;
        m_currentImage = image;
        if (m_skipUnlabeled && !isLabeled(image)) {
            countSkippedImage(image);
            continue;
        }
        if (!exportImage(image))
            return;
    }
    if (m_vggImageAnnotator && !stopRequested()) {
        exportVGGImageAnnotator();
        step();
    }
    if (m_datasets.any() && !stopRequested()) {
        exportDatasets();
        step();
    }
}

void ExportMaskWorker::exportDatasets() {
    DatasetExport datasets(m_project, m_directory, m_datasets);
    datasets.run([this] { return stopRequested(); });
    for (const QString& warning : datasets.warnings())
        qWarning().noquote() << "Dataset export:" << warning;
    for (const QString& error : datasets.errors())
        noteFailure(m_directory, error);
}

void ExportMaskWorker::countSkippedImage(const LabeledImage* image) {
    // A skipped image still advances the progress by the share its steps would have had.
    // Unlike the total, this share includes the VGG step.
    const int layers = int(image->depth());
    int share = 0;
    if (m_fullMask)
        share += 1;
    if (m_boolMask)
        share += m_project->labels().size();
    if (m_snapshot)
        share += 1;
    if (m_karoMark)
        share += layers;
    if (m_voc)
        share += layers;
    if (m_vggImageAnnotator)
        share += 1;
    if (m_labelMe)
        share += 1;
    if (m_labelMeComplete)
        share += 1;
    step(share);
}

bool ExportMaskWorker::exportImage(LabeledImage* image) {
    // Masks and annotation files need only the image's size, which the project knows: the
    // pixels are decoded only for a snapshot, and otherwise the file's header is read to tell
    // whether the image is still there and readable.
    const bool pixels = m_snapshot;
    const Pin<LabeledImage> pin(image, pixels);
    if (!image->image() && !image->imagePath().isEmpty()) {
        QString reason;
        if (!QFileInfo::exists(image->imagePath())) {
            reason = tr("the file does not exist");
        } else if (pixels) {
            reason = image->loadError();
        } else {
            try {
                KYVO::CImageIo2::ReadSize(localPath(image->imagePath()));
            } catch (const std::exception& e) {
                reason = QString::fromLocal8Bit(e.what());
            }
        }
        if (!reason.isEmpty()) {
            ++m_unreadable;
            emit imageUnreadable(image->imagePath(), reason);
        }
    }

    if (m_fullMask) {
        exportFullMask(image);
        step();
    }
    if (stopRequested())
        return false;

    if (m_snapshot) {
        exportSnapshot(image);
        step();
    }
    if (stopRequested())
        return false;

    const QList<Label*> labels = m_project->labels();
    for (const Label* label : labels) {
        if (m_boolMask) {
            exportBoolMask(image, label);
            step();
        }
        if (stopRequested())
            return false;
    }

    if (m_karoMark || m_voc) {
        const QList<Scene*> scenes = image->scenes();
        for (Scene* scene : scenes)
            if (!exportScene(scene))
                return false;
    }

    if (m_labelMe) {
        exportLabelMe(image, false);
        step();
    }
    if (m_labelMeComplete) {
        exportLabelMe(image, true);
        step();
    }
    return true;
}

bool ExportMaskWorker::exportScene(Scene* scene) {
    // Mark and VOC files describe the shapes; the scene's image and display items are not
    // needed, so the scene is not pinned.
    if (!scene)
        return true;
    if (m_karoMark) {
        exportKAROMark(scene);
        step();
        if (stopRequested())
            return false;
    }
    if (m_voc) {
        exportVOC(scene);
        step();
        if (stopRequested())
            return false;
    }
    return true;
}

template <typename Build> void ExportMaskWorker::saveVolume(const QString& path, Build build) {
    // A volume that cannot be built or saved costs this one file, not the whole export.
    try {
        const std::unique_ptr<KYVO::CImage> volume(build());
        if (!volume) {
            reportFailure(path, tr("there is nothing to write"));
            return;
        }
        KYVO::CImageIo2::Save(localPath(path), *volume);
    } catch (const std::exception& e) {
        // The platform's KYVO::CException among them: its text names the path and the reason.
        reportFailure(path, QString::fromLocal8Bit(e.what()));
    }
}

void ExportMaskWorker::exportFullMaskInStrips(const LabeledImage& image, const QString& path,
                                              uint32_t rowsPerStrip, uint32_t blockWidth) {
    try {
        const QVector<LabeledImage::MaskShape> shapes = image.maskShapes(0);
        KYVO::CImageIo2::SaveGreyInStrips(
            localPath(path), image.width(), image.height(), rowsPerStrip,
            [&image, &shapes, blockWidth](std::size_t top, std::size_t rows, uint8_t* out) {
                image.paintLabelMaskRows(0, shapes, uint32_t(top), uint32_t(rows), out, blockWidth);
            });
    } catch (const std::exception& e) {
        reportFailure(path, QString::fromLocal8Bit(e.what()));
    }
}

void ExportMaskWorker::exportFullMask(LabeledImage* image) {
    const QString suffix =
        image->depth() == 1 ? QStringLiteral("_fullmask.pgm") : QStringLiteral("_fullmask.okav.gz");
    if (image->depth() == 1) {
        // Strips of about 8 MB keep the memory bounded however large the image is, and one buffer
        // reused strip after strip is faster to fill than a whole mask's fresh pages.
        exportFullMaskInStrips(*image, makeFilename(image, nullptr, nullptr, suffix),
                               std::max<uint32_t>(16, (uint32_t(8) << 20) / std::max<uint32_t>(1, image->width())));
        return;
    }
    saveVolume(makeFilename(image, nullptr, nullptr, suffix), [image] { return image->createLabelMask(); });
}

void ExportMaskWorker::exportSnapshot(LabeledImage* image) {
    // A scene shows its image only while it is pinned. Pinning them here puts the image under
    // the shapes for every image, not only for the one a window happens to show.
    std::vector<std::unique_ptr<Pin<Scene>>> pins;
    for (Scene* scene : image->scenes())
        pins.push_back(std::make_unique<Pin<Scene>>(scene));
    const QString suffix =
        image->depth() == 1 ? QStringLiteral("_snapshot.png") : QStringLiteral("_snapshot.tiff");
    saveVolume(makeFilename(image, nullptr, nullptr, suffix),
               [image] { return image->createRenderedImage(); });
}

void ExportMaskWorker::exportBoolMask(LabeledImage* image, const Label* label) {
    const QString suffix =
        image->depth() == 1 ? QStringLiteral("_mask.pbm") : QStringLiteral("_mask.okav.gz");
    const int id = label->id();
    saveVolume(makeFilename(image, nullptr, label, suffix),
               [image, id] { return image->createSingleLabelMask(id); });
}

void ExportMaskWorker::exportKAROMark(Scene* scene) {
    const QString path = makeFilename(scene->image(), scene, nullptr, QStringLiteral(".mark"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        qWarning().noquote() << "ExportMaskWorker::exportKAROMark()"
                             << "Could not open the mark file '" + path + "'";
        noteFailure(path, file.errorString());
        return;
    }
    QTextStream out(&file);
    writeKAROMark(out, scene);
    out.flush();
    if (!file.commit()) {
        qWarning().noquote() << "ExportMaskWorker::exportKAROMark()"
                             << "Could not write the mark file '" + path + "'";
        noteFailure(path, file.errorString());
    }
}

void ExportMaskWorker::exportVOC(Scene* scene) {
    const QString path = makeFilename(scene->image(), scene, nullptr, QStringLiteral(".voc"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qWarning().noquote() << "ExportMaskWorker::exportVOC()"
                             << "Could not open the VOC file '" + path + "'";
        noteFailure(path, file.errorString());
        return;
    }
    QXmlStreamWriter out(&file);
    out.setAutoFormatting(true);
    out.writeStartDocument();
    writeVOC(out, scene);
    out.writeEndDocument();
    if (out.hasError() || !file.commit()) {
        qWarning().noquote() << "ExportMaskWorker::exportVOC()"
                             << "Could not write the VOC file '" + path + "'";
        noteFailure(path, file.errorString());
    }
}

void ExportMaskWorker::exportLabelMe(LabeledImage* image, bool complete) {
    if (image->depth() != 1) {
        qWarning().noquote() << "ExportMaskWorker::exportLabelme()"
                             << "The LabelMe format only supports 2D images.";
        return;
    }
    const QString path = makeFilename(image, nullptr, nullptr,
                                      complete && m_labelMe ? QStringLiteral("_complete.json") : QStringLiteral(".json"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qWarning().noquote() << "ExportMaskWorker::exportLabelMe()"
                             << "Could not open the LabelMe file '" + path + "'";
        noteFailure(path, file.errorString());
        return;
    }
    if (complete)
        writeLabelMeComplete(file, image, QFileInfo(path).absolutePath());
    else
        writeLabelMe(file, image);
    if (!file.commit()) {
        qWarning().noquote() << "ExportMaskWorker::exportLabelMe()"
                             << "Could not write the LabelMe file '" + path + "'";
        noteFailure(path, file.errorString());
    }
}

void ExportMaskWorker::exportVGGImageAnnotator() {
    const QString path = makeFilename(nullptr, nullptr, nullptr, QStringLiteral(".vgg.json"));
    // The writer signals an unwritable file by throwing; on this thread nothing else would
    // catch it.
    try {
        VGGImageAnnotatorWriter writer(m_project, path);
    } catch (const VGGImageAnnotatorWriteError& e) {
        const QString reason = e.reason().isEmpty() ? QString() : QStringLiteral(" (%1)").arg(e.reason());
        reportFailure(path, tr("the VGG Image Annotator file could not be written") + reason);
    } catch (const std::exception&) {
        reportFailure(path, tr("the VGG Image Annotator file could not be written"));
    }
}

void ExportMaskWorker::reportFailure(const QString& path, const QString& reason) {
    qWarning().noquote() << "ExportMaskWorker:"
                         << "Could not write '" + path + "':" << reason;
    noteFailure(path, reason);
}

void ExportMaskWorker::noteFailure(const QString& path, const QString& reason) {
    ++m_failures;
    // The window lists what failed at the end; the log alone is not seen by most users.
    emit writeFailed(path, reason);
}

void ExportMaskWorker::step(int count) {
    m_progress += count;
    emit progressChanged(m_progress.load());
}

} // namespace pxm
