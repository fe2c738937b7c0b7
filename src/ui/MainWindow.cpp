// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "display/ZoomToolBar.h"
#include "model/Project.h"
#include "persistence/SettingsDialog.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/ReannotationShortcuts.h"
#include "tools/View.h"
#include "tools/game/GameTool.h"
#include "ui/AboutDialog.h"
#include "ui/Autosave.h"
#include "ui/ContrastDock.h"
#include "ui/HelpWidget.h"
#include "ui/ImageChooser.h"
#include "ui/LabelListWidget.h"
#include "ui/LabelSettingsWidget.h"
#include "ui/ReannotationDialog.h"
#include "ui/ShortcutSettings.h"
#include "ui/ShortcutsPage.h"
#include "ui/WindowState.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMovie>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QTimer>
#include <QToolBar>
#include <QUndoStack>
#include <QUrl>
#include <QVBoxLayout>
#include <iostream>

namespace pxm {

namespace {

const char* const kRegistryName = "Lumarka";

QString translated(const char* text) { return QCoreApplication::translate("pxm::MainWindow", text); }

bool isProjectFile(const QString& path) {
    return path.endsWith(".json", Qt::CaseInsensitive) || path.endsWith(".json.gz", Qt::CaseInsensitive);
}

/// The local files of a drop, split into projects and images; anything else is ignored.
void sortDroppedFiles(const QMimeData* data, QStringList* projects, QStringList* images) {
    if (!data || !data->hasUrls())
        return;
    for (const QUrl& url : data->urls()) {
        if (!url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (isProjectFile(path))
            projects->append(path);
        else if (KYVO::CImageIo2::CanRead(path.toStdString()))
            images->append(path);
    }
}

} // namespace

MainWindow::MainWindow(QWidget* parent, bool standalone)
    : QMainWindow(parent), m_standalone(standalone), m_fileDialogs(FileDialogs::system()) {
    // The view reads the window's project property, which needs the type known to Qt.
    qRegisterMetaType<pxm::Project*>("pxm::Project*");
    m_helpWidget = new HelpWidget(this);
    std::cout << "Nodara standalone" << int(standalone) << "\n" << std::flush;
    if (standalone) {
        // Only the program's own window loads the registry: a plug-in host has done it already.
        if (KYVO::CRegistry::Obj().FromStorage(kRegistryName))
            std::cout << "Configuration loading successful.\n" << std::flush;
        else
            std::cerr << "Configuration loading failed!\n" << std::flush;
    }

    buildCentralLayout();
    buildActions();
    buildMenus();
    buildToolBars();
    buildStatusBar();
    buildContrastDock();
    setAcceptDrops(true);

    WindowState::restore(*this);
    updateWindowTitle();
    // Keeps unsaved work in the recovery folder until it is saved or discarded.
    new Autosave(this);
    setWindowIcon(QIcon(":/icons/pixmarker_icon.svg"));
}

MainWindow::~MainWindow() {
    for (const QMetaObject::Connection& connection : m_projectConnections)
        disconnect(connection);
    disconnect(m_imageConnection);
    if (m_ownedProject) {
        // Everything showing the project goes before it does.
        delete takeCentralWidget();
        m_view = nullptr;
        m_imageChooser = nullptr;
        m_labelList = nullptr;
        m_labelSettings = nullptr;
        m_ownedProject.reset();
    }
}

Scene* MainWindow::shownScene() const { return m_view ? m_view->currentScene() : nullptr; }

void MainWindow::buildCentralLayout() {
    auto* central = new QWidget(this);
    auto* layout = new QHBoxLayout(central);

    auto* left = new QWidget(central);
    left->setObjectName("labelPanel");
    left->setMaximumWidth(256);
    left->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    m_labelList = new LabelListWidget(left);
    m_labelList->setObjectName("labelListWidget");
    m_labelList->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    m_labelSettings = new LabelSettingsWidget(left);
    m_labelSettings->setObjectName("labelSettingsWidget");
    m_labelSettings->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    leftLayout->addWidget(m_labelList);
    leftLayout->addWidget(m_labelSettings);

    auto* right = new QWidget(central);
    right->setObjectName("imagePanel");
    right->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    m_view = new View(this);
    m_view->setObjectName("view");
    m_view->setParent(right);
    m_view->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_imageChooser = new ImageChooser(right);
    m_imageChooser->setObjectName("imageChooser");
    m_imageChooser->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    rightLayout->addWidget(m_view);
    rightLayout->addWidget(m_imageChooser);

    layout->addWidget(left);
    layout->addWidget(right);
    setCentralWidget(central);

    connect(m_view, &View::toolChanged, this, &MainWindow::on_view_toolChanged);
    // Reannotation rules act on key releases over the view; the hidden extra has its own keys.
    new ReannotationShortcuts(m_view);
    game::installGameShortcut(this, m_view);
    connect(m_view, &View::statusTipChanged, this, &MainWindow::on_view_statusTipChanged);
    connect(this, &MainWindow::projectChanged, m_labelList, &LabelListWidget::setProject);
    connect(this, &MainWindow::projectChanged, m_labelSettings, &LabelSettingsWidget::setProject);
    connect(this, &MainWindow::projectChanged, m_imageChooser, &ImageChooser::setProject);
}

void MainWindow::buildActions() {
    m_toolGroup = new QActionGroup(this);
    m_toolGroup->setExclusive(true);
    m_actions.resize(int(MainAction::Count));
    for (const MainActionRow& row : MainWindowActions::actions()) {
        auto* action = new QAction(translated(row.text), this);
        action->setObjectName(row.objectName);
        if (row.toolTip)
            action->setToolTip(translated(row.toolTip));
        if (row.icon)
            action->setIcon(QIcon(row.icon));
        action->setShortcuts(ShortcutSettings::shortcuts(row));
        action->setEnabled(!(row.flags & MainActionRow::Disabled));
        action->setVisible(!(row.flags & MainActionRow::Hidden));
        if (row.flags & MainActionRow::Tool) {
            action->setCheckable(true);
            m_toolGroup->addAction(action);
            const ToolType tool = row.tool;
            connect(action, &QAction::triggered, this, [this, tool] { m_view->setTool(tool); });
        } else if (row.trigger) {
            auto* trigger = row.trigger;
            connect(action, &QAction::triggered, this, [this, trigger] { trigger(*this); });
        }
        // Shortcuts work wherever the focus is in the window, also with the menus hidden.
        addAction(action);
        m_actions[int(row.id)] = action;
    }
    // Tools act on a shown image only.
    m_toolGroup->setEnabled(false);
}

void MainWindow::buildMenus() {
    for (const MainMenuLayout& row : MainWindowActions::menus()) {
        QMenu* menu = menuBar()->addMenu(translated(row.title));
        menu->setObjectName(row.objectName);
        for (const MainMenuEntry& entry : row.entries) {
            switch (entry.kind) {
            case MainMenuEntry::Action:
                menu->addAction(action(entry.action));
                break;
            case MainMenuEntry::Separator:
                menu->addSeparator();
                break;
            case MainMenuEntry::RecentSubmenu:
                m_recentMenu = menu->addMenu(tr("Recently Opened"));
                m_recentMenu->setObjectName("recentProjectsMenu");
                break;
            case MainMenuEntry::ImportSubmenu:
                m_importMenu = menu->addMenu(tr("Import"));
                m_importMenu->setObjectName("importMenu");
                for (MainAction id : MainWindowActions::importEntries())
                    m_importMenu->addAction(action(id));
                break;
            case MainMenuEntry::ZoomToolBar:
                break;
            }
        }
    }
    for (MainAction id : MainWindowActions::menuBarActions())
        menuBar()->addAction(action(id));
    updateRecentProjects();
}

void MainWindow::buildToolBars() {
    for (const MainMenuLayout& row : MainWindowActions::toolBars()) {
        QToolBar* bar = nullptr;
        if (!row.entries.isEmpty() && row.entries.first().kind == MainMenuEntry::ZoomToolBar) {
            m_zoomToolBar = new Pictor::ZoomToolBar(this);
            m_zoomToolBar->setView(m_view);
            m_zoomToolBar->setEnabled(false);
            bar = m_zoomToolBar;
        } else {
            bar = new QToolBar(translated(row.title), this);
        }
        // The tools and their settings get a row of their own: the window is too narrow for all.
        if (QByteArray(row.objectName) == "editToolBar")
            addToolBarBreak(Qt::TopToolBarArea);
        bar->setObjectName(row.objectName);
        bar->setWindowTitle(translated(row.title));
        bar->setAllowedAreas(Qt::TopToolBarArea);
        for (const MainMenuEntry& entry : row.entries) {
            if (entry.kind == MainMenuEntry::Action)
                bar->addAction(action(entry.action));
            else if (entry.kind == MainMenuEntry::Separator)
                bar->addSeparator();
        }
        addToolBar(Qt::TopToolBarArea, bar);
    }
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
    QUndoStack* stack = project->undoStack();
    m_projectConnections = {
        connect(project, &QObject::destroyed, this, &MainWindow::on_project_destroyed),
        connect(project, &Project::currentImageChanged, this, &MainWindow::on_project_currentImageChanged),
        connect(project, &Project::currentSceneChanged, this, &MainWindow::on_project_currentSceneChanged),
        connect(project, &Project::pathChanged, this, &MainWindow::updateWindowTitle),
        connect(project, &Project::pathChanged, this, &MainWindow::followProjectFile),
        connect(project, &Project::settingsChanged, this,
                [this](const QString& key) {
                    if (key == "StatusLine.format")
                        updateSizeStatus();
                }),
        connect(stack, &QUndoStack::cleanChanged, this, &MainWindow::updateWindowTitle),
        connect(stack, &QUndoStack::canUndoChanged, action(MainAction::Undo), &QAction::setEnabled),
        connect(stack, &QUndoStack::canRedoChanged, action(MainAction::Redo), &QAction::setEnabled),
    };
    action(MainAction::Undo)->setEnabled(stack->canUndo());
    action(MainAction::Redo)->setEnabled(stack->canRedo());
    updateWindowTitle();
    followProjectFile();
    // The view and the panels follow the project through this signal.
    emit projectChanged(project);
    on_project_currentImageChanged(project->currentImage());

    // A project of ours that was replaced has nothing showing it any more.
    if (m_ownedProject && m_ownedProject.get() != project)
        m_ownedProject.reset();
}

void MainWindow::on_project_currentImageChanged(LabeledImage* image) {
    disconnect(m_imageConnection);
    disconnect(m_maskConnection);
    disconnect(m_overviewConnection);
    m_image = image;
    showOverviewProgress(image ? image->overviewProgress() : -1);
    if (image) {
        m_overviewConnection =
            connect(image, &LabeledImage::overviewProgressChanged, this, &MainWindow::showOverviewProgress);
        m_imageConnection = connect(image, &QObject::destroyed, this, &MainWindow::on_image_destroyed);
        m_maskConnection =
            connect(image, &LabeledImage::maskChanged, this, &MainWindow::updateImageDependentActions);
    }
    showCurrentScene();
    updateSizeStatus();
    updateWindowTitle();
    updateImageDependentActions();
    if (image && isVisible() && !m_fileCheckQueued) {
        // Asked once the image change is complete: it may happen inside an undo command.
        m_fileCheckQueued = true;
        QTimer::singleShot(0, this, &MainWindow::checkCurrentImageFiles);
    }
}

void MainWindow::on_project_currentSceneChanged() {
    showCurrentScene();
    updateSizeStatus();
}

void MainWindow::on_image_destroyed() {
    m_image = nullptr;
    updateImageDependentActions();
    updateSizeStatus();
}

void MainWindow::on_project_destroyed() {
    m_projectConnections.clear();
    disconnect(m_imageConnection);
    m_image = nullptr;
    updateWindowTitle();
    updateImageDependentActions();
    action(MainAction::Undo)->setEnabled(false);
    action(MainAction::Redo)->setEnabled(false);
    m_sizeLabel->hide();
}

void MainWindow::updateImageDependentActions() {
    const bool hasImage = m_project && m_project->currentImage();
    m_toolGroup->setEnabled(hasImage);
    action(MainAction::ImportMask)->setEnabled(hasImage);
    // Reannotation steps through a mask's shapes: offered only where there is a mask, and a
    // greyed-out action says why.
    QAction* reannotation = action(MainAction::Reannotation);
    const bool hasMask = hasImage && ReannotationDialog::hasMask(m_project);
    reannotation->setEnabled(hasMask);
    reannotation->setToolTip(hasMask ? tr("Open window for reannotation.")
                                     : tr("Open window for reannotation. Needs a loaded label mask: the shown "
                                          "image has none (import one with Import > Mask)."));
    m_zoomToolBar->setEnabled(hasImage);
}

void MainWindow::on_view_toolChanged(ToolType toolType) {
    for (const MainActionRow& row : MainWindowActions::actions()) {
        if ((row.flags & MainActionRow::Tool) && row.tool == toolType) {
            action(row.id)->setChecked(true);
            return;
        }
    }
    // No tool, or one without a button: nothing stays checked.
    m_toolGroup->setExclusive(false);
    for (QAction* toolAction : m_toolGroup->actions())
        toolAction->setChecked(false);
    m_toolGroup->setExclusive(true);
}

void MainWindow::toggleNormalize() {
    m_normalize = !m_normalize;
    updateNormalize();
}

void MainWindow::updateNormalize() {
    Scene* scene = m_project ? m_project->currentScene() : nullptr;
    if (!scene || !scene->image() || !scene->image()->image())
        return;
    scene->SetNormalize(m_normalize);
    // Handing the scene its image again redraws it with the new setting.
    scene->updateImageItem();
}

void MainWindow::buildContrastDock() {
    m_contrastDock = new ContrastDock(m_view, this);
    addDockWidget(Qt::RightDockWidgetArea, m_contrastDock);
    // Hidden until asked for; the saved window state may show it again.
    m_contrastDock->hide();
    QAction* toggle = action(MainAction::ContrastPanel);
    toggle->setCheckable(true);
    connect(m_contrastDock->toggleViewAction(), &QAction::toggled, toggle, &QAction::setChecked);
    connect(this, &MainWindow::projectChanged, m_contrastDock, &ContrastDock::setProject);
}

void MainWindow::toggleContrastPanel() {
    m_contrastDock->setVisible(m_contrastDock->isHidden());
    action(MainAction::ContrastPanel)->setChecked(!m_contrastDock->isHidden());
}

void MainWindow::undo() {
    if (m_project)
        m_project->undoStack()->undo();
}

void MainWindow::redo() {
    if (m_project)
        m_project->undoStack()->redo();
}

void MainWindow::showSettingsDialog() {
    if (!m_project)
        return;
    SettingsDialog dialog(m_project, this);
    ShortcutsPage::addTo(dialog);
    dialog.exec();
}

void MainWindow::help() {
    m_helpWidget->show();
    m_helpWidget->raise();
}

void MainWindow::about() {
    AboutDialog dialog(this);
    dialog.exec();
}

void MainWindow::reloadNodaraInput() {
    if (m_project)
        m_project->reloadNodaraInput();
}

void MainWindow::showReannotationDialog() {
    if (m_project)
        ReannotationDialog::open(this, m_view, m_project);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!confirmClose()) {
        event->ignore();
        return;
    }
    WindowState::save(*this);
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

bool MainWindow::confirmClose() {
    // A plug-in's window closes to hand its results back; asking would stand in the way.
    if (!m_project || m_project->plugin() || m_project->undoStack()->isClean())
        return true;
    const QMessageBox::StandardButton answer = QMessageBox::question(
        this, tr("Unsaved changes"), tr("The project has unsaved changes. Save them before closing?"),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Cancel || answer == QMessageBox::NoButton)
        return false;
    if (answer == QMessageBox::Save) {
        saveProject();
        // Cancelling the save dialog leaves the changes unsaved: the window stays.
        return m_project && m_project->undoStack()->isClean();
    }
    return true;
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    showCurrentScene();
    // Space and Backspace step through the images from the first key press on; the view can
    // take the focus only once it shows a scene.
    if (!m_focusGiven && m_view->isEnabled()) {
        m_focusGiven = true;
        m_view->setFocus(Qt::OtherFocusReason);
    }
    updateSizeStatus();
    if (m_project && m_project->currentImage() && !m_fileCheckQueued) {
        m_fileCheckQueued = true;
        QTimer::singleShot(0, this, &MainWindow::checkCurrentImageFiles);
    }
}

void MainWindow::showCurrentScene() {
    if (m_project && isVisible()) {
        loadCurrentImage();
        m_view->setScene(m_project->currentScene());
    } else {
        // A hidden window keeps no image in memory.
        m_view->setScene(nullptr);
    }
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    QStringList projects, images;
    sortDroppedFiles(event->mimeData(), &projects, &images);
    if (!projects.isEmpty() || !images.isEmpty())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QStringList projects, images;
    sortDroppedFiles(event->mimeData(), &projects, &images);
    if (projects.isEmpty() && images.isEmpty())
        return;
    event->acceptProposedAction();
    for (const QString& path : projects)
        openProjectFile(path);
    if (!images.isEmpty()) {
        if (!m_project)
            newProject();
        addImageFiles(images);
    }
}

} // namespace pxm
