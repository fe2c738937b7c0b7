// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/LabelItemRecord.h"

#include <QColor>
#include <QDateTime>
#include <QLineF>
#include <QMap>
#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QTransform>
#include <QVariant>
#include <functional>
#include <memory>
#include <vector>

class QGraphicsItem;

namespace KYVO {
class CImage;
}

namespace pxm {

class JsonTextWriter;
class Project;
class Scene;

/// A frozen copy of everything a recovery snapshot holds: the project as its file would
/// show it and the changed masks and erase overlays. It is taken on the GUI thread and then
/// written on another, while the user goes on working on the live project.
///
/// Label items are copied as plain values (Qt's geometry types share their data, so a copy
/// costs a reference count), and volumes are shared copies that nobody changes any more.
/// The text written is byte for byte what ProjectSerializer writes for the same project.
class RecoverySnapshot {
public:
    /// One changed volume of an image, written as "<file>" in the snapshot folder.
    struct Volume {
        int image = -1;       ///< index of the image in the project
        bool overlay = false; ///< the erase overlay rather than the mask
        std::shared_ptr<const KYVO::CImage> data;
        QString file;       ///< file name inside the snapshot folder
        bool reuse = false; ///< already written by an earlier snapshot
    };

    /// A label item as the project file holds it.
    using Item = LabelItemRecord;
    /// The label items of one scene in the order the file lists them, shared between the
    /// snapshots of a scene that did not change in between.
    using SceneItems = std::shared_ptr<const std::vector<Item>>;
    /// Finds the items of a scene, perhaps from an earlier capture.
    using SceneCapture = std::function<SceneItems(const pxm::Scene& scene)>;

    RecoverySnapshot();
    ~RecoverySnapshot();

    /// Replaces the held copy with the project's present state (no volumes), taking each
    /// scene's items from `items` when given, else from the scene.
    void capture(const Project& project, const SceneCapture& items = {});
    /// The label items of a scene as they are now.
    static SceneItems captureScene(const pxm::Scene& scene);
    void addVolume(Volume volume) { m_volumes.push_back(std::move(volume)); }
    const std::vector<Volume>& volumes() const { return m_volumes; }
    /// Lets go of the volumes once they are written.
    void releaseVolumes() { m_volumes.clear(); }

    /// The project file's path and when the copy was taken.
    QString projectPath() const { return m_projectPath; }
    QDateTime time() const { return m_time; }
    std::size_t itemCount() const { return m_itemCount; }

    /// The project document, as ProjectSerializer::write gives it.
    void writeProject(JsonTextWriter& out) const;
    /// Writes the snapshot into the folder: the volumes not yet there, the project as
    /// "project-<generation>.json.gz" and, last, the description that makes it complete.
    /// Each file is replaced atomically, so a folder always holds one complete snapshot.
    /// Throws SerializationError or KYVO::CException. Runs on any thread.
    void writeTo(const QString& folder, int generation) const;

private:
    struct Scene {
        int zLayer;
        SceneItems items;
    };
    struct Image {
        qint64 colorChannels, depth, height, width;
        QString imagePath, maskPath;
        std::size_t firstScene, endScene;
    };
    struct Label {
        QColor color;
        int id, maskId;
        QString name;
        double opacity, secondaryOpacity, penWidth;
    };
    static void captureItem(const QGraphicsItem& item, std::vector<Item>* items);

    QString m_projectPath;
    QDateTime m_time;
    int m_currentImageIndex = -1;
    bool m_nodara = false;
    QMap<QString, QVariant> m_settings;
    std::vector<Label> m_labels;
    std::vector<Image> m_images;
    std::vector<Scene> m_scenes;
    std::size_t m_itemCount = 0;
    std::vector<Volume> m_volumes;
};

} // namespace pxm
