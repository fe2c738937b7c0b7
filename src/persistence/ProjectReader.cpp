// SPDX-License-Identifier: MIT
#include "persistence/ProjectReader.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonFileReader.h"
#include "persistence/JsonNumbers.h"
#include "persistence/JsonValues.h"
#include "persistence/ProjectPaths.h"
#include "platform/MemoryBudget.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDebug>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonObject>
#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace pxm {

namespace {

using Value = JsonTree::Value;

[[noreturn]] void fail(const char* message) {
    throw DeserializationError(QString::fromUtf8(message));
}

/// The member key, which must exist (else `missing`) and be a number (else `notNumber`).
double requiredNumber(const Value& object, const char* key, const char* missing, const char* notNumber) {
    const Value value = object.member(key);
    if (value.isUndefined())
        fail(missing);
    if (!value.isNumber())
        fail(notNumber);
    return value.toNumber();
}

double number(const Value& object, const char* key, const char* notNumber) {
    const Value value = object.member(key);
    if (!value.isNumber())
        fail(notNumber);
    return value.toNumber();
}

/// An id must survive the trip into an int exactly: items find their label by it.
int wholeNumber(double value, const char* message) {
    int result = 0;
    if (!jsonnumbers::toInt32(value, &result))
        fail(message);
    return result;
}

/// What one z-layer costs in memory before anything is drawn on it: its scene and the scene's
/// display bookkeeping (measured about 2.9 KiB, rounded up).
constexpr std::uint64_t kBytesPerLayer = 4096;
/// Bytes per voxel an image holds at once besides its own pixels: the mask and the erase overlay.
constexpr std::uint64_t kMaskBytesPerVoxel = 2;

/// Refuses an image whose pixels, mask and erase overlay together could never be in memory
/// on this machine; the volumes are allocated from these numbers once the image is used.
void checkImageFits(uint32_t width, uint32_t height, uint32_t depth, uint32_t channels) {
    const long double voxels = static_cast<long double>(width) * height * depth;
    const long double bytes = voxels * (std::max<uint32_t>(channels, 1) + kMaskBytesPerVoxel) +
                              static_cast<long double>(depth) * kBytesPerLayer;
    if (bytes > static_cast<long double>(KYVO::MemoryBudget::limit()))
        throw DeserializationError(
            QStringLiteral(
                "Image: The declared size %1 x %2 x %3 does not fit in the memory of this machine.")
                .arg(width)
                .arg(height)
                .arg(depth));
}

/// A stored path made absolute against the project's folder, with a warning where an older
/// file's path was found only from the current directory.
QString resolvedPath(const QString& path, const QString& folder) {
    bool fromCurrentDirectory = false;
    const QString result = ProjectPaths::resolved(path, folder, &fromCurrentDirectory);
    if (fromCurrentDirectory)
        qWarning().noquote() << "The file" << path << "is not beside the project in" << folder
                             << "; taking" << result << "from the current directory.";
    return result;
}

uint32_t imageSize(double value, const char* message) {
    uint32_t result = 0;
    if (!jsonnumbers::toUInt32(value, &result))
        fail(message);
    return result;
}

} // namespace

void ProjectReader::read(const QString& fileName, Project* project, const QString& folder) {
    JsonTree tree;
    if (!tree.parse(JsonFileReader::readAll(fileName, fileName.endsWith(QLatin1String(".gz")))) ||
        !tree.root().isObject())
        throw DeserializationError(QStringLiteral("Expected a JSON document at '%1'.").arg(fileName));
    if (project)
        readProject(tree.root(), project, folder.isEmpty() ? QFileInfo(fileName).absolutePath() : folder);
}

void ProjectReader::readProject(const Value& object, Project* project, const QString& folder) {
    if (!JsonValues::hasType(object, "pxm::Project"))
        fail("Project: Expected a JSON object with '$type' 'Project'.");

    const Value labels = object.member("labels");
    if (labels.isUndefined())
        fail("Project: No 'labels' entry found.");
    if (!labels.isArray())
        fail("Project: Expected 'labels' to be an array.");
    // Labels from files that predate their fill opacity and pen width get the project's
    // defaults for new labels, which the settings at the end of the file may still change.
    std::vector<std::pair<Label*, int>> incomplete;
    for (int i = 0; i < labels.size(); ++i) {
        auto label = std::make_unique<Label>();
        if (const int missing = readLabel(labels.at(i), label.get()))
            incomplete.emplace_back(label.get(), missing);
        project->addLabel(label.release());
    }

    // Labels without their own pen width or secondary opacity take the project's defaults. They
    // are given them before any item exists, so that tens of thousands of items need no restyle.
    const Value declaredSettings = object.member("settings");
    const QVariantMap declared = declaredSettings.isObject()
                                     ? declaredSettings.toQJsonValue().toObject().toVariantMap()
                                     : QVariantMap();
    const auto defaultOf = [&](const QString& key, double fallback) {
        return declared.contains(key) ? declared.value(key).toDouble() : project->setting(key, fallback).toDouble();
    };
    for (const auto& [label, missing] : incomplete) {
        if (missing & SecondaryOpacityMissing)
            label->setSecondaryOpacity(defaultOf("Label.secondary_opacity", 0.3));
        if (missing & PenWidthMissing)
            label->setPenWidth(defaultOf("Label.pen_width", 0.5));
    }

    const Value images = object.member("images");
    if (images.isUndefined())
        fail("Project: No 'images' entry found.");
    if (!images.isArray())
        fail("Project: Expected 'images' to be an array.");
    // Every z-layer of every image holds a scene from the start, so their count is bounded too.
    std::uint64_t layers = 0;
    for (int i = 0; i < images.size(); ++i) {
        const std::uint64_t own = std::uint64_t(images.at(i).member("scenes").size());
        layers += own;
        // An image too deep on its own is the image's fault; readImage says so.
        if (layers * kBytesPerLayer > KYVO::MemoryBudget::limit() &&
            own * kBytesPerLayer <= KYVO::MemoryBudget::limit())
            throw DeserializationError(
                QStringLiteral("Project: The images declare %1 z-layers or more, more than the memory of "
                               "this machine can hold.")
                    .arg(layers));
        // Owned here until the project takes it; a failed read or a refused duplicate dies here.
        std::unique_ptr<LabeledImage> image(new LabeledImage(project));
        readImage(images.at(i), image.get(), folder);
        if (project->addImage(image.get()))
            image.release();
    }

    const double current =
        requiredNumber(object, "currentImageIndex", "Project: No 'currentImageIndex' entry found.",
                       "Project: Expected 'currentImageIndex' to be a number.");
    int index = std::numeric_limits<int>::min();
    // An index that is no int is as out of range as any other; the project refuses it.
    jsonnumbers::toInt32(current, &index);
    project->setCurrentImageIndex(index);

    const Value settings = object.member("settings");
    if (!settings.isUndefined()) {
        if (!settings.isObject())
            fail("Project: Expected 'settings' to be an object.");
        const QVariantMap map = settings.toQJsonValue().toObject().toVariantMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            project->setSetting(it.key(), it.value());
    }
}

int ProjectReader::readLabel(const Value& value, Label* label) {
    if (!JsonValues::hasType(value, "pxm::Label"))
        fail("Label: Expected a JSON object with '$type' 'Label'.");
    const Value name = value.member("name");
    if (!name.isString())
        fail("Label: Expected 'name' to be a string.");
    const QColor color = JsonValues::toColor(value.member("color"));
    const double opacity = number(value, "opacity", "Label: Expected 'opacity' to be a number.");
    const double id = number(value, "id", "Label: Expected 'id' to be a number.");
    const double maskId = number(value, "maskId", "Label: Expected 'maskId' to be a number.");
    const Value secondary = value.member("secondaryOpacity");
    const Value penWidth = value.member("penWidth");
    if (!secondary.isUndefined() && !secondary.isNumber())
        fail("Label: Expected 'secondaryOpacity' to be a number.");
    if (!penWidth.isUndefined() && !penWidth.isNumber())
        fail("Label: Expected 'penWidth' to be a number.");

    label->setName(name.toString());
    // The colour's alpha lands in the primary opacity; the stored opacity then overrides it.
    label->setColor(color);
    label->setPrimaryOpacity(opacity);
    label->setId(wholeNumber(id, "Label: Expected 'id' to be a whole number within 32 bits."));
    label->setMaskId(wholeNumber(maskId, "Label: Expected 'maskId' to be a whole number within 32 bits."));
    if (secondary.isNumber())
        label->setSecondaryOpacity(secondary.toNumber());
    if (penWidth.isNumber())
        label->setPenWidth(penWidth.toNumber());
    return (secondary.isNumber() ? 0 : SecondaryOpacityMissing) | (penWidth.isNumber() ? 0 : PenWidthMissing);
}

void ProjectReader::readImage(const Value& value, LabeledImage* image, const QString& folder) {
    if (!JsonValues::hasType(value, "pxm::LabeledImage"))
        fail("Image: Expected a JSON object with '$type' 'LabeledImage'.");
    const double width = requiredNumber(value, "width", "Image: No 'width' entry found.",
                                        "Image: Expected 'width' to be a number.");
    const double height = requiredNumber(value, "height", "Image: No 'height' entry found.",
                                         "Image: Expected 'height' to be a number.");
    const double depth = requiredNumber(value, "depth", "Image: No 'depth' entry found.",
                                        "Image: Expected 'depth' to be a number.");
    const double channels = requiredNumber(value, "colorChannels", "Image: No 'colorChannels' entry found.",
                                           "Image: Expected 'colorChannels' to be a number.");

    const Value imagePath = value.member("imagePath");
    if (imagePath.isUndefined())
        fail("Image: No 'imagePath' entry found.");
    if (!imagePath.isString())
        fail("Image: Expected 'imagePath' to be a string.");
    const Value maskPath = value.member("maskPath");
    if (!maskPath.isUndefined() && !maskPath.isString())
        fail("Image: Expected 'maskPath' to be a string.");

    const Value scenes = value.member("scenes");
    if (scenes.isUndefined())
        fail("Image: No 'scenes' entry found.");
    if (!scenes.isArray())
        fail("Image: Expected 'scenes' to be an array.");
    // Compared as numbers, so a negative, fractional or huge depth is a mismatch too; the
    // scenes created below are then bounded by an array that really is in memory.
    if (double(scenes.size()) != depth)
        fail("Image: The size of 'scenes' does not match the image's' depth.");

    const uint32_t w = imageSize(width, "Image: Expected 'width' to be a whole number from 0 to 4294967295.");
    const uint32_t h =
        imageSize(height, "Image: Expected 'height' to be a whole number from 0 to 4294967295.");
    const uint32_t c =
        imageSize(channels, "Image: Expected 'colorChannels' to be a whole number from 0 to 4294967295.");
    checkImageFits(w, h, uint32_t(scenes.size()), c);
    image->setWidth(w);
    image->setHeight(h);
    image->setDepth(uint32_t(scenes.size()));
    image->setColorChannels(c);
    image->setImagePath(resolvedPath(imagePath.toString(), folder));
    if (maskPath.isString())
        image->setMaskPath(resolvedPath(maskPath.toString(), folder));

    image->createScenes();
    for (int z = 0; z < scenes.size() && z < image->scenes().size(); ++z)
        readScene(scenes.at(z), image->scene(z), z);
}

void ProjectReader::readScene(const Value& value, Scene* scene, int zLayer) {
    if (!JsonValues::hasType(value, "pxm::Scene"))
        fail("Scene: Expected a JSON object with '$type' 'Scene'.");
    const double z = requiredNumber(value, "zLayer", "Scene: No 'zLayer' entry found.",
                                    "Scene: Expected 'zLayer' to be a number.");
    if (z != double(zLayer))
        fail("Scene: Expected another 'zLayer' at this point.");
    const Value items = value.member("labelItems");
    if (items.isUndefined())
        fail("Scene: No 'labelItems' entry found.");
    if (!items.isArray())
        fail("Scene: Expected 'labelItems' to be an array.");
    // Items are read in file order, so the first bad one is the one reported. The file
    // lists them topmost first; added bottom first they stack as they did when saved, and
    // the full mask, where the lowest of overlapping shapes wins, stays the same.
    std::vector<std::unique_ptr<QGraphicsItem>> read;
    read.reserve(std::size_t(items.size()));
    for (int i = 0; i < items.size(); ++i)
        read.push_back(readItem(items.at(i)));
    for (auto it = read.rbegin(); it != read.rend(); ++it)
        // The scene styles the item from its label and creates a label for an unknown id.
        scene->addLabelItem(it->release());
}

std::unique_ptr<QGraphicsItem> ProjectReader::readItem(const Value& value) {
    const Value type = value.member("$type");
    std::unique_ptr<QGraphicsItem> item;
    if (type.equals("QGraphicsEllipseItem")) {
        item = std::make_unique<QGraphicsEllipseItem>(JsonValues::toRect(value.member("rect")));
    } else if (type.equals("QGraphicsRectItem")) {
        item = std::make_unique<QGraphicsRectItem>(JsonValues::toRect(value.member("rect")));
    } else if (type.equals("QGraphicsLineItem")) {
        item = std::make_unique<QGraphicsLineItem>(JsonValues::toLine(value.member("line")));
    } else if (type.equals("QGraphicsPolygonItem")) {
        item = std::make_unique<QGraphicsPolygonItem>(JsonValues::toPolygon(value.member("polygon")));
    } else if (type.equals("QGraphicsPathItem")) {
        item = std::make_unique<QGraphicsPathItem>(JsonValues::toPath(value.member("path")));
    } else {
        fail("QGraphicsItem: Expected a JSON object with '$type' to be a known graphics item type.");
    }
    item->setTransform(JsonValues::toTransform(value.member("sceneTransform")));
    const double labelId = number(value, "labelId", "QGraphicsItem: Expected 'labelId' to be a number.");
    item->setData(
        LabelIdDataKey,
        wholeNumber(labelId, "QGraphicsItem: Expected 'labelId' to be a whole number within 32 bits."));
    return item;
}

} // namespace pxm
