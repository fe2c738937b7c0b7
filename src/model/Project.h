// SPDX-License-Identifier: MIT
#pragma once

#include <QDir>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTemporaryDir>
#include <QVariant>

class QUndoStack;

namespace KYVO {
class CValueVector;
}

namespace pxm {

class Label;
class LabeledImage;
class PPixmarker;
class Scene;

/// The document of one main window: the images being annotated, the labels, which image,
/// z-layer and label are current, the project's settings, its file path, the undo stack
/// every user edit goes through, and a private temporary directory.
///
/// The project owns its images and labels; a take operation hands ownership to the caller.
/// Misuse (an index out of range, an object not owned) is reported with one console line
/// and otherwise ignored.
class Project : public QObject {
    Q_OBJECT
public:
    explicit Project(QObject* parent = nullptr);
    ~Project() override;

    QString path() const { return m_path; }
    void setPath(QString path);
    QUndoStack* undoStack() const { return m_undoStack; }

    const QList<LabeledImage*>& images() const { return m_images; }
    const QList<Label*>& labels() const { return m_labels; }
    LabeledImage* currentImage() const;
    int currentImageIndex() const { return m_currentImageIndex; }
    int currentZLayer() const { return m_currentZLayer; }
    /// The current image's scene at the current z-layer, or null.
    Scene* currentScene() const;
    Label* currentLabel() const;
    int currentLabelIndex() const { return m_currentLabelIndex; }
    int indexOfImage(LabeledImage* image) const { return m_images.indexOf(image); }

    /// The first label with this id, or null.
    Label* labelById(int id) const;
    /// The first label with this name, or null.
    Label* labelByName(const QString& name) const;
    /// Every label with this mask id, in list order.
    QList<Label*> labelsByMaskId(int maskId) const;
    /// A new vector (caller owns) with one map per label, in list order.
    KYVO::CValueVector* labelsToValueVector() const;
    /// Adds a new default label ("Label N", next palette colour, default opacities) and returns it.
    Label* createLabel();

    QVariant setting(const QString& key, const QVariant& defaultValue = QVariant()) const;
    void setSetting(const QString& key, const QVariant& value);
    const QMap<QString, QVariant>& settings() const { return m_settings; }
    /// Copies every per-user registry setting that exists into the project's settings.
    void loadSettingsFromRegistry();

    QDir temporaryDirectory() const { return QDir(m_tempDir.path()); }
    PPixmarker* plugin() const { return m_plugin; }

    /// The 14 colours given to new labels, in order.
    static const QList<QColor>& newLabelPalette();

signals:
    void pathChanged(QString path);
    void cleared();
    void imageAdded(pxm::LabeledImage* image);
    void imageRemoved(pxm::LabeledImage* image);
    void currentImageChanged(pxm::LabeledImage* index);
    void currentSceneChanged(pxm::Scene* scene);
    void labelAdded(pxm::Label* label);
    void labelRemoved(pxm::Label* label);
    void currentLabelChanged(pxm::Label* label);
    void settingsChanged(QString key);

public slots:
    void clear();
    /// Appends the image. Refuses (false, with a console line) a second image with the same
    /// non-empty path; the refused image stays with the caller.
    bool addImage(pxm::LabeledImage* image);
    LabeledImage* takeImage(int index);
    LabeledImage* takeImage(pxm::LabeledImage* image);
    void setCurrentImageIndex(int index, bool force = false);
    void setCurrentZLayer(int z, bool force = false);
    Label* addLabel(pxm::Label* label);
    /// Puts a label at a position of the label list (clamped), as addLabel does at its end.
    Label* insertLabel(int index, pxm::Label* label);
    void addLabels(const KYVO::CValueVector* labels);
    Label* takeLabel(pxm::Label* label);
    void setCurrentLabel(pxm::Label* label);
    void setCurrentLabelIndex(int index);
    void setCurrentLabelIndex(int index, bool force);
    void setNodaraPlugin(pxm::PPixmarker* plugin);
    void reloadNodaraInput();

private slots:
    void on_image_imagePathChanged();

private:
    void indexImagePath(LabeledImage* image);
    void unindexImagePath(LabeledImage* image);

    QString m_path;
    QUndoStack* m_undoStack = nullptr;
    QMap<QString, QVariant> m_settings;
    QList<LabeledImage*> m_images;
    int m_currentImageIndex = -1;
    int m_currentZLayer = -1;
    QList<Label*> m_labels;
    int m_currentLabelIndex = -1;
    PPixmarker* m_plugin = nullptr;
    QTemporaryDir m_tempDir;

    // Duplicate-path checks stay O(1) per image: each image's path as it was indexed.
    QHash<LabeledImage*, QString> m_indexedPaths;
    QHash<QString, int> m_pathCounts;
};

/// Called by Project::reloadNodaraInput with the project's plugin. The plug-in layer
/// installs it; the model cannot depend on that layer.
using NodaraReloadHandler = void (*)(PPixmarker* plugin);
void setNodaraReloadHandler(NodaraReloadHandler handler);

} // namespace pxm
