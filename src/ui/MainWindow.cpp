// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "display/ZoomToolBar.h"
#include "model/Project.h"
#include "persistence/SettingsDialog.h"
#include "platform/CException.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/View.h"

#include <QAction>
#include <QCloseEvent>
#include <QFile>
#include <QIcon>
#include <QMenuBar>
#include <QTimer>
#include <QUndoStack>
#include <iostream>
#include <stdexcept>

namespace pxm {

namespace {
const char* const kRegistryName = "Lumarka";
} // namespace

MainWindow::MainWindow(QWidget* parent, bool standalone) : QMainWindow(parent), m_standalone(standalone) {
    std::cout << "Nodara standalone" << int(standalone) << "\n" << std::flush;
    if (standalone) {
        // Only the program's own window loads the registry: a plug-in host has done it already.
        if (KYVO::CRegistry::Obj().FromStorage(kRegistryName))
            std::cout << "Configuration loading successful.\n" << std::flush;
        else
            std::cerr << "Configuration loading failed!\n" << std::flush;
    }

    m_view = new View(this);
    m_view->setObjectName("view");
    setCentralWidget(m_view);

    m_zoomToolBar = new Pictor::ZoomToolBar(this);
    m_zoomToolBar->setObjectName("zoomToolBar");
    m_zoomToolBar->setView(m_view);
    m_zoomToolBar->setAllowedAreas(Qt::TopToolBarArea);
    m_zoomToolBar->setEnabled(false);
    addToolBar(Qt::TopToolBarArea, m_zoomToolBar);

    m_settingsAction = menuBar()->addAction(tr("Settings"));
    connect(m_settingsAction, &QAction::triggered, this, &MainWindow::showSettingsDialog);

    resize(1200, 600);
    updateWindowTitle();
    // The icon is a resource of the full program; a build without it keeps Qt's default.
    const QString icon = ":/icons/pixmarker_icon.svg";
    if (QFile::exists(icon))
        setWindowIcon(QIcon(icon));
}

MainWindow::~MainWindow() {
    for (const QMetaObject::Connection& connection : m_projectConnections)
        disconnect(connection);
}

Scene* MainWindow::shownScene() const {
    return m_view->currentScene();
}

void MainWindow::setProject(Project* project) {
    if (!project) {
        qWarning("Setting the project to NULL is currently not supported.");
        return;
    }
    for (const QMetaObject::Connection& connection : m_projectConnections)
        disconnect(connection);
    m_projectConnections.clear();

    m_project = project;
    m_projectConnections = {
        connect(project, &QObject::destroyed, this, &MainWindow::on_project_destroyed),
        connect(project, &Project::currentImageChanged, this, &MainWindow::on_project_currentImageChanged),
        connect(project, &Project::currentSceneChanged, this, &MainWindow::on_project_currentSceneChanged),
        connect(project, &Project::pathChanged, this, &MainWindow::updateWindowTitle),
        connect(project->undoStack(), &QUndoStack::cleanChanged, this, &MainWindow::updateWindowTitle),
    };
    updateWindowTitle();
    // The view follows the project through this signal; it shows nothing while hidden.
    emit projectChanged(project);
    showCurrentScene();
}

void MainWindow::showSettingsDialog() {
    if (!m_project)
        return;
    SettingsDialog dialog(m_project, this);
    dialog.exec();
}

void MainWindow::updateWindowTitle() {
    QStringList parts = {tr("Pixmarker")};
    if (m_project) {
        const QString path = m_project->path();
        if (path.isEmpty())
            parts << tr("Unsaved");
        else
            parts << (m_project->undoStack()->isClean() ? path : path + "*");
    }
    setWindowTitle(parts.join(" - "));
}

void MainWindow::on_project_currentImageChanged(LabeledImage* /*image*/) {
    if (isVisible())
        showCurrentScene();
}

void MainWindow::on_project_currentSceneChanged() {
    if (isVisible())
        showCurrentScene();
}

void MainWindow::on_project_destroyed() {
    m_projectConnections.clear();
    updateWindowTitle();
    m_zoomToolBar->setEnabled(false);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (KYVO::CRegistry::Obj().ToStorage(kRegistryName))
        std::cout << "Configuration saving successful.\n" << std::flush;
    else
        std::cerr << "Configuration saving failed.\n" << std::flush;
    QMainWindow::closeEvent(event);
    // A closed window is kept for later; it holds no image in memory meanwhile.
    if (event->isAccepted()) {
        m_view->setScene(nullptr);
        m_zoomToolBar->setEnabled(false);
    }
    emit closed();
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    showCurrentScene();
}

void MainWindow::showCurrentScene() {
    Scene* scene = nullptr;
    if (m_project && isVisible()) {
        LabeledImage* image = m_project->currentImage();
        LabeledImage* loading = nullptr;
        if (image && image->scenes().isEmpty() && !image->imagePath().isEmpty()) {
            // An image named only by its path learns its size, and gets its scenes, by loading.
            // The pin lasts until the view holds its own, so the file is read once.
            image->incUsage();
            loading = image;
        }
        scene = m_project->currentScene();
        m_view->setScene(scene);
        if (loading)
            loading->decUsage();
    } else {
        // A hidden window keeps no image in memory.
        m_view->setScene(nullptr);
    }
    m_zoomToolBar->setEnabled(scene != nullptr);
}

} // namespace pxm
