// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "platform/CRegistry.h"
#include "platform/CValueVector.h"
#include "plugin/PPixmarker.h"
#include "platform/CException.h"
#include "scene/LabeledImage.h"
#include "ui/RecentProjects.h"
#include "UiTestSupport.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QUndoCommand>
#include <QMessageBox>
#include <QPushButton>
#include <QUndoStack>
#include <cerrno>
#include <cstring>

using pxm::LabeledImage;
using pxm::MainWindow;
using pxm::Project;
using pxm::RecentProjects;

namespace {

class FileCommandsTest : public uitest::UiTest {
protected:
    void TearDown() override {
        deleteWindows();
        UiTest::TearDown();
    }
    static void storeRecent(const QStringList& paths) {
        auto* vector = new KYVO::CValueVector;
        for (const QString& path : paths)
            vector->Append(new KYVO::CValueString(path.toStdString()));
        KYVO::CRegistry::Obj().Set("main/RecentProjects", vector);
    }
    static QStringList menuTexts(const MainWindow& window) {
        QStringList texts;
        for (QAction* action : window.recentProjectsMenu()->actions())
            texts << action->text();
        return texts;
    }
    /// A small project file on disk, with one label and one image.
    QString writeProject(const QString& name) {
        Project project;
        project.createLabel();
        addImage(project, writeImage("in_" + name + ".pgm"));
        MainWindow writer(nullptr, false);
        writer.setProject(&project);
        writer.doSave(dir.path(name));
        return dir.path(name);
    }

    uitest::FakeFileDialogs files;
};

QStringList numbered(int count) {
    QStringList paths;
    for (int i = 0; i < count; ++i)
        paths << QString("/p/%1.json").arg(i);
    return paths;
}

} // namespace

TEST_F(FileCommandsTest, RecentListKeepsTwentyOneEntriesWithoutDuplicates) {
    // A first entry creates the list.
    EXPECT_FALSE(KYVO::CRegistry::Obj().Has("main/RecentProjects"));
    RecentProjects::add(QString());
    EXPECT_FALSE(KYVO::CRegistry::Obj().Has("main/RecentProjects")) << "an empty path is not stored";
    RecentProjects::add("/p/first.json");
    EXPECT_EQ(RecentProjects::paths(), QStringList{"/p/first.json"});

    // With 21 stored, a 22nd keeps itself and the first 20 of the old list.
    storeRecent(numbered(21));
    RecentProjects::add("/p/new.json");
    QStringList expected = QStringList{"/p/new.json"} + numbered(20);
    EXPECT_EQ(RecentProjects::paths(), expected);

    // Adding one already listed moves it to the top; the comparison is exact.
    RecentProjects::add("/p/5.json");
    expected = QStringList{"/p/5.json", "/p/new.json"} + numbered(19);
    expected.removeAll("/p/5.json");
    expected.prepend("/p/5.json");
    expected.removeDuplicates();
    EXPECT_EQ(RecentProjects::paths(), expected);
    EXPECT_EQ(RecentProjects::paths().count("/p/5.json"), 1);
    RecentProjects::add("/P/5.json");
    EXPECT_EQ(RecentProjects::paths().mid(0, 2), (QStringList{"/P/5.json", "/p/5.json"}));
    EXPECT_LE(RecentProjects::paths().size(), 21);

    // The window's submenu shows the list, and opening a project twice keeps it once, on top.
    MainWindow window(nullptr, false);
    EXPECT_EQ(menuTexts(window), RecentProjects::paths());
    const QString path = writeProject("twice.json");
    window.openProjectFile(path);
    ASSERT_NE(window.project(), nullptr);
    window.openProjectFile(path);
    EXPECT_EQ(RecentProjects::paths().first(), path);
    EXPECT_EQ(RecentProjects::paths().count(path), 1);
    EXPECT_EQ(menuTexts(window), RecentProjects::paths());
}

TEST_F(FileCommandsTest, OpenRecentOpensTheProjectOfTheEntry) {
    const QString path = writeProject("recent.json");
    storeRecent({path});
    MainWindow window(nullptr, false);
    ASSERT_EQ(window.recentProjectActions().size(), 1);
    window.recentProjectActions().first()->trigger();
    ASSERT_NE(window.project(), nullptr) << "a window without project takes it";
    EXPECT_EQ(window.project()->path(), path);
    EXPECT_EQ(window.project()->images().size(), 1);
    EXPECT_EQ(window.windowTitle(), "Pixmarker - " + path);
}

TEST_F(FileCommandsTest, OpenShowsUnreadableFilesAndUsesANewWindowWhenTheProjectIsTaken) {
    Project mine;
    MainWindow window(nullptr, false);
    window.setFileDialogs(files.seam());
    window.setProject(&mine);

    files.singleAnswers << QString(); // cancelled
    window.openProject();
    EXPECT_EQ(window.project(), &mine);

    pxmtest::writeFile(dir.path("broken.json"), "{ nope");
    files.singleAnswers << dir.path("broken.json");
    {
        uitest::ModalAnswerer modals;
        window.openProject();
        ASSERT_EQ(modals.seen().size(), 1u);
        EXPECT_EQ(modals.seen()[0].title, "File not readable.");
        EXPECT_EQ(modals.seen()[0].text, "The file '" + dir.path("broken.json") + "' could not be parsed.");
    }
    EXPECT_EQ(window.project(), &mine);
    EXPECT_FALSE(RecentProjects::paths().contains(dir.path("broken.json")));

    const QString path = writeProject("good.json");
    files.singleAnswers << path;
    window.openProject();
    EXPECT_EQ(window.project(), &mine) << "the window keeps its project";
    MainWindow* opened = otherWindow(&window);
    ASSERT_NE(opened, nullptr);
    ASSERT_NE(opened->project(), nullptr);
    EXPECT_EQ(opened->project()->path(), path);
    EXPECT_EQ(RecentProjects::paths().first(), path);
    EXPECT_EQ(files.calls.back().filter, "Pixmarker Project (*.json *.json.gz);;All files (*.*)");
}

TEST_F(FileCommandsTest, SaveAsAddsTheEndingAndSaveWritesWhereTheProjectCameFrom) {
    Project project, fresh;
    project.createLabel();
    MainWindow window(nullptr, false);
    window.setFileDialogs(files.seam());
    window.setProject(&project);

    struct Case {
        QString chosen;
        QString written;
    };
    const std::vector<Case> cases = {{"plain", "plain.json"}, {"kept.json", "kept.json"},
                                     {"packed.json.gz", "packed.json.gz"}, {"name.txt", "name.txt.json"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.chosen.toStdString());
        project.undoStack()->push(new QUndoCommand("edit"));
        files.singleAnswers << dir.path(c.chosen);
        window.saveProjectAs();
        EXPECT_TRUE(QFile::exists(dir.path(c.written)));
        EXPECT_EQ(project.path(), dir.path(c.written));
        EXPECT_EQ(window.windowTitle(), "Pixmarker - " + dir.path(c.written));
        EXPECT_EQ(RecentProjects::paths().first(), dir.path(c.written));
    }

    // A project with a path is saved there without asking; one without asks first.
    const std::size_t asked = files.calls.size();
    QFile::remove(dir.path("name.txt.json"));
    window.saveProject();
    EXPECT_EQ(files.calls.size(), asked);
    EXPECT_TRUE(QFile::exists(dir.path("name.txt.json")));
    window.setProject(&fresh);
    window.saveProject();
    ASSERT_EQ(files.calls.size(), asked + 1);
    EXPECT_EQ(files.calls.back().title, "Save project");
    EXPECT_EQ(files.calls.back().kind, "save");

    // What was saved reads back.
    Project back;
    pxm::ProjectReader::read(dir.path("packed.json.gz"), &back);
    EXPECT_EQ(back.labels().size(), 1);
}

TEST_F(FileCommandsTest, SavingOverAFileChangedElsewhereAsksFirst) {
    const QString path = writeProject("shared.json");
    MainWindow first(nullptr, false), second(nullptr, false);
    first.setFileDialogs(files.seam());
    ASSERT_EQ(first.openProjectFile(path), &first);
    EXPECT_EQ(first.findChild<QMessageBox*>("projectOpenElsewhereBox"), nullptr);
    // The second window on the same file is told so, without being stopped.
    ASSERT_EQ(second.openProjectFile(path), &second);
    auto* told = second.findChild<QMessageBox*>("projectOpenElsewhereBox");
    ASSERT_NE(told, nullptr);
    told->close();

    // The second saves first; the first then asks before dropping that work.
    second.project()->createLabel();
    second.saveProject();
    const QByteArray secondsWork = pxmtest::readFile(path);
    first.project()->undoStack()->push(new QUndoCommand("edit"));
    auto click = [](QMessageBox::StandardButton standard, const QString& text) {
        return [standard, text](QWidget* widget) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            ASSERT_NE(box, nullptr);
            for (QAbstractButton* button : box->buttons())
                if ((standard != QMessageBox::NoButton && box->standardButton(button) == standard) ||
                    button->text() == text) {
                    button->click();
                    return;
                }
            box->reject();
        };
    };
    {
        uitest::ModalAnswerer modals;
        modals.then(click(QMessageBox::Cancel, QString()));
        first.saveProject();
        ASSERT_EQ(modals.seen().size(), 1u);
        EXPECT_EQ(modals.seen()[0].title, "Project changed on disk");
        EXPECT_EQ(pxmtest::readFile(path), secondsWork);
    }
    {
        // Save As writes elsewhere and leaves the other's file alone.
        uitest::ModalAnswerer modals;
        modals.then(click(QMessageBox::NoButton, "Save As..."));
        files.singleAnswers << dir.path("mine.json");
        first.saveProject();
        EXPECT_TRUE(QFile::exists(dir.path("mine.json")));
        EXPECT_EQ(pxmtest::readFile(path), secondsWork);
    }
    // A file changed by another program asks too; Overwrite writes.
    first.project()->setPath(path);
    ASSERT_TRUE(pxmtest::writeFile(path, "{}"));
    {
        uitest::ModalAnswerer modals;
        modals.then(click(QMessageBox::NoButton, "Overwrite"));
        first.saveProject();
        EXPECT_EQ(modals.seen().size(), 1u);
        EXPECT_NE(pxmtest::readFile(path), QByteArray("{}"));
    }
    // Saved here, the file is this window's again: no question.
    uitest::ModalAnswerer none;
    first.saveProject();
    EXPECT_TRUE(none.seen().empty());
}

TEST_F(FileCommandsTest, FailedSaveShowsTheBoxAndStillClearsTheMark) {
    Project project;
    MainWindow window(nullptr, false);
    window.setProject(&project);
    project.setPath(dir.path("before.json"));
    project.undoStack()->push(new QUndoCommand("edit"));
    EXPECT_EQ(window.windowTitle(), "Pixmarker - " + dir.path("before.json") + "*");

    const QString unwritable = dir.path("missing/dir/p.json");
    uitest::ModalAnswerer modals;
    window.doSave(unwritable);
    ASSERT_EQ(modals.seen().size(), 1u);
    EXPECT_EQ(modals.seen()[0].title, "Serialization failed.");
    // With the system's reason.
    EXPECT_EQ(modals.seen()[0].text, "The project could not be saved in '" + unwritable + "'.\n\n" +
                                         QString::fromLocal8Bit(std::strerror(ENOENT)));
    EXPECT_EQ(project.path(), unwritable);
    EXPECT_TRUE(project.undoStack()->isClean());
    EXPECT_EQ(window.windowTitle(), "Pixmarker - " + unwritable);
    EXPECT_FALSE(QFile::exists(unwritable));
}

TEST_F(FileCommandsTest, LoadImagesAddsSortedImagesAsOneUndoStep) {
    Project project;
    MainWindow window(nullptr, false);
    window.setFileDialogs(files.seam());
    window.setProject(&project);
    const QString b = writeImage("b.pgm"), a = writeImage("a.pgm"), upper = writeImage("C.pgm");
    files.manyAnswers.push_back({b, a, upper});
    window.loadImages();
    ASSERT_EQ(project.images().size(), 3);
    // Case-sensitive order: upper case first.
    EXPECT_EQ(project.images()[0]->imagePath(), upper);
    EXPECT_EQ(project.images()[1]->imagePath(), a);
    EXPECT_EQ(project.images()[2]->imagePath(), b);
    EXPECT_EQ(project.undoStack()->count(), 1);
    EXPECT_EQ(window.windowTitle(), "Pixmarker - Unsaved");
    EXPECT_EQ(files.calls.back().title, "Open images");
    EXPECT_EQ(files.calls.back().filter,
              "Image Files (*.jpg *.jpeg *.png *.bmp *.pgm *.pbm *.tiff *.tif *.okav *.ascii);;All files (*.*)");

    project.undoStack()->undo();
    EXPECT_TRUE(project.images().isEmpty());
    project.undoStack()->redo();
    EXPECT_EQ(project.images().size(), 3);

    // Cancelling adds nothing.
    window.loadImages();
    EXPECT_EQ(project.undoStack()->count(), 1);

    // Files that are there but do not decode are refused with the reader's reason; a missing
    // file is added, to be asked about when shown.
    const QString noise = dir.path("noise.png"), cut = dir.path("cut.pgm"), gone = dir.path("gone.pgm");
    ASSERT_TRUE(pxmtest::writeFile(noise, QByteArray("\x13\x77 not an image at all")));
    ASSERT_TRUE(pxmtest::writeFile(cut, pxmtest::readFile(writeImage("whole.pgm", 40, 40)).left(30)));
    files.manyAnswers.push_back({noise, cut, gone});
    uitest::ModalAnswerer modals;
    window.loadImages();
    ASSERT_EQ(modals.seen().size(), 1u);
    EXPECT_EQ(modals.seen()[0].title, "Image cannot be read");
    EXPECT_TRUE(modals.seen()[0].text.contains(noise + ": ")) << modals.seen()[0].text.toStdString();
    EXPECT_TRUE(modals.seen()[0].text.contains(cut + ": "));
    ASSERT_EQ(project.images().size(), 4);
    EXPECT_EQ(project.images()[3]->imagePath(), gone);
}

// A plug-in's project is always saved beside the node's image, with the node's mask path;
// a node without those paths refuses with the message the user sees.
TEST_F(FileCommandsTest, PluginProjectsSaveWhereTheNodeSays) {
    Project project;
    project.createLabel();
    LabeledImage* image = addImage(project, writeImage("node.pgm"));
    MainWindow window(nullptr, false);
    window.setFileDialogs(files.seam());
    window.setProject(&project);
    pxm::PPixmarker node;
    project.setNodaraPlugin(&node);

    struct Case {
        const char* imagePath;
        const char* maskPath;
        const char* message;
    };
    const std::vector<Case> refusals = {
        {"", "m.pgm", "Image has no path. You can set it in the plugin settings."},
        {"x.pgm", "", "Label mask has no path. You can set it in the plugin settings."},
    };
    for (const Case& c : refusals) {
        KYVO::CValueMap parameters;
        parameters.SetString("input_image_path", c.imagePath);
        parameters.SetString("label_mask_path", c.maskPath);
        node.Init(&parameters);
        try {
            window.saveProject();
            ADD_FAILURE() << "no exception for " << c.message;
        } catch (const KYVO::CException& e) {
            EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
        }
    }

    KYVO::CValueMap parameters;
    parameters.SetString("input_image_path", dir.path("node.pgm").toStdString());
    parameters.SetString("label_mask_path", dir.path("node_mask.pgm").toStdString());
    node.Init(&parameters);
    window.saveProject();
    const QString expected = pxm::PPixmarker::projectPathFor(dir.path("node.pgm"));
    EXPECT_TRUE(QFile::exists(expected));
    EXPECT_EQ(project.path(), expected);
    EXPECT_EQ(image->maskPath(), dir.path("node_mask.pgm"));
    EXPECT_TRUE(files.calls.empty()) << "no file dialog in plug-in use";
    project.setNodaraPlugin(nullptr);
}
