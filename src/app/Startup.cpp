// SPDX-License-Identifier: MIT
#include "app/Startup.h"

#include "app/CCatchingApplication.h"
#include "app/CommandLine.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/RecoveryFolder.h"
#include "platform/CException.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"
#include "ui/Autosave.h"
#include "ui/MainWindow.h"
#include "ui/RecoveryDialog.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QMessageBox>
#include <iostream>
#include <memory>
#include <vector>

namespace pxm {

namespace {

std::shared_ptr<QCommandLineParser> makeParser() {
    auto parser = std::make_shared<QCommandLineParser>();
    parser->setApplicationDescription(QObject::tr("Annotate images and mark pixels."));
    parser->addHelpOption();
    parser->addVersionOption();
    parser->addPositionalArgument("project", QObject::tr("A Pixmarker project (*.pixmk file)."));
    // Declared so that it is accepted and listed; images come from the positional arguments.
    parser->addOption(QCommandLineOption(QStringList{"i", "images"},
                                         QObject::tr("Images added to the new project."), "images"));
    parser->addOption(QCommandLineOption(
        "recover-all",
        QObject::tr("Recovers the work of every earlier run that ended without saving, without asking.")));
    return parser;
}

/// A new project with its first label and one image per path; paths the project refuses
/// (a second copy of the same file) are dropped.
std::unique_ptr<Project> newProjectFromImages(const QStringList& imagePaths) {
    auto project = std::make_unique<Project>();
    project->createLabel();
    for (const QString& path : imagePaths) {
        auto image = std::make_unique<LabeledImage>(project.get());
        image->setImagePath(QFileInfo(path).absoluteFilePath());
        if (project->addImage(image.get()))
            image.release(); // the project owns it now
    }
    return project;
}

int run(int argc, char** argv) {
    VanduInit(-1);
    CCatchingApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(QString::number(1));
    QCoreApplication::setApplicationName(QString("Lumarka").toLower());
    // Desktops pair the windows with the installed desktop entry by this name.
    QGuiApplication::setDesktopFileName(QStringLiteral("pixmarker"));
    QGuiApplication::setApplicationDisplayName("Lumarka");

    // Declared before the windows so that the windows, which show them, go first.
    std::vector<std::unique_ptr<Project>> projects;
    MainWindow firstWindow(nullptr, true);

    const std::shared_ptr<QCommandLineParser> parser = makeParser();
    parser->process(app);
    const CommandLineFiles files = sortArguments(parser->positionalArguments());

    std::vector<std::unique_ptr<MainWindow>> projectWindows;
    for (int i = 0; i < files.projects.size(); ++i)
        projectWindows.push_back(std::make_unique<MainWindow>(nullptr, false));
    for (int i = 0; i < files.projects.size(); ++i) {
        // A project that cannot be read ends the program before any window is shown.
        projects.push_back(std::make_unique<Project>());
        ProjectReader::read(files.projects[i], projects.back().get());
        // "&Save" writes back to the file the project came from.
        projects.back()->setPath(QFileInfo(files.projects[i]).absoluteFilePath());
        projectWindows[size_t(i)]->setProject(projects.back().get());
    }
    for (const auto& window : projectWindows)
        window->show();

    if (files.opensNewProject()) {
        projects.push_back(newProjectFromImages(files.images));
        firstWindow.setProject(projects.back().get());
        firstWindow.show();
    }

    // Work of earlier runs that ended without saving or discarding it.
    const QList<RecoveryFolder::Entry> orphans = RecoveryFolder::orphaned();
    QList<RecoveryFolder::Entry> recover = orphans;
    if (!orphans.isEmpty() && !parser->isSet("recover-all")) {
        RecoveryDialog dialog(orphans);
        dialog.exec();
        recover = dialog.chosen();
    }
    for (const RecoveryFolder::Entry& entry : recover) {
        auto project = std::make_unique<Project>();
        QList<int> restored;
        try {
            restored = RecoveryFolder::restore(entry, project.get());
        } catch (const std::exception& e) {
            // The snapshot stays for another try.
            std::cerr << "Recovering " << entry.folder.toStdString() << " failed: " << e.what() << std::endl;
            QMessageBox::warning(
                nullptr, QObject::tr("Recovery failed."),
                QObject::tr("The work saved in '%1' could not be recovered.").arg(entry.folder));
            continue;
        }
        projects.push_back(std::move(project));
        projectWindows.push_back(std::make_unique<MainWindow>(nullptr, false));
        MainWindow* window = projectWindows.back().get();
        window->setProject(projects.back().get());
        Autosave::of(window)->adopt(entry.folder, restored);
        window->show();
    }

    const int code = app.exec();
    VanduExit();
    projectWindows.clear();
    return code;
}

} // namespace

int runStandalone(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const KYVO::CException& e) {
        std::cerr << "ERROR: " << e.what() << std::endl;
        return 1;
    } catch (const std::exception& e) {
        std::cerr << "ERROR: " << e.what() << std::endl;
        return 2;
    } catch (...) {
        std::cerr << "ERROR: unhandled exception catched" << std::endl;
        return 3;
    }
}

} // namespace pxm
