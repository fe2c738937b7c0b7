// SPDX-License-Identifier: MIT
#include "exchange/dataset/DatasetExport.h"

#include "exchange/dataset/CocoFormat.h"
#include "exchange/dataset/DatasetInstances.h"
#include "exchange/dataset/NnunetFormat.h"
#include "exchange/dataset/YoloFormat.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <map>
#include <memory>
#include <tuple>

namespace pxm {

namespace {

/// Holds one pin of an image and releases it on every way out.
class ImagePin {
public:
    ImagePin(LabeledImage* image, bool pixels) : m_image(image) { m_image->incUsage(pixels); }
    ~ImagePin() { m_image->decUsage(); }
    ImagePin(const ImagePin&) = delete;
    ImagePin& operator=(const ImagePin&) = delete;

private:
    LabeledImage* m_image;
};

} // namespace

DatasetExport::DatasetExport(Project* project, QString directory, DatasetOptions options)
    : m_project(project), m_directory(std::move(directory)), m_options(std::move(options)) {}

bool DatasetExport::writeFile(const QString& path, const QByteArray& data) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        m_errors << QStringLiteral("%1 could not be written: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool DatasetExport::run(const std::function<bool()>& stop) {
    if (!m_project || !m_options.any())
        return true;
    const QDir out(m_directory);
    // Categories: the labels' mask ids in ascending order, each named after its first label.
    std::map<int, QString> categories;
    for (const Label* label : m_project->labels())
        if (label->maskId() > 0 && label->maskId() < 256 && !categories.count(label->maskId()))
            categories[label->maskId()] = label->name();
    std::map<int, int> classOf; // mask id -> index from 0
    QStringList names;
    for (const auto& [id, name] : categories) {
        classOf[id] = names.size();
        names << name;
    }
    coco::Document cocoDocument;
    int annotationId = 0;
    int imageId = 0;
    DatasetInstances collector(m_options.connectivity);
    collector.setOutlines(m_options.yoloSegments);
    bool volumes = false;
    for (const LabeledImage* image : m_project->images())
        volumes |= image->depth() > 1;
    NnunetWriter nnunet(out, m_options.nnunet, categories, volumes);
    bool ok = true;
    for (LabeledImage* image : m_project->images()) {
        if (stop && stop())
            return false;
        // nnU-Net reads the pixels of an image nobody holds on another core, as it writes them.
        const bool pixels =
            m_options.copyImages || (!m_options.nnunet.isEmpty() && !NnunetWriter::readsItself(*image));
        std::unique_ptr<ImagePin> pin;
        if (pixels || !image->maskPath().isEmpty() || image->mask())
            pin = std::make_unique<ImagePin>(image, pixels);
        const QFileInfo source(image->imagePath());
        const int width = int(image->width());
        const int height = int(image->height());
        const QList<Scene*>& scenes = image->scenes();
        if (width <= 0 || height <= 0 || scenes.isEmpty()) {
            m_warnings
                << QStringLiteral("%1 has no known size: left out of the datasets.").arg(source.fileName());
            continue;
        }
        if (!m_options.nnunet.isEmpty())
            nnunet.addImage(*image, *m_project, &m_warnings);
        for (int z = 0; z < scenes.size(); ++z) {
            const bool volume = scenes.size() > 1;
            const QString stem = volume ? QStringLiteral("%1_z%2").arg(source.completeBaseName()).arg(z)
                                        : source.completeBaseName();
            QString fileName = volume ? stem + ".png" : source.fileName();
            if (m_options.copyImages) {
                // Each dataset root holds its images beside its labels, as the training tools
                // look for them.
                QStringList roots;
                if (m_options.coco)
                    roots << out.absolutePath();
                if (m_options.yolo)
                    roots << out.filePath("yolo");
                if (m_options.yoloSegments)
                    roots << out.filePath("yolo-seg");
                for (const QString& root : roots) {
                    const QString target = QDir(root).filePath("images/" + fileName);
                    QDir().mkpath(QFileInfo(target).absolutePath());
                    QFile::remove(target);
                    const bool copied =
                        volume
                            ? image->image() && nnunetLayerPng(*image->image(), std::size_t(z)).save(target)
                            : QFile::copy(source.absoluteFilePath(), target);
                    if (!copied)
                        m_warnings << QStringLiteral("%1 could not be written.").arg(target);
                }
                fileName = "images/" + fileName;
            } else if (!volume) {
                fileName = out.relativeFilePath(source.absoluteFilePath());
            }
            // nnU-Net takes the label mask as a whole; instances serve COCO and YOLO only.
            if (!m_options.coco && !m_options.yolo && !m_options.yoloSegments)
                continue;
            const QVector<DatasetInstance> instances = collector.collect(*m_project, *scenes[z], stem);
            ++imageId;
            if (m_options.coco)
                cocoDocument.images.append({double(imageId), fileName, double(width), double(height)});
            QList<QByteArray> boxLines;
            QList<QByteArray> outlineLines;
            for (const DatasetInstance& instance : instances) {
                if (!instance.line && m_options.coco)
                    cocoDocument.annotations.append(
                        coco::annotation(instance, ++annotationId, imageId, width, height));
                else if (instance.line && (m_options.coco || m_options.yoloSegments))
                    m_warnings << QStringLiteral("The line %1 has no area: left out of segmentation.")
                                      .arg(instance.what);
                const int cls = classOf[instance.category];
                if (m_options.yolo)
                    boxLines << yolo::boxLine(cls, instance, width, height);
                const QByteArray outline =
                    m_options.yoloSegments ? yolo::outlineLine(cls, instance, width, height) : QByteArray();
                if (!outline.isEmpty())
                    outlineLines << outline;
            }
            for (const auto& [wanted, lines, folder] :
                 {std::tuple{m_options.yolo, boxLines, QStringLiteral("yolo")},
                  std::tuple{m_options.yoloSegments, outlineLines, QStringLiteral("yolo-seg")}}) {
                if (!wanted)
                    continue;
                const QByteArray text = lines.isEmpty() ? QByteArray() : lines.join('\n') + '\n';
                const QString name = "labels/" + stem + ".txt";
                const QStringList problems = yolo::checkLines(text, names.size(), name);
                if (!problems.isEmpty()) {
                    m_errors << problems;
                    ok = false;
                    continue;
                }
                ok &= writeFile(out.filePath(folder + "/" + name), text);
            }
        }
    }
    for (const auto& [wanted, folder] : {std::pair{m_options.yolo, QStringLiteral("yolo")},
                                         std::pair{m_options.yoloSegments, QStringLiteral("yolo-seg")}}) {
        if (!wanted)
            continue;
        ok &= writeFile(out.filePath(folder + "/data.yaml"),
                        yolo::dataYaml(out.filePath(folder), names).toUtf8());
    }
    if (m_options.coco) {
        for (const auto& [id, name] : categories)
            cocoDocument.categories.append({double(id), name});
        const QStringList problems = coco::check(cocoDocument);
        if (!problems.isEmpty()) {
            m_errors << problems;
            ok = false;
        } else {
            ok &= writeFile(out.filePath(m_options.cocoName + ".json"), coco::toJson(cocoDocument));
        }
    }
    if (!m_options.nnunet.isEmpty()) {
        ok &= nnunet.finish(&m_errors, &m_warnings);
    }
    m_warnings << collector.warnings();
    return ok;
}

QStringList checkDataset(const QString& path, QString* kind) {
    const QFileInfo info(path);
    auto say = [kind](const char* name) {
        if (kind)
            *kind = QString::fromLatin1(name);
    };
    QString cocoFile;
    if (info.isFile() && path.endsWith(".json", Qt::CaseInsensitive)) {
        cocoFile = path;
    } else if (info.isDir()) {
        const QDir dir(path);
        if (dir.exists("data.yaml")) {
            say("YOLO");
            return yolo::checkFolder(path);
        }
        if (dir.exists("dataset.json")) {
            say("nnU-Net");
            return checkNnunetDataset(path);
        }
        if (dir.exists("instances_default.json"))
            cocoFile = dir.filePath("instances_default.json");
        else if (const QStringList found = dir.entryList({"*.coco.json"}, QDir::Files); !found.isEmpty())
            cocoFile = dir.filePath(found.first());
    }
    if (cocoFile.isEmpty()) {
        say("");
        return {QStringLiteral("%1 is no COCO file, YOLO folder or nnU-Net dataset.").arg(path)};
    }
    say("COCO");
    QFile file(cocoFile);
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("%1 cannot be read.").arg(cocoFile)};
    QJsonObject document;
    QString error;
    if (!coco::parseObject(file.readAll(), &document, &error))
        return {QStringLiteral("%1: %2").arg(cocoFile, error)};
    return coco::check(document);
}

} // namespace pxm
