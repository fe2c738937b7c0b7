// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/ProjectFileGuard.h"
#include "tools/ToolType.h"
#include "ui/FileDialogs.h"
#include "ui/MainWindowActions.h"

#include <QList>
#include <QMainWindow>
#include <QMetaObject>
#include <QPointer>
#include <QStringList>
#include <QVector>
#include <memory>

class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QProgressBar;
class QToolBar;

namespace Pictor {
class ZoomToolBar;
} // namespace Pictor

namespace pxm {

class BaseReader;
class ContrastDock;
class HelpWidget;
class ImageChooser;
class LabelListWidget;
class LabelSettingsWidget;
class LabeledImage;
class PPixmarker;
class Project;
class Scene;
class View;

/// The window of one project: the label panels, the image view and the image chooser, every
/// user action with its menus and tool bars, and a status bar with a loading indicator, a
/// progress bar and a line describing the shown image.
///
/// A project handed to setProject() is not taken over. Projects the window creates or opens
/// itself (when it had none) belong to the window; windows it opens for further projects
/// belong to themselves and are deleted when closed. The per-user registry is saved whenever
/// a window closes.
class MainWindow : public QMainWindow {
    Q_OBJECT
    Q_PROPERTY(pxm::Project* project READ project)
public:
    /// `standalone` is true for the program's own first window, which loads the registry;
    /// plug-in and further windows leave it as it is.
    MainWindow(QWidget* parent, bool standalone);
    ~MainWindow() override;

    Project* project() const { return m_project.data(); }
    bool isStandalone() const { return m_standalone; }
    View* view() const { return m_view; }
    ImageChooser* imageChooser() const { return m_imageChooser; }
    LabelListWidget* labelListWidget() const { return m_labelList; }
    LabelSettingsWidget* labelSettingsWidget() const { return m_labelSettings; }
    HelpWidget* helpWidget() const { return m_helpWidget; }
    Pictor::ZoomToolBar* zoomToolBar() const { return m_zoomToolBar; }
    ContrastDock* contrastDock() const { return m_contrastDock; }
    /// The scene on screen, or null.
    Scene* shownScene() const;

    QAction* action(MainAction id) const { return m_actions.value(int(id)); }
    QActionGroup* toolActionGroup() const { return m_toolGroup; }
    QMenu* recentProjectsMenu() const { return m_recentMenu; }
    QMenu* importMenu() const { return m_importMenu; }
    const QList<QAction*>& recentProjectActions() const { return m_recentActions; }
    QLabel* loadingIndicator() const { return m_loadingIndicator; }
    QProgressBar* progressBar() const { return m_progressBar; }
    QLabel* sizeLabel() const { return m_sizeLabel; }
    QString statusFormat() const { return m_statusFormat; }
    bool normalize() const { return m_normalize; }
    /// The path the project was last saved to from this window.
    QString lastSavePath() const { return m_lastSavePath; }

    /// The file choosers this window asks (Qt's dialogs unless replaced).
    const FileDialogs& fileDialogs() const { return m_fileDialogs; }
    void setFileDialogs(const FileDialogs& dialogs) { m_fileDialogs = dialogs; }

    /// Opens the project file in this window when it has no project, else in a new window
    /// (returned; it deletes itself when closed). Null, after telling the user, when the file
    /// cannot be read.
    MainWindow* openProjectFile(const QString& path);
    /// Adds one image per path, sorted, as one undo step.
    void addImageFiles(QStringList paths);

signals:
    void projectChanged(pxm::Project* project);
    void closed();

public slots:
    /// Shows `project` (not taken over). Null is refused with a warning.
    void setProject(pxm::Project* project);
    void saveProject();
    void saveProjectAs();
    void doSave(QString path);
    void openProject();
    void openProjectWithAction();
    void newProject();
    void updateRecentProjects();
    void showSettingsDialog();
    void loadImages();
    void exportMasks();
    void importMask();
    void importLabels();
    void importVOC();
    void importKARO();
    void importLabelMe();
    void importCOCO();
    void handleImport(pxm::BaseReader* reader, QStringList paths);
    void help();
    void about();
    void updateWindowTitle();
    void updateSizeStatus();
    /// Shows how far the overview levels of the current image are built (hidden at -1).
    void showOverviewProgress(int percent);
    void updateNormalize();
    void showLoadingIndicator();
    void hideLoadingIndicator();
    void reloadNodaraInput();
    void showReannotationDialog();
    void on_image_destroyed();
    void on_project_currentImageChanged(pxm::LabeledImage* image);
    void on_view_toolChanged(pxm::ToolType toolType);

    /// Flips the normalisation flag and applies it to the shown scene.
    void toggleNormalize();
    /// Shows the contrast panel when hidden, hides it when shown.
    void toggleContrastPanel();
    void convertShapesToRegion();
    void convertRegionToPolygons();
    void convertMaskToShapes();
    void fillBetweenSlices();
    void fillBetweenSlicesAllLabels();
    void copyToNextLayer();
    void copyToPreviousLayer();
    void showLabelStatistics();
    void undo();
    void redo();
    /// Asks what to do when the current image or its mask cannot be read: remove it, point
    /// it at another file (one undo step) or try again.
    void checkCurrentImageFiles();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private slots:
    void on_project_destroyed();
    void on_project_currentSceneChanged();
    void on_view_statusTipChanged(const QString& text);

private:
    void buildCentralLayout();
    void buildActions();
    void buildMenus();
    void buildToolBars();
    void buildStatusBar();
    void buildContrastDock();
    void showCurrentScene();
    void updateImageDependentActions();
    void addRecentProject(const QString& path);
    /// Loads what the current image still lacks; false when its image cannot be read.
    bool loadCurrentImage();
    /// Reads what the image lacks; true when its image is in memory afterwards.
    bool reloadCurrentImage(LabeledImage* image);
    bool resolveMissingImage(LabeledImage* image);
    void resolveMissingMask(LabeledImage* image);
    /// Asks about unsaved changes; false when the user cancels the close.
    bool confirmClose();
    /// Saves a plug-in's project beside the node's image; throws when the node lacks a path.
    void savePluginProject(PPixmarker* plugin);
    void runImport(BaseReader* reader, const QString& title, const QString& filter);
    QString dialogDirectory() const;
    /// Follows the project's file: its lock (telling the user when another window or program
    /// has the project open too) and how it looked when read or saved here.
    void followProjectFile();
    void startSliceFill(bool allLabels);
    void copyToLayer(int step);
    /// Before saving over the project's own file: asks when somebody else changed the file
    /// since. False when the user chose not to save there (Save As was offered instead).
    bool confirmOverwriteChangedFile(const QString& path);

    bool m_standalone = false;
    QPointer<Project> m_project;
    // A project this window made or opened for itself.
    std::unique_ptr<Project> m_ownedProject;
    QList<QMetaObject::Connection> m_projectConnections;
    QMetaObject::Connection m_imageConnection;
    // Follows the current image's mask, which decides whether reannotation is offered.
    QMetaObject::Connection m_maskConnection;
    QMetaObject::Connection m_overviewConnection;
    QPointer<LabeledImage> m_image;

    View* m_view = nullptr;
    ImageChooser* m_imageChooser = nullptr;
    LabelListWidget* m_labelList = nullptr;
    LabelSettingsWidget* m_labelSettings = nullptr;
    HelpWidget* m_helpWidget = nullptr;
    Pictor::ZoomToolBar* m_zoomToolBar = nullptr;
    ContrastDock* m_contrastDock = nullptr;

    QVector<QAction*> m_actions;
    QActionGroup* m_toolGroup = nullptr;
    QMenu* m_recentMenu = nullptr;
    QMenu* m_importMenu = nullptr;
    QList<QAction*> m_recentActions;

    QLabel* m_loadingIndicator = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QProgressBar* m_overviewBar = nullptr;
    QLabel* m_sizeLabel = nullptr;
    QString m_statusFormat;

    QString m_lastSavePath;
    bool m_normalize = false;
    bool m_checkingFiles = false;
    bool m_loadingImage = false;
    bool m_fileCheckQueued = false;
    bool m_focusGiven = false;
    FileDialogs m_fileDialogs;
    ProjectFileGuard m_fileGuard;
};

} // namespace pxm
