// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "UiTestSupport.h"

#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QSignalSpy>
#include <QUndoCommand>
#include <QUndoStack>
#include <QUrl>

using pxm::MainWindow;
using pxm::Project;

namespace {

class CloseAndDropTest : public uitest::UiTest {
protected:
    void TearDown() override {
        deleteWindows();
        UiTest::TearDown();
    }
    /// Drops local files on the window as a file manager does; true when the drop was taken.
    static bool drop(MainWindow& window, const QStringList& paths) {
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
};

} // namespace

TEST_F(CloseAndDropTest, DroppedImagesAreAddedSortedAsOneStepAndProjectsOpen) {
    Project project;
    MainWindow window(nullptr, false);
    window.setProject(&project);
    window.show();
    const QString b = writeImage("b.pgm"), a = writeImage("a.pgm");
    pxmtest::writeFile(dir.path("notes.txt"), "not an image");
    EXPECT_FALSE(drop(window, {dir.path("notes.txt")})) << "nothing to take";
    EXPECT_TRUE(drop(window, {b, dir.path("notes.txt"), a}));
    ASSERT_EQ(project.images().size(), 2);
    EXPECT_EQ(project.images()[0]->imagePath(), a);
    EXPECT_EQ(project.images()[1]->imagePath(), b);
    EXPECT_EQ(project.undoStack()->count(), 1);
    project.undoStack()->undo();
    EXPECT_TRUE(project.images().isEmpty());

    // A dropped project opens as "&Open" opens it: in a new window, since this one has one.
    Project saved;
    saved.createLabel();
    MainWindow writer(nullptr, false);
    writer.setProject(&saved);
    writer.doSave(dir.path("dropped.json"));
    EXPECT_TRUE(drop(window, {dir.path("dropped.json")}));
    EXPECT_EQ(window.project(), &project);
    MainWindow* opened = otherWindow(&window);
    ASSERT_NE(opened, nullptr);
    ASSERT_NE(opened->project(), nullptr);
    EXPECT_EQ(opened->project()->path(), dir.path("dropped.json"));
    EXPECT_EQ(opened->project()->labels().size(), 1);
    window.close();
}

TEST_F(CloseAndDropTest, DroppingImagesOnAnEmptyWindowStartsAProject) {
    MainWindow window(nullptr, false);
    window.show();
    EXPECT_TRUE(drop(window, {writeImage("only.pgm")}));
    ASSERT_NE(window.project(), nullptr);
    EXPECT_EQ(window.project()->images().size(), 1);
    EXPECT_EQ(window.project()->labels().size(), 1) << "a new project starts with its first label";
    window.project()->undoStack()->setClean();
    window.close();
}

// Unsaved changes: Cancel keeps the window, Discard closes, Save saves then closes; a clean
// project or a plug-in's project closes without asking. The registry is saved on every close.
TEST_F(CloseAndDropTest, ClosingWithUnsavedChangesAsks) {
    Project project;
    project.setPath(dir.path("work.json"));
    MainWindow window(nullptr, false);
    window.setProject(&project);

    struct Case {
        QString answer;
        bool closes;
        bool saved;
    };
    const std::vector<Case> cases = {{"Cancel", false, false}, {"Discard", true, false}, {"Save", true, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.answer.toStdString());
        QFile::remove(dir.path("work.json"));
        project.undoStack()->push(new QUndoCommand("edit"));
        window.show();
        out.take();
        uitest::ModalAnswerer modals;
        modals.thenClick(c.answer);
        EXPECT_EQ(window.close(), c.closes);
        ASSERT_EQ(modals.seen().size(), 1u);
        EXPECT_EQ(modals.seen()[0].title, "Unsaved changes");
        EXPECT_EQ(window.isVisible(), !c.closes);
        EXPECT_EQ(QFile::exists(dir.path("work.json")), c.saved);
        EXPECT_EQ(out.take().find("Configuration saving successful.") != std::string::npos, c.closes);
    }

    // Nothing to save, or a plug-in's window: no question.
    uitest::ModalAnswerer none;
    window.show();
    project.undoStack()->setClean();
    EXPECT_TRUE(window.close());
    project.undoStack()->push(new QUndoCommand("edit"));
    int pluginTag = 0;
    project.setNodaraPlugin(reinterpret_cast<pxm::PPixmarker*>(&pluginTag));
    window.show();
    QSignalSpy closed(&window, &MainWindow::closed);
    EXPECT_TRUE(window.close());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_TRUE(none.seen().empty());
    project.setNodaraPlugin(nullptr);
}
