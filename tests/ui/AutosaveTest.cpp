// SPDX-License-Identifier: MIT
#include "ui/Autosave.h"

#include "persistence/ProjectReader.h"
#include "persistence/RecoveryFolder.h"
#include "ui/AutosaveTestSupport.h"
#include "ui/RecoveryDialog.h"
#include "ui/UiTestSupport.h"

using namespace pxm;
using autosavetest::waitUntil;

namespace {

class AutosaveTest : public uitest::UiTest {
protected:
    void SetUp() override {
        UiTest::SetUp();
        // A recovery folder of this process's own: tests run side by side.
        m_name = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName(m_name + "-" + QString::number(QCoreApplication::applicationPid()));
        QDir(RecoveryFolder::root()).removeRecursively();
    }
    void TearDown() override {
        QDir(RecoveryFolder::root()).removeRecursively();
        QFile::remove(RecoveryFolder::root());
        QDir().rmdir(QFileInfo(RecoveryFolder::root()).absolutePath());
        QCoreApplication::setApplicationName(m_name);
        UiTest::TearDown();
    }
    QString m_name;
    /// A shown window holding the study, its edits made.
    std::unique_ptr<MainWindow> editedWindow() {
        auto window = std::make_unique<MainWindow>(nullptr, false);
        window->show();
        EXPECT_TRUE(window->openProjectFile(autosavetest::writeStudy(dir.path())));
        autosavetest::makeEdits(window.get());
        return window;
    }

    static RecoveryFolder::Entry entryOf(const QString& folder) {
        RecoveryFolder::Entry entry;
        entry.folder = folder;
        EXPECT_TRUE(RecoveryFolder::readDescription(folder, &entry.description));
        return entry;
    }
    /// Restores the snapshot in `folder` and compares it with the work it was taken of.
    static void expectRecovers(const QString& folder, Project& work) {
        Project recovered;
        RecoveryFolder::restore(entryOf(folder), &recovered);
        EXPECT_EQ(recovered.path(), work.path());
        autosavetest::expectSameWork(work, recovered);
    }
};

} // namespace

TEST_F(AutosaveTest, SnapshotHoldsTheEditedWorkAndGoesWithTheSave) {
    std::unique_ptr<MainWindow> window = editedWindow();
    Autosave* autosave = Autosave::of(window.get());
    ASSERT_NE(autosave, nullptr) << "every window keeps its work safe";
    EXPECT_EQ(autosave->interval(), 60) << "the default";
    Project* project = window->project();
    // The interval comes from the project's settings and starts the timer.
    QSignalSpy written(autosave, &Autosave::snapshotWritten);
    project->setSetting(Autosave::kIntervalKey, 1);
    ASSERT_TRUE(written.wait(5000));
    const QString folder = autosave->folder();
    ASSERT_FALSE(folder.isEmpty());
    EXPECT_LT(autosave->lastPause(), 1000.0);
    EXPECT_FALSE(project->undoStack()->isClean()) << "a snapshot is not a save";
    EXPECT_TRUE(window->windowTitle().endsWith("*"));
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty()) << "this process's snapshot is never offered";
    // Changed volumes only: both masks were reassigned (the flat image's edited mask stays in
    // memory after the switch to the volume) and the flat image's overlay erased (it waits in
    // a swap file since the volume is shown); the volume's overlay is copied with its mask.
    const RecoveryFolder::Entry entry = entryOf(folder);
    QStringList kinds;
    for (const RecoveryFolder::VolumeEntry& volume : entry.description.volumes)
        kinds << QString("%1:%2").arg(volume.overlay ? "overlay" : "mask").arg(volume.image);
    kinds.sort();
    EXPECT_EQ(kinds, QStringList({"mask:0", "mask:1", "overlay:0", "overlay:1"}));

    expectRecovers(folder, *project);
    // Later edits reach the next snapshot: a shape on an image not shown, a renamed label and
    // a label id (which retags its shapes without a repaint). Unchanged volumes are not
    // written again.
    const QDateTime firstTime = entry.description.time;
    autosavetest::addShape(project, project->images()[0]->scene(0), new QGraphicsLineItem(1, 2, 30, 40),
                           project->labels()[1]);
    autosavetest::push(project, new commands::SetLabelName(project->labels()[1], "stroma"));
    written.clear();
    ASSERT_TRUE(written.wait(5000));
    const RecoveryFolder::Entry second = entryOf(autosave->folder());
    EXPECT_GT(second.description.time, firstTime);
    expectRecovers(second.folder, *project);
    project->labels()[1]->setId(4242);
    written.clear();
    ASSERT_TRUE(written.wait(5000));
    expectRecovers(autosave->folder(), *project);
    for (const RecoveryFolder::VolumeEntry& volume : second.description.volumes)
        EXPECT_TRUE(volume.file.endsWith("-1.okav.gz") || volume.file.endsWith("-2.okav.gz"))
            << volume.file.toStdString();

    window->saveProject();
    EXPECT_TRUE(project->undoStack()->isClean());
    EXPECT_FALSE(QFileInfo::exists(folder)) << "a successful save deletes the snapshot";
    EXPECT_TRUE(autosave->folder().isEmpty());
    EXPECT_FALSE(autosave->snapshotNow()) << "nothing unsaved, nothing to keep";
}

TEST_F(AutosaveTest, FailedSnapshotMarksNothingSavedIsToldOnceAndRetried) {
    std::unique_ptr<MainWindow> window = editedWindow();
    Autosave* autosave = Autosave::of(window.get());
    Project* project = window->project();
    // The recovery folder cannot be made: a file stands where it belongs (as a read-only or
    // full disk would refuse it, also for root).
    QDir().mkpath(QFileInfo(RecoveryFolder::root()).absolutePath());
    ASSERT_TRUE(pxmtest::writeFile(RecoveryFolder::root(), "in the way"));

    QSignalSpy failed(autosave, &Autosave::snapshotFailed);
    QSignalSpy written(autosave, &Autosave::snapshotWritten);
    project->setSetting(Autosave::kIntervalKey, 1);
    ASSERT_TRUE(failed.wait(5000));
    EXPECT_TRUE(window->statusBar()->currentMessage().startsWith("Autosave failed: "))
        << window->statusBar()->currentMessage().toStdString();
    EXPECT_FALSE(project->undoStack()->isClean());
    EXPECT_TRUE(window->windowTitle().endsWith("*"));
    window->statusBar()->clearMessage();
    ASSERT_TRUE(failed.wait(5000)) << "tried again at the next interval";
    EXPECT_TRUE(window->statusBar()->currentMessage().isEmpty()) << "the failure is told once";
    EXPECT_FALSE(project->undoStack()->isClean());

    QFile::remove(RecoveryFolder::root());
    ASSERT_TRUE(written.wait(5000));
    EXPECT_TRUE(autosave->lastError().isEmpty());
    expectRecovers(autosave->folder(), *project);
}

TEST_F(AutosaveTest, ClosingWithoutSavingDeletesTheSnapshot) {
    std::unique_ptr<MainWindow> window = editedWindow();
    Autosave* autosave = Autosave::of(window.get());
    // An interval of 0 turns autosave off, unsaved work or not.
    QSignalSpy written(autosave, &Autosave::snapshotWritten);
    window->project()->setSetting(Autosave::kIntervalKey, 0);
    EXPECT_FALSE(written.wait(1500));
    ASSERT_TRUE(autosave->snapshotNow());
    autosave->waitForWriter();
    const QString folder = autosave->folder();
    ASSERT_TRUE(QFileInfo::exists(folder));

    uitest::ModalAnswerer answerer;
    answerer.thenClick("Cancel");
    answerer.thenClick("Discard");
    window->close();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(QFileInfo::exists(folder)) << "a cancelled close keeps everything";
    window->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_FALSE(QFileInfo::exists(folder)) << "the user chose to drop the work";
}

TEST_F(AutosaveTest, RecoveredWorkOpensUnsavedAndSavesToItsOwnPath) {
    QString folder;
    QString projectPath;
    {
        std::unique_ptr<MainWindow> window = editedWindow();
        Autosave* autosave = Autosave::of(window.get());
        ASSERT_TRUE(autosave->snapshotNow());
        autosave->waitForWriter();
        folder = autosave->folder();
        projectPath = window->project()->path();
        // Ends as if the program had died: the lock goes, the folder stays.
        delete autosave;
    }
    ASSERT_EQ(RecoveryFolder::orphaned().size(), 1);

    Project project;
    const QList<int> restored = RecoveryFolder::restore(entryOf(folder), &project);
    MainWindow window(nullptr, false);
    window.setProject(&project);
    Autosave::of(&window)->adopt(folder, restored);
    window.show();
    EXPECT_EQ(window.windowTitle(), "Pixmarker - " + projectPath + "*");
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty()) << "the recovering window holds the snapshot now";
    // The recovered masks stay in memory: their files do not have the changes.
    ASSERT_FALSE(restored.isEmpty());
    for (const int index : restored)
        EXPECT_GT(project.images()[index]->usageCount(), 0u);

    const QByteArray before = pxmtest::readFile(projectPath);
    window.saveProject();
    EXPECT_NE(pxmtest::readFile(projectPath), before) << "saved over the original file";
    EXPECT_FALSE(QFileInfo::exists(folder));
    Project reread;
    ProjectReader::read(projectPath, &reread);
    EXPECT_EQ(reread.labels()[0]->name(), "tumour");
}

TEST_F(AutosaveTest, DialogRecoversDiscardsAndKeeps) {
    // Three snapshots of ended programs.
    QStringList folders;
    for (const QString name : {"a", "b", "c"}) {
        RecoveryFolder owner;
        QString error;
        ASSERT_TRUE(owner.create(&error));
        RecoveryFolder::Description description;
        description.projectPath = name == "b" ? QString() : dir.path(name + ".json");
        description.time = QDateTime::currentDateTime().addSecs(folders.size());
        description.projectFile = "project-1.json.gz";
        ASSERT_TRUE(pxmtest::writeFile(QDir(owner.path()).filePath(description.projectFile), "{}"));
        RecoveryFolder::writeDescription(owner.path(), description);
        folders << owner.path();
    }
    const QList<RecoveryFolder::Entry> offered = RecoveryFolder::orphaned();
    ASSERT_EQ(offered.size(), 3);

    RecoveryDialog dialog(offered);
    QTreeWidget* list = dialog.list();
    ASSERT_EQ(list->topLevelItemCount(), 3);
    EXPECT_EQ(list->topLevelItem(0)->text(0), "a.json");
    EXPECT_EQ(list->topLevelItem(0)->text(1), dir.path());
    EXPECT_EQ(list->topLevelItem(1)->text(0), "Unsaved project");
    auto selectFirst = [list] {
        list->clearSelection();
        list->topLevelItem(0)->setSelected(true);
    };
    QTimer::singleShot(0, &dialog, [&] {
        EXPECT_TRUE(dialog.isVisible());
        selectFirst();
        EXPECT_TRUE(dialog.recoverButton()->isEnabled());
        dialog.recoverButton()->click();
        selectFirst(); // "b", now first
        dialog.discardButton()->click();
        dialog.reject();
    });
    EXPECT_EQ(dialog.exec(), int(QDialog::Rejected));
    ASSERT_EQ(dialog.chosen().size(), 1);
    EXPECT_EQ(dialog.chosen()[0].folder, folders[0]);
    EXPECT_TRUE(QFileInfo::exists(folders[0])) << "recovering is not deleting";
    EXPECT_FALSE(QFileInfo::exists(folders[1]));
    const QList<RecoveryFolder::Entry> left = RecoveryFolder::orphaned();
    ASSERT_EQ(left.size(), 2) << "closing the dialog keeps the rest";
    // Acting on the last rows closes the dialog by itself.
    RecoveryDialog second(left);
    QTimer::singleShot(0, &second, [&] {
        second.list()->selectAll();
        second.recoverButton()->click();
    });
    EXPECT_EQ(second.exec(), int(QDialog::Accepted));
    EXPECT_EQ(second.chosen().size(), 2);
}
