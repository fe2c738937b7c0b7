// SPDX-License-Identifier: MIT
#include "persistence/ProjectSerializer.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonFileWriter.h"
#include "persistence/JsonTextWriter.h"
#include "persistence/JsonValues.h"
#include "persistence/LabelItemRecord.h"
#include "persistence/ProjectPaths.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonDocument>
#include <QJsonObject>
#include <memory>

namespace pxm {

namespace {

/// Keeps an image pinned (its data in memory) for the life of the guard.
class Pin {
public:
    explicit Pin(LabeledImage* image) : m_image(image) { m_image->incUsage(); }
    ~Pin() { m_image->decUsage(); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

private:
    LabeledImage* m_image;
};

} // namespace

void ProjectSerializer::write(Project* project, const QString& fileName, bool overwriteMask) {
    if (!project)
        throw SerializationError(QStringLiteral("Could not write '%1'.").arg(fileName));
    for (LabeledImage* image : project->images())
        saveModifiedMask(image, overwriteMask);
    JsonFileWriter file(fileName, fileName.endsWith(QLatin1String(".gz")));
    JsonTextWriter out([&file](std::string& piece) { file.write(piece); });
    write(out, *project, QFileInfo(fileName).absolutePath());
    out.finish();
    file.commit();
}

QString ProjectSerializer::folderOf(const Project& project) {
    return project.path().isEmpty() ? QString() : QFileInfo(project.path()).absolutePath();
}

void ProjectSerializer::write(JsonTextWriter& out, const Project& project, const QString& folder) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("pxm::Project");
    out.key("currentImageIndex");
    out.value(project.currentImageIndex());
    out.key("hasNodaraEnvironment");
    out.value(project.plugin() != nullptr);
    out.key("images");
    out.beginArray();
    for (const LabeledImage* image : project.images())
        write(out, *image, folder);
    out.endArray();
    out.key("labels");
    out.beginArray();
    for (const Label* label : project.labels())
        write(out, *label);
    out.endArray();
    out.key("settings");
    // Settings are few and of any type: Qt converts and prints them.
    out.documentValue(
        QJsonDocument(QJsonObject::fromVariantMap(project.settings())).toJson(QJsonDocument::Indented));
    out.endObject();
}

void ProjectSerializer::write(JsonTextWriter& out, const Label& label) {
    writeLabel(out, label.color(), label.id(), label.maskId(), label.name(),
               {label.opacity(), label.secondaryOpacity(), label.penWidth()});
}

void ProjectSerializer::writeLabel(JsonTextWriter& out, const QColor& color, int id, int maskId, const QString& name,
                                   const LabelLook& look) {
    // The fill opacity and pen width are kept too: without them a reopened project showed
    // opaque fills and lines of another width, and its full mask changed.
    out.beginObject();
    out.key("$type");
    out.asciiValue("pxm::Label");
    out.key("color");
    JsonValues::write(out, color);
    out.key("id");
    out.value(id);
    out.key("maskId");
    out.value(maskId);
    out.key("name");
    out.value(name);
    out.key("opacity");
    out.value(look.opacity);
    out.key("penWidth");
    out.value(look.penWidth);
    out.key("secondaryOpacity");
    out.value(look.secondaryOpacity);
    out.endObject();
}

void ProjectSerializer::write(JsonTextWriter& out, const LabeledImage& image, const QString& folder) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("pxm::LabeledImage");
    out.key("colorChannels");
    out.value(qint64(image.colorChannels()));
    out.key("depth");
    out.value(qint64(image.depth()));
    out.key("height");
    out.value(qint64(image.height()));
    out.key("imagePath");
    out.value(ProjectPaths::stored(image.imagePath(), folder));
    out.key("maskPath");
    out.value(ProjectPaths::stored(image.maskPath(), folder));
    out.key("scenes");
    out.beginArray();
    for (const Scene* scene : image.scenes())
        write(out, *scene);
    out.endArray();
    out.key("width");
    out.value(qint64(image.width()));
    out.endObject();
}

void ProjectSerializer::write(JsonTextWriter& out, const Scene& scene) {
    out.beginObject();
    out.key("$type");
    out.asciiValue("pxm::Scene");
    out.key("labelItems");
    out.beginArray();
    for (const QGraphicsItem* item : scene.items())
        if (isLabelItem(item))
            write(out, *item);
    out.endArray();
    out.key("zLayer");
    out.value(qint64(scene.zLayer()));
    out.endObject();
}

void ProjectSerializer::write(JsonTextWriter& out, const QGraphicsItem& item) {
    LabelItemRecord record;
    if (LabelItemRecord::from(item, &record))
        record.write(out);
}

QString ProjectSerializer::maskTarget(const LabeledImage& image, bool overwriteMask) {
    if (image.maskPath().isEmpty()) {
        // Unused while masks are saved only for images with a mask path; kept for callers
        // that want a name for a mask that never had a file.
        if (image.imagePath().isEmpty())
            throw SerializationError(QStringLiteral("Cannot save modified mask."));
        const QFileInfo info(image.imagePath());
        return info.absolutePath() + QDir::separator() + info.baseName() + QStringLiteral("_mask_pxmtool.") +
               (image.depth() == 1 ? QStringLiteral(".pgm") : QStringLiteral(".okav.gz"));
    }
    const QFileInfo info(image.maskPath());
    if (overwriteMask || info.baseName().endsWith(QLatin1String("_pxmtool")))
        return image.maskPath();
    return info.absolutePath() + QDir::separator() + info.baseName() + QStringLiteral("_pxmtool.") +
           info.completeSuffix();
}

void ProjectSerializer::saveModifiedMask(LabeledImage* image, bool overwriteMask) {
    // A mask nobody changed since it was read or saved is left alone: rewriting it would
    // make a shapes-only save fail in a read-only folder.
    if (!image || image->maskPath().isEmpty() || (!image->maskModified() && !image->overlayModified()))
        return;
    const Pin pin(image);
    const std::unique_ptr<KYVO::CImage> erased(image->createErasedMask());
    if (!erased)
        return;
    const QString target = maskTarget(*image, overwriteMask);
    try {
        KYVO::CImageIo2::Save(target.toLocal8Bit().toStdString(), *erased);
    } catch (const KYVO::CException& e) {
        qWarning().noquote() << e.what();
        throw SerializationError(QStringLiteral("Could not write '%1'.").arg(target), QString::fromLocal8Bit(e.what()));
    }
    image->setMaskPath(target);
    // The file now holds the edits: the mask may be dropped and read back again.
    image->setMaskModified(false);
    image->setOverlayModified(false);
}

} // namespace pxm
