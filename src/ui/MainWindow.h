// SPDX-License-Identifier: MIT
#pragma once

#include "model/Project.h"
#include "scene/Scene.h"

#include <QMainWindow>
#include <QMetaObject>
#include <QPointer>

class QAction;

namespace Pictor {
class ZoomToolBar;
} // namespace Pictor

namespace pxm {

class LabeledImage;
class View;

/// The window of one project. It shows the current scene of the project's current image in
/// a zoomable view and saves the per-user configuration registry whenever it is closed.
///
/// The window does not own its project; whoever created both destroys the window first.
/// While a scene is shown it is pinned (its image kept in memory); it is released when
/// another scene replaces it, when the window closes and when the window is destroyed.
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
    Pictor::ZoomToolBar* zoomToolBar() const { return m_zoomToolBar; }
    /// The scene on screen, or null.
    Scene* shownScene() const;
    QAction* settingsAction() const { return m_settingsAction; }

signals:
    void projectChanged(pxm::Project* project);
    void closed();

public slots:
    /// Shows `project` (not taken over). Null is refused with a warning.
    void setProject(pxm::Project* project);
    void showSettingsDialog();
    void updateWindowTitle();
    void on_project_currentImageChanged(pxm::LabeledImage* image);

protected:
    /// Saves the registry, closes, then emits closed().
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private slots:
    void on_project_destroyed();
    void on_project_currentSceneChanged();

private:
    void showCurrentScene();

    bool m_standalone = false;
    QPointer<Project> m_project;
    QList<QMetaObject::Connection> m_projectConnections;
    View* m_view = nullptr;
    Pictor::ZoomToolBar* m_zoomToolBar = nullptr;
    QAction* m_settingsAction = nullptr;
};

} // namespace pxm
