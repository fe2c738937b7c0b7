// SPDX-License-Identifier: MIT
// The window's file commands: recent list, open, save, adding images, and files gone missing.
#include "plugin/PPixmarker.h"
#include "ui/RecentProjects.h"
#include "ui/UiTestSupport.h"

#include <cerrno>
#include <cstring>

using namespace pxm;
using A = MainAction;

namespace {

/// A window with file choosers answering from `files`, on a project of its own.
class FileCommandsTest : public uitest::WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        window.setProject(&project);
    }
    static QStringList menuTexts(const MainWindow& window) {
        QStringList texts;
        for (QAction* action : window.recentProjectsMenu()->actions())
            texts << action->text();
        return texts;
    }
};

/// Drops local files on the window as a file manager does; true when the drop was taken.
bool drop(MainWindow& window, const QStringList& paths) {
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : paths)
        urls << QUrl::fromLocalFile(path);
    data.setUrls(urls);
    const QPoint centre = window.rect().center();
    QDragEnterEvent enter(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent dropped(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &dropped);
    return dropped.isAccepted();
}

QStringList numbered(int count) {
    QStringList paths;
    for (int i = 0; i < count; ++i)
        paths << QString("/p/%1.json").arg(i);
    return paths;
}

/// A project whose first image file is gone, in a window about to show it.
class MissingFileTest : public FileCommandsTest {
protected:
    void SetUp() override {
        FileCommandsTest::SetUp();
        project.createLabel();
        missing = addImage(project, dir.path("gone.pgm"));
        addImage(project, writeImage("other.pgm"));
    }
    /// Shows the window and waits for `dialogs` questions about missing files to be answered by `modals`.
    void showAndAnswer(std::size_t dialogs) {
        window.show();
        EXPECT_TRUE(QTest::qWaitFor([&] { return modals->seen().size() >= dialogs; }, 10000));
        QApplication::processEvents(); // whatever follows the last answer runs before the checks
    }
    /// The same, with a new answerer clicking these buttons in turn.
    void showAndClick(const QStringList& buttons) {
        modals = std::make_unique<uitest::ModalAnswerer>(buttons);
        showAndAnswer(buttons.size());
    }

    LabeledImage* missing = nullptr;
    std::unique_ptr<uitest::ModalAnswerer> modals = std::make_unique<uitest::ModalAnswerer>();
};

} // namespace

TEST_F(FileCommandsTest,
       RecentListKeepsTwentyOneEntriesWithoutDuplicatesAndOpenUsesANewWindowWhenTheProjectIsTaken) {
    RecentProjects::add(QString()); // an empty path is not stored
    EXPECT_FALSE(KYVO::CRegistry::Obj().Has("main/RecentProjects"));
    // With 21 listed, a 22nd keeps itself and the first 20 of the old list.
    for (int i = 20; i >= 0; --i)
        RecentProjects::add(numbered(21)[i]);
    ASSERT_EQ(RecentProjects::paths(), numbered(21));
    RecentProjects::add("/p/new.json");
    QStringList expected = QStringList{"/p/new.json"} + numbered(20);
    EXPECT_EQ(RecentProjects::paths(), expected);
    // Adding one already listed moves it to the top; the comparison is exact.
    RecentProjects::add("/p/5.json");
    expected = QStringList{"/p/5.json", "/p/new.json"} + numbered(19);
    expected.removeAt(expected.lastIndexOf("/p/5.json"));
    EXPECT_EQ(RecentProjects::paths(), expected);
    RecentProjects::add("/P/5.json");
    EXPECT_EQ(RecentProjects::paths().mid(0, 2), (QStringList{"/P/5.json", "/p/5.json"}));
    // The window's submenu shows the list.
    MainWindow fresh(nullptr, false);
    EXPECT_EQ(menuTexts(fresh), RecentProjects::paths());

    // "&Open": cancelled, or on an unreadable file, the window keeps its project and the list stays.
    files.singleAnswers << QString();
    find(A::Open)->trigger();
    EXPECT_EQ(window.project(), &project);
    pxmtest::writeFile(dir.path("broken.json"), "{ nope");
    files.singleAnswers << dir.path("broken.json");
    {
        uitest::ModalAnswerer modals;
        find(A::Open)->trigger();
        EXPECT_EQ(modals.titles(), QStringList{"File not readable."});
        EXPECT_EQ(modals.seen().at(0).text,
                  "The file '" + dir.path("broken.json") + "' could not be parsed.");
    }
    EXPECT_EQ(window.project(), &project);
    EXPECT_FALSE(RecentProjects::paths().contains(dir.path("broken.json")));
    EXPECT_EQ(files.calls.back().title + files.calls.back().filter,
              "Open projectPixmarker Project (*.json *.json.gz);;All files (*.*)");
    // A project opened in a window that has one comes in a new window; it is listed on top, in every window's
    // submenu.
    const QString path = writeProject("good.json");
    files.singleAnswers << path;
    find(A::Open)->trigger();
    EXPECT_EQ(std::tuple(window.project(), uitest::projectPathOf(otherWindow(&window)),
                         RecentProjects::paths().first()),
              std::tuple(&project, path, path));
    EXPECT_EQ(menuTexts(fresh), RecentProjects::paths());
    // An entry of the submenu opens its project in a window without one.
    MainWindow other(nullptr, false);
    ASSERT_FALSE(other.recentProjectActions().isEmpty());
    other.recentProjectActions().first()->trigger();
    EXPECT_EQ(std::pair(uitest::projectPathOf(&other), other.windowTitle()),
              std::pair(path, "Pixmarker - " + path));
}

TEST_F(FileCommandsTest, SaveAsAddsTheEndingSaveWritesWhereTheProjectCameFromAndAFailureStillClearsTheMark) {
    project.createLabel();
    const std::pair<QString, QString> cases[] = {{"plain", "plain.json"},
                                                 {"kept.json", "kept.json"},
                                                 {"packed.json.gz", "packed.json.gz"},
                                                 {"name.txt", "name.txt.json"}};
    for (const auto& [chosen, written] : cases) {
        SCOPED_TRACE(chosen.toStdString());
        project.undoStack()->push(new QUndoCommand("edit"));
        files.singleAnswers << dir.path(chosen);
        find(A::SaveAs)->trigger();
        EXPECT_TRUE(QFile::exists(dir.path(written)));
        EXPECT_EQ(std::tuple(project.path(), window.windowTitle(), RecentProjects::paths().first()),
                  std::tuple(dir.path(written), "Pixmarker - " + dir.path(written), dir.path(written)));
    }
    // A project with a path is saved there without asking.
    const std::size_t asked = files.calls.size();
    QFile::remove(dir.path("name.txt.json"));
    find(A::Save)->trigger();
    EXPECT_EQ(std::pair(files.calls.size(), QFile::exists(dir.path("name.txt.json"))),
              std::pair(asked, true));
    // One without asks first; a save that fails shows the system's reason, and still adopts the path and
    // clears the mark.
    Project fresh;
    fresh.undoStack()->push(new QUndoCommand("edit"));
    window.setProject(&fresh);
    const QString unwritable = dir.path("missing/dir/p.json");
    files.singleAnswers << unwritable;
    uitest::ModalAnswerer modals;
    find(A::Save)->trigger();
    ASSERT_EQ(files.calls.size(), asked + 1);
    EXPECT_EQ(std::pair(files.calls.back().title, files.calls.back().kind),
              std::pair(QString("Save project"), QString("save")));
    EXPECT_EQ(modals.titles(), QStringList{"Serialization failed."});
    EXPECT_EQ(modals.seen().at(0).text, "The project could not be saved in '" + unwritable + "'.\n\n" +
                                            QString::fromLocal8Bit(std::strerror(ENOENT)));
    EXPECT_EQ(std::tuple(fresh.path(), window.windowTitle(), QFile::exists(unwritable)),
              std::tuple(unwritable, "Pixmarker - " + unwritable, false));
}

TEST_F(FileCommandsTest, SavingOverAFileChangedElsewhereAsksFirst) {
    const QString path = writeProject("shared.json");
    MainWindow first(nullptr, false), second(nullptr, false);
    first.setFileDialogs(files.seam());
    ASSERT_EQ(first.openProjectFile(path), &first);
    EXPECT_EQ(first.findChild<QMessageBox*>("projectOpenElsewhereBox"), nullptr);
    // The second window on the same file is told so, without being stopped.
    ASSERT_EQ(second.openProjectFile(path), &second);
    ASSERT_NE(second.findChild<QMessageBox*>("projectOpenElsewhereBox"), nullptr);
    second.findChild<QMessageBox*>("projectOpenElsewhereBox")->close();
    // The second saves first; the first then asks: Cancel and "Save As..." both leave the other's file alone.
    second.project()->createLabel();
    second.saveProject();
    const QByteArray secondsWork = pxmtest::readFile(path);
    first.project()->undoStack()->push(new QUndoCommand("edit"));
    uitest::ModalAnswerer modals;
    modals.thenAs<QMessageBox>([](QMessageBox* box) { box->button(QMessageBox::Cancel)->click(); });
    first.saveProject();
    EXPECT_EQ(modals.titles(), QStringList{"Project changed on disk"});
    EXPECT_EQ(pxmtest::readFile(path), secondsWork);
    modals.thenClick("Save As...");
    files.singleAnswers << dir.path("mine.json");
    first.saveProject();
    EXPECT_TRUE(QFile::exists(dir.path("mine.json")));
    EXPECT_EQ(pxmtest::readFile(path), secondsWork);
    first.project()->setPath(path); // a file changed by another program asks too; Overwrite writes
    ASSERT_TRUE(pxmtest::writeFile(path, "{}"));
    modals.thenClick("Overwrite");
    first.saveProject();
    EXPECT_EQ(modals.seen().size(), 3u);
    EXPECT_NE(pxmtest::readFile(path), QByteArray("{}"));
    first.saveProject(); // saved here, the file is this window's again: no question
    EXPECT_EQ(modals.seen().size(), 3u);
}

TEST_F(FileCommandsTest, ChosenOrDroppedImagesAreAddedSortedAsOneUndoStepAndDroppedProjectsOpen) {
    const QString b = writeImage("b.pgm"), a = writeImage("a.pgm"), upper = writeImage("C.pgm");
    files.manyAnswers.push_back({b, a, upper});
    find(A::OpenImage)->trigger();
    // Case-sensitive order: upper case first.
    EXPECT_EQ(uitest::imagePaths(project), QStringList({upper, a, b}));
    EXPECT_EQ(std::pair(project.undoStack()->count(), window.windowTitle()),
              std::pair(1, QString("Pixmarker - Unsaved")));
    EXPECT_EQ(files.calls.back().title + files.calls.back().filter,
              "Open imagesImage Files (*.jpg *.jpeg *.png *.bmp *.pgm *.pbm *.tiff *.tif *.okav "
              "*.ascii);;All files (*.*)");
    find(A::OpenImage)->trigger(); // cancelling adds nothing
    EXPECT_EQ(project.undoStack()->count(), 1);
    // Undecodable files (no header, or a header over broken data) are refused with the reader's reason; a
    // missing one is added, to be asked about later.
    const QString noise = dir.path("noise.png"), gone = dir.path("gone.pgm");
    ASSERT_TRUE(pxmtest::writeFile(noise, QByteArray("\x13\x77 not an image at all")));
    // A whole header over broken data: only decoding it finds out.
    const QString bad = dir.path("bad.png");
    ASSERT_TRUE(QImage(writeImage("grey.pgm", 40, 40)).save(bad));
    ASSERT_TRUE(pxmtest::writeFile(
        bad, pxmtest::readFile(bad).replace(pxmtest::readFile(bad).size() - 20, 4, "\xff\xff\xff\xff")));
    files.manyAnswers.push_back({noise, bad, gone});
    uitest::ModalAnswerer modals;
    find(A::OpenImage)->trigger();
    EXPECT_EQ(modals.titles(), QStringList{"Image cannot be read"});
    for (const QString& refused : {noise, bad})
        EXPECT_TRUE(modals.seen().at(0).text.contains(refused + ": ")) << refused.toStdString();
    EXPECT_EQ(uitest::imagePaths(project), QStringList({upper, a, b, gone}));
    // Files dropped on the window: images are added the same way, anything else is left alone.
    const QString dropped = writeImage("dropped.pgm"), notes = dir.path("notes.txt");
    pxmtest::writeFile(notes, "not an image");
    EXPECT_FALSE(drop(window, {notes})) << "nothing to take";
    EXPECT_TRUE(drop(window, {notes, dropped}));
    EXPECT_EQ(std::pair(uitest::imagePaths(project), project.undoStack()->count()),
              std::pair(QStringList({upper, a, b, gone, dropped}), 3));
    // A dropped project opens as "&Open" opens it: in a new window, since this one has one.
    const QString path = writeProject("dropped.json");
    EXPECT_TRUE(drop(window, {path}));
    EXPECT_EQ(std::pair(window.project(), uitest::projectPathOf(otherWindow(&window))),
              std::pair(&project, path));
    // Dropped on a window without a project, images start one with its first label.
    MainWindow empty(nullptr, false);
    EXPECT_TRUE(drop(empty, {dropped}));
    ASSERT_NE(empty.project(), nullptr);
    EXPECT_EQ(std::pair(empty.project()->images().size(), empty.project()->labels().size()), std::pair(1, 1));
}

// A plug-in's project is saved beside the node's image with its mask path; without those paths it refuses.
TEST_F(FileCommandsTest, PluginProjectsSaveWhereTheNodeSays) {
    project.createLabel();
    LabeledImage* image = addImage(project, writeImage("node.pgm"));
    pxm::PPixmarker node;
    project.setNodaraPlugin(&node);
    // The node's image and mask paths, and what a save then refuses with, if anything.
    const std::tuple<std::string, std::string, const char*> cases[] = {
        {"", "m.pgm", "Image has no path. You can set it in the plugin settings."},
        {"x.pgm", "", "Label mask has no path. You can set it in the plugin settings."},
        {dir.path("node.pgm").toStdString(), dir.path("node_mask.pgm").toStdString(), nullptr},
    };
    for (const auto& [imagePath, maskPath, refusal] : cases) {
        KYVO::CValueMap parameters;
        parameters.SetString("input_image_path", imagePath);
        parameters.SetString("label_mask_path", maskPath);
        node.Init(&parameters);
        const std::string thrown = pxmtest::thrownMessage([this] { window.saveProject(); });
        EXPECT_TRUE(refusal ? thrown.find(refusal) != std::string::npos : thrown.empty()) << thrown;
    }
    const QString expected = pxm::PPixmarker::projectPathFor(dir.path("node.pgm"));
    EXPECT_TRUE(QFile::exists(expected));
    // No file dialog in plug-in use.
    EXPECT_EQ(std::tuple(project.path(), image->maskPath(), files.calls.size()),
              std::tuple(expected, dir.path("node_mask.pgm"), std::size_t(0)));
    project.setNodaraPlugin(nullptr);
}

TEST_F(MissingFileTest, SelectNewPathRemembersTheFileAsOneUndoStep) {
    const QString moved = writeImage("moved.pgm", 5, 4);
    // The first choice is cancelled in the file chooser, so the question comes again.
    files.singleAnswers << QString() << moved;
    showAndClick({"Select new path.", "Select new path."});
    EXPECT_EQ(std::pair(modals->seen().size(), files.calls.back().title),
              std::pair(std::size_t(2), QString("Open Image")));
    EXPECT_EQ(std::tuple(missing->imagePath(), !!missing->image(), missing->width(), window.shownScene()),
              std::tuple(moved, true, 5u, missing->scene(0)));
    ASSERT_EQ(project.undoStack()->count(), 1);
    project.undoStack()->undo();
    EXPECT_EQ(missing->imagePath(), dir.path("gone.pgm"));
    window.close();
}

TEST_F(MissingFileTest, TryAgainReadsTheFileOnceItIsBackCancelLeavesItAndRemoveTakesItOut) {
    // The file comes back broken: the next question says why it cannot be read.
    modals->then([this](QWidget* box) {
        pxmtest::writeFile(dir.path("gone.pgm"), "P5\n6 2\n255\n");
        uitest::clickButton(box, "Try again");
    });
    modals->then([this](QWidget* box) {
        writeImage("gone.pgm", 6, 2);
        uitest::clickButton(box, "Try again");
    });
    showAndAnswer(2);
    EXPECT_EQ(modals->titles(), (QStringList{"Image not found", "Image cannot be read"}));
    EXPECT_TRUE(
        modals->seen().at(1).text.startsWith("The image " + dir.path("gone.pgm") + " cannot be read: "));
    EXPECT_EQ(std::tuple(!!missing->image(), missing->width(), project.undoStack()->count(),
                         project.images().size()),
              std::tuple(true, 6u, 0, 2));
    window.close();
    // Cancel changes nothing.
    QFile::remove(dir.path("other.pgm"));
    project.setCurrentImageIndex(1);
    showAndClick({"Cancel"});
    EXPECT_EQ(std::pair(project.images().size(), project.undoStack()->count()), std::pair(2, 0));
    window.close();
    // Remove takes the image out as one undo step and shows the next one.
    showAndClick({"Remove"});
    EXPECT_EQ(modals->seen().at(0).text, "The image could not be loaded from " + dir.path("other.pgm") + ".");
    EXPECT_EQ(std::tuple(uitest::imagePaths(project), window.shownScene(), project.undoStack()->count()),
              std::tuple(QStringList{dir.path("gone.pgm")}, missing->scene(0), 1));
    window.close();
}

TEST_F(MissingFileTest, MissingMaskCanBeRemovedOrRelocated) {
    LabeledImage* image = project.images()[1];
    image->setMaskPath(dir.path("no_mask.pgm"));
    project.setCurrentImageIndex(1);
    const QString maskFile = writeImage("mask.pgm", 3, 2, '\x01');
    files.singleAnswers << maskFile;
    showAndClick({"Select new path"});
    EXPECT_EQ(modals->titles(), QStringList{"Mask not found"});
    EXPECT_EQ(modals->seen().at(0).text,
              "The mask could not be loaded from " + dir.path("no_mask.pgm") + ".");
    EXPECT_EQ(std::tuple(files.calls.back().title, image->maskPath(), !!image->mask(),
                         project.undoStack()->count()),
              std::tuple(QString("Open Mask"), maskFile, true, 1));
    project.undoStack()->setClean();
    window.close();
    // Remove detaches the mask path, undoably.
    image->setMaskPath(dir.path("no_mask_again.pgm"));
    image->loadMask(true, false);
    showAndClick({"Remove"});
    EXPECT_EQ(image->maskPath(), QString());
    project.undoStack()->undo();
    EXPECT_EQ(image->maskPath(), dir.path("no_mask_again.pgm"));
    window.close();
}
