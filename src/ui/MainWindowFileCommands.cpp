// SPDX-License-Identifier: MIT
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "persistence/SerializationError.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "plugin/PPixmarker.h"
#include "scene/LabeledImage.h"
#include "ui/Autosave.h"
#include "ui/MainWindow.h"
#include "ui/RecentProjects.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QUndoStack>
#include <algorithm>
#include <memory>

namespace pxm {

namespace {

/// Files up to this size are decoded once when added, to refuse broken ones at once.
constexpr qint64 kFullCheckBytes = qint64(64) << 20;

QString projectFilters() {
    return QStringList{MainWindow::tr("Pixmarker Project (*.json *.json.gz)"), MainWindow::tr("All files (*.*)")}
        .join(";;");
}

QString imageFilters() {
    return QStringList{MainWindow::tr("Image Files (*.jpg *.jpeg *.png *.bmp *.pgm *.pbm *.tiff *.tif *.okav *.ascii)"),
                       MainWindow::tr("All files (*.*)")}
        .join(";;");
}

} // namespace

QString MainWindow::dialogDirectory() const {
    if (m_project && !m_project->path().isEmpty())
        return QFileInfo(m_project->path()).absolutePath();
    return QString();
}

void MainWindow::newProject() {
    auto project = std::make_unique<Project>();
    project->createLabel();
    if (!m_project) {
        m_ownedProject = std::move(project);
        setProject(m_ownedProject.get());
        return;
    }
    auto* window = new MainWindow(nullptr, false);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setFileDialogs(m_fileDialogs);
    window->m_ownedProject = std::move(project);
    window->setProject(window->m_ownedProject.get());
    window->show();
}

void MainWindow::openProject() {
    const QString path = m_fileDialogs.openFileName(this, tr("Open project"), dialogDirectory(), projectFilters());
    if (!path.isEmpty())
        openProjectFile(path);
}

void MainWindow::openProjectWithAction() {
    if (auto* recent = qobject_cast<QAction*>(sender()))
        openProjectFile(recent->text());
}

MainWindow* MainWindow::openProjectFile(const QString& path) {
    auto project = std::make_unique<Project>();
    showLoadingIndicator();
    QString failure;
    try {
        ProjectReader::read(path, project.get());
    } catch (const KYVO::CException& e) {
        failure = QString::fromStdString(e.FormattedWhat());
    } catch (const std::exception& e) {
        failure = QString::fromLocal8Bit(e.what());
    }
    hideLoadingIndicator();
    if (!failure.isEmpty()) {
        qWarning().noquote() << failure;
        QMessageBox::warning(this, tr("File not readable."), tr("The file '%1' could not be parsed.").arg(path));
        return nullptr;
    }
    // Saving goes back to where the project came from, wherever the program runs later.
    project->setPath(QFileInfo(path).absoluteFilePath());
    project->undoStack()->setClean();

    MainWindow* window = this;
    if (m_project) {
        window = new MainWindow(nullptr, false);
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->setFileDialogs(m_fileDialogs);
    }
    window->m_ownedProject = std::move(project);
    window->setProject(window->m_ownedProject.get());
    if (window != this)
        window->show();
    addRecentProject(path);
    return window;
}

void MainWindow::saveProject() {
    if (!m_project)
        return;
    if (m_project->path().isEmpty() || m_project->plugin()) {
        saveProjectAs();
        return;
    }
    const QString path = m_project->path();
    if (!confirmOverwriteChangedFile(path))
        return;
    doSave(path);
    addRecentProject(path);
}

void MainWindow::saveProjectAs() {
    if (!m_project)
        return;
    if (PPixmarker* plugin = m_project->plugin()) {
        savePluginProject(plugin);
        return;
    }
    QString path = m_fileDialogs.saveFileName(this, tr("Save project"), dialogDirectory(), projectFilters());
    if (path.isEmpty())
        return;
    // The file must be recognisable as a project later, also when typed without an ending.
    if (!path.endsWith(".json") && !path.endsWith(".json.gz"))
        path += ".json";
    doSave(path);
    addRecentProject(path);
}

void MainWindow::savePluginProject(PPixmarker* plugin) {
    // A node's work belongs beside the node's image; where that is, the node's settings say.
    const QString imagePath = PPixmarker::resolveImagePath(plugin->inputImagePath());
    if (imagePath.isEmpty())
        KYVO_THROW("Image has no path. You can set it in the plugin settings.");
    const QString maskPath = QString::fromLocal8Bit(plugin->labelMaskPath().c_str());
    if (maskPath.isEmpty())
        KYVO_THROW("Label mask has no path. You can set it in the plugin settings.");
    if (LabeledImage* image = m_project->images().value(0)) {
        image->setImagePath(imagePath);
        image->setMaskPath(maskPath);
    }
    const QString path = PPixmarker::projectPathFor(imagePath);
    doSave(path);
    addRecentProject(path);
}

void MainWindow::doSave(QString path) {
    if (!m_project)
        return;
    const bool overwriteMask = m_project->setting("SerializationSettings.overwriteMask", false).toBool();
    QString failure;
    QString reason;
    showLoadingIndicator();
    try {
        ProjectSerializer::write(m_project, path, overwriteMask);
    } catch (const SerializationError& e) {
        failure = e.message();
        reason = e.reason();
    } catch (const KYVO::CException& e) {
        failure = QString::fromStdString(e.FormattedWhat());
    } catch (const std::exception& e) {
        failure = QString::fromLocal8Bit(e.what());
    }
    hideLoadingIndicator();
    if (!failure.isEmpty()) {
        qWarning().noquote() << failure;
        // The system's reason ("No space left on device") tells the user what to do about it.
        QString text = tr("The project could not be saved in '%1'.").arg(path);
        if (!reason.isEmpty())
            text += QStringLiteral("\n\n") + reason;
        QMessageBox::warning(this, tr("Serialization failed."), text);
    }
    // Adopted whether or not the file was written, as users of earlier versions know it.
    m_lastSavePath = path;
    m_project->setPath(path);
    m_project->undoStack()->setClean();
    if (failure.isEmpty())
        m_fileGuard.saved();
    // Only the file written counts as safe: after a failure the recovery snapshot goes on.
    if (Autosave* autosave = Autosave::of(this))
        failure.isEmpty() ? autosave->projectSaved() : autosave->saveFailed();
}

void MainWindow::loadImages() {
    if (!m_project)
        return;
    addImageFiles(m_fileDialogs.openFileNames(this, tr("Open images"), dialogDirectory(), imageFilters()));
}

void MainWindow::addImageFiles(QStringList paths) {
    if (!m_project || paths.isEmpty())
        return;
    std::sort(paths.begin(), paths.end());
    // A file that is there but cannot be decoded (random bytes, a truncated PNG) would only
    // fail later, when shown: it is refused now, with the reader's reason. Missing files are
    // added as before; the project asks about them when they are shown.
    QStringList refused;
    QList<LabeledImage*> images;
    QProgressDialog progress(tr("Checking images..."), tr("Cancel"), 0, int(paths.size()), this);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(500);
    for (int i = 0; i < paths.size(); ++i) {
        const QString& path = paths[i];
        progress.setValue(i);
        if (progress.wasCanceled())
            break;
        // Decoding a slide of gigabytes only to check it would stall the window: such files
        // are checked when first shown, where an unreadable one is reported the same way.
        const QFileInfo file(path);
        if (file.isFile() && file.size() <= kFullCheckBytes) {
            try {
                // Images read on demand are checked by their header alone.
                const std::string local = path.toLocal8Bit().toStdString();
                const KYVO::CSize size = KYVO::CImageIo2::ReadSize(local);
                if (uint64_t(size.x) * uint64_t(size.y) <= LabeledImage::kOnDemandPixels)
                    std::unique_ptr<KYVO::CImage> decoded(KYVO::CImageIo2::Load(local));
            } catch (const KYVO::CException& e) {
                refused << tr("%1: %2").arg(path, QString::fromLocal8Bit(e.what()));
                continue;
            }
        }
        auto* image = new LabeledImage(m_project);
        image->setImagePath(path);
        images << image;
    }
    progress.setValue(int(paths.size()));
    if (!refused.isEmpty())
        QMessageBox::warning(this, tr("Image cannot be read"),
                             tr("These files could not be read and were not added:") + QStringLiteral("\n\n") +
                                 refused.join(QLatin1Char('\n')));
    if (images.isEmpty())
        return;
    auto* command = new commands::AddImages(m_project, images);
    command->setText(images.size() == 1 ? tr("Add image") : tr("Add %1 images").arg(images.size()));
    m_project->undoStack()->push(command);
}

void MainWindow::addRecentProject(const QString& path) {
    RecentProjects::add(path);
    // Every window shows the one list.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<MainWindow*>(widget))
            window->updateRecentProjects();
    }
}

void MainWindow::updateRecentProjects() {
    if (!m_recentMenu)
        return;
    // The action that opened a project may still be running its signal: let it go later.
    for (QAction* old : m_recentActions) {
        m_recentMenu->removeAction(old);
        old->deleteLater();
    }
    m_recentActions.clear();
    for (const QString& path : RecentProjects::paths()) {
        auto* recent = new QAction(path, this);
        connect(recent, &QAction::triggered, this, &MainWindow::openProjectWithAction);
        m_recentMenu->addAction(recent);
        m_recentActions << recent;
    }
    m_recentMenu->setEnabled(!m_recentActions.isEmpty());
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

} // namespace pxm
