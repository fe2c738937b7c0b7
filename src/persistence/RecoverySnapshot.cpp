// SPDX-License-Identifier: MIT
#include "persistence/RecoverySnapshot.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonFileWriter.h"
#include "persistence/JsonTextWriter.h"
#include "persistence/JsonValues.h"
#include "persistence/ProjectPaths.h"
#include "persistence/ProjectSerializer.h"
#include "persistence/RecoveryFolder.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QCoreApplication>
#include <QDir>
#include <QGraphicsItem>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace pxm {

RecoverySnapshot::RecoverySnapshot() = default;
RecoverySnapshot::~RecoverySnapshot() = default;

void RecoverySnapshot::capture(const Project& project, const SceneCapture& items) {
    // Absolute, so that recovery started from any folder saves to the project itself.
    m_projectPath = project.path().isEmpty() ? QString() : QFileInfo(project.path()).absoluteFilePath();
    const QString folder = ProjectSerializer::folderOf(project);
    m_time = QDateTime::currentDateTime();
    m_currentImageIndex = project.currentImageIndex();
    m_nodara = project.plugin() != nullptr;
    m_settings = project.settings();
    m_labels.clear();
    m_images.clear();
    m_scenes.clear();
    m_volumes.clear();
    m_itemCount = 0;
    for (const pxm::Label* label : project.labels())
        m_labels.push_back({label->color(), label->id(), label->maskId(), label->name(), label->opacity(),
                            label->secondaryOpacity(), label->penWidth()});
    for (const LabeledImage* image : project.images()) {
        Image record{image->colorChannels(),
                     image->depth(),
                     image->height(),
                     image->width(),
                     ProjectPaths::stored(image->imagePath(), folder),
                     ProjectPaths::stored(image->maskPath(), folder),
                     m_scenes.size(),
                     0};
        for (const pxm::Scene* scene : image->scenes()) {
            SceneItems sceneItems = items ? items(*scene) : captureScene(*scene);
            m_itemCount += sceneItems->size();
            m_scenes.push_back({int(scene->zLayer()), std::move(sceneItems)});
        }
        record.endScene = m_scenes.size();
        m_images.push_back(std::move(record));
    }
}

RecoverySnapshot::SceneItems RecoverySnapshot::captureScene(const pxm::Scene& scene) {
    auto items = std::make_shared<std::vector<Item>>();
    const QList<QGraphicsItem*> all = scene.items();
    items->reserve(std::size_t(all.size()));
    for (const QGraphicsItem* item : all)
        if (isLabelItem(item))
            captureItem(*item, items.get());
    return items;
}

void RecoverySnapshot::captureItem(const QGraphicsItem& item, std::vector<Item>* items) {
    Item record;
    if (Item::from(item, &record, true))
        items->push_back(std::move(record));
}

void RecoverySnapshot::writeProject(JsonTextWriter& out) const {
    // Members in the order the project file has them (QJsonObject's sorted keys).
    out.beginObject();
    out.key("$type");
    out.asciiValue("pxm::Project");
    out.key("currentImageIndex");
    out.value(m_currentImageIndex);
    out.key("hasNodaraEnvironment");
    out.value(m_nodara);
    out.key("images");
    out.beginArray();
    for (const Image& image : m_images) {
        out.beginObject();
        out.key("$type");
        out.asciiValue("pxm::LabeledImage");
        out.key("colorChannels");
        out.value(image.colorChannels);
        out.key("depth");
        out.value(image.depth);
        out.key("height");
        out.value(image.height);
        out.key("imagePath");
        out.value(image.imagePath);
        out.key("maskPath");
        out.value(image.maskPath);
        out.key("scenes");
        out.beginArray();
        for (std::size_t s = image.firstScene; s < image.endScene; ++s) {
            const Scene& scene = m_scenes[s];
            out.beginObject();
            out.key("$type");
            out.asciiValue("pxm::Scene");
            out.key("labelItems");
            out.beginArray();
            for (const Item& item : *scene.items)
                item.write(out);
            out.endArray();
            out.key("zLayer");
            out.value(qint64(scene.zLayer));
            out.endObject();
        }
        out.endArray();
        out.key("width");
        out.value(image.width);
        out.endObject();
    }
    out.endArray();
    out.key("labels");
    out.beginArray();
    for (const Label& label : m_labels)
        ProjectSerializer::writeLabel(out, label.color, label.id, label.maskId, label.name,
                                      {label.opacity, label.secondaryOpacity, label.penWidth});
    out.endArray();
    out.key("settings");
    out.documentValue(QJsonDocument(QJsonObject::fromVariantMap(m_settings)).toJson(QJsonDocument::Indented));
    out.endObject();
}

void RecoverySnapshot::writeTo(const QString& folder, int generation) const {
    const QDir dir(folder);
    QSet<QString> keep{RecoveryFolder::kLockFile, RecoveryFolder::kDescriptionFile};
    for (const Volume& volume : m_volumes) {
        keep.insert(volume.file);
        if (!volume.reuse)
            KYVO::CImageIo2::Save(dir.filePath(volume.file).toLocal8Bit().toStdString(), *volume.data);
    }
    const QString projectFile = QStringLiteral("project-%1.json.gz").arg(generation);
    keep.insert(projectFile);
    {
        JsonFileWriter file(dir.filePath(projectFile), true);
        JsonTextWriter out([&file](std::string& piece) { file.write(piece); });
        writeProject(out);
        out.finish();
        file.commit();
    }
    RecoveryFolder::Description description;
    description.projectPath = m_projectPath;
    description.time = m_time;
    description.pid = QCoreApplication::applicationPid();
    description.projectFile = projectFile;
    for (const Volume& volume : m_volumes)
        description.volumes.push_back({volume.image, volume.overlay, volume.file});
    RecoveryFolder::writeDescription(folder, description);
    // Files of earlier snapshots go only now that the new one is complete.
    for (const QString& name : dir.entryList(QDir::Files))
        if (!keep.contains(name))
            QFile::remove(dir.filePath(name));
}

} // namespace pxm
