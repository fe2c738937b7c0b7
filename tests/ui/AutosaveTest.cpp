// SPDX-License-Identifier: MIT
#include "ui/Autosave.h"

#include "persistence/RecoveryFolder.h"
#include "support/RecoveryScope.h"
#include "ui/AutosaveTestSupport.h"
#include "ui/RecoveryDialog.h"
#include "ui/UiTestSupport.h"

#include <cstring>

using namespace pxm;

namespace {

class AutosaveTest : public uitest::UiTest {
protected:
    pxmtest::RecoveryScope recovery;

    static RecoveryFolder::Entry entryOf(const QString& folder) {
        RecoveryFolder::Entry entry;
        entry.folder = folder;
        EXPECT_TRUE(RecoveryFolder::readDescription(folder, &entry.description));
        return entry;
    }
    /// Restores the snapshot in `folder` and compares it with the work it was taken of: the path, the project
    /// document, and every image's mask minus erasures (what a save writes) voxel by voxel.
    static void expectRecovers(const QString& folder, Project& work) {
        Project recovered;
        RecoveryFolder::restore(entryOf(folder), &recovered);
        EXPECT_EQ(recovered.path(), work.path());
        EXPECT_EQ(autosavetest::normalisedDocument(recovered), autosavetest::normalisedDocument(work));
        ASSERT_EQ(recovered.images().size(), work.images().size());
        for (int i = 0; i < work.images().size(); ++i) {
            const std::unique_ptr<KYVO::CImage> want = autosavetest::erasedMask(work.images()[i]);
            const std::unique_ptr<KYVO::CImage> got = autosavetest::erasedMask(recovered.images()[i]);
            ASSERT_TRUE(want && got && got->size() == want->size() && got->byteCount() == want->byteCount())
                << "mask of image " << i;
            EXPECT_EQ(std::memcmp(got->data(), want->data(), want->byteCount()), 0) << "mask of image " << i;
        }
    }
};

} // namespace

// One window's snapshots: retried after a failure, dropped by a discard, left behind by a program that died
// and taken over by the window that recovers them, until a save.
TEST_F(AutosaveTest, SnapshotsHoldTheWorkOutliveTheProgramAndEndWithADiscardOrASave) {
    std::unique_ptr<MainWindow> window = autosavetest::editedStudy(dir.path());
    Autosave* autosave = Autosave::of(window.get()); // every window keeps its work safe, each minute at first
    ASSERT_NE(autosave, nullptr);
    EXPECT_EQ(autosave->interval(), 60);
    Project* project = window->project();
    // The recovery folder cannot be made at first: a file stands where it belongs (as a full disk would
    // refuse it).
    QDir().mkpath(QFileInfo(RecoveryFolder::root()).absolutePath());
    ASSERT_TRUE(pxmtest::writeFile(RecoveryFolder::root(), "in the way"));
    // The interval comes from the project's settings and starts the timer.
    QSignalSpy failed(autosave, &Autosave::snapshotFailed);
    QSignalSpy written(autosave, &Autosave::snapshotWritten);
    project->setSetting(Autosave::kIntervalKey, 1);
    ASSERT_TRUE(failed.wait(5000));
    EXPECT_TRUE(window->statusBar()->currentMessage().startsWith("Autosave failed: "));
    window->statusBar()->clearMessage();
    ASSERT_TRUE(failed.wait(5000)) << "tried again at the next interval";
    EXPECT_EQ(window->statusBar()->currentMessage(), QString()) << "the failure is told once";
    QFile::remove(RecoveryFolder::root());
    ASSERT_TRUE(written.wait(5000));
    const QString folder = autosave->folder();
    ASSERT_FALSE(folder.isEmpty());
    EXPECT_EQ(std::pair(autosave->lastError(), autosave->lastPause() < 1000.0), std::pair(QString(), true));
    // Neither a failed snapshot nor a written one is a save.
    EXPECT_EQ(std::pair(project->undoStack()->isClean(), window->windowTitle().endsWith("*")),
              std::pair(false, true));
    // Changed volumes only: both reassigned masks and both erase overlays (the flat one swapped out).
    const RecoveryFolder::Entry entry = entryOf(folder);
    QStringList kinds;
    for (const RecoveryFolder::VolumeEntry& volume : entry.description.volumes)
        kinds << QString("%1:%2").arg(volume.overlay ? "overlay" : "mask").arg(volume.image);
    kinds.sort();
    EXPECT_EQ(kinds, QStringList({"mask:0", "mask:1", "overlay:0", "overlay:1"}));

    expectRecovers(folder, *project);
    // Later edits (a shape off screen, a name, a label id) reach the next one; unchanged volumes are kept.
    const QDateTime firstTime = entry.description.time;
    autosavetest::addShape(project, project->images()[0]->scene(0), new QGraphicsLineItem(1, 2, 30, 40),
                           project->labels()[1]);
    project->undoStack()->push(new commands::SetLabelName(project->labels()[1], "stroma"));
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

    uitest::ModalAnswerer answerer({"Discard"});
    window->close(); // a close that discards the work drops its snapshot
    EXPECT_FALSE(QFileInfo::exists(folder));

    // Shown again with an interval of 0, which turns autosave off, unsaved work or not: a snapshot by hand.
    window->show();
    project->setSetting(Autosave::kIntervalKey, 0);
    written.clear();
    EXPECT_FALSE(written.wait(1500));
    ASSERT_TRUE(autosave->snapshotNow());
    autosave->waitForWriter();
    const QString kept = autosave->folder();
    answerer.thenClick("Cancel");
    window->close(); // a cancelled close keeps the snapshot
    EXPECT_TRUE(QFileInfo::exists(kept));
    delete autosave; // ends as if the program had died: the lock goes, the folder stays
    ASSERT_EQ(RecoveryFolder::orphaned().size(), 1);

    Project recovered;
    const QList<int> restored = RecoveryFolder::restore(entryOf(kept), &recovered);
    MainWindow recovering(nullptr, false);
    recovering.setProject(&recovered);
    Autosave::of(&recovering)->adopt(kept, restored);
    recovering.show();
    // The recovering window holds the snapshot now, and its work is unsaved.
    EXPECT_EQ(std::pair(recovering.windowTitle(), RecoveryFolder::orphaned().size()),
              std::pair("Pixmarker - " + project->path() + "*", 0));
    // The recovered masks stay in memory: their files do not have the changes.
    ASSERT_FALSE(restored.isEmpty());
    for (const int index : restored)
        EXPECT_GT(recovered.images()[index]->usageCount(), 0u);
    // Its next snapshot holds the recovered work again, masks and erasures included.
    ASSERT_TRUE(Autosave::of(&recovering)->snapshotNow());
    Autosave::of(&recovering)->waitForWriter();
    expectRecovers(kept, recovered);

    // A successful save (to the project's own path, as the file commands' test checks) deletes the snapshot:
    // with nothing unsaved, nothing to keep.
    recovering.saveProject();
    EXPECT_EQ(std::tuple(QFileInfo::exists(kept), Autosave::of(&recovering)->folder(),
                         Autosave::of(&recovering)->snapshotNow()),
              std::tuple(false, QString(), false));
}

TEST_F(AutosaveTest, DialogRecoversDiscardsAndKeeps) {
    // Three snapshots of ended programs.
    QStringList folders;
    for (const QString name : {"a", "b", "c"}) {
        RecoveryFolder owner;
        QString error;
        ASSERT_TRUE(owner.create(&error)) << error.toStdString();
        RecoveryFolder::Description description;
        description.projectPath = name == "b" ? QString() : dir.path(name + ".json");
        description.time = QDateTime::currentDateTime().addSecs(folders.size());
        description.projectFile = "project-1.json.gz";
        ASSERT_TRUE(pxmtest::writeFile(QDir(owner.path()).filePath(description.projectFile), "{}"));
        RecoveryFolder::writeDescription(owner.path(), description);
        folders << owner.path();
    }
    RecoveryDialog dialog(RecoveryFolder::orphaned());
    QTreeWidget* list = dialog.list();
    ASSERT_EQ(list->topLevelItemCount(), 3);
    EXPECT_EQ(std::tuple(list->topLevelItem(0)->text(0), list->topLevelItem(0)->text(1),
                         list->topLevelItem(1)->text(0)),
              std::tuple(QString("a.json"), dir.path(), QString("Unsaved project")));
    auto selectFirst = [list] {
        list->clearSelection();
        list->topLevelItem(0)->setSelected(true);
    };
    QTimer::singleShot(0, &dialog, [&] {
        selectFirst();
        EXPECT_TRUE(dialog.isVisible() && dialog.recoverButton()->isEnabled());
        dialog.recoverButton()->click();
        selectFirst(); // "b", now first
        dialog.discardButton()->click();
        dialog.reject();
    });
    EXPECT_EQ(dialog.exec(), int(QDialog::Rejected));
    ASSERT_EQ(dialog.chosen().size(), 1);
    // Recovering is not deleting; closing the dialog keeps the rest.
    EXPECT_EQ(
        std::tuple(dialog.chosen()[0].folder, QFileInfo::exists(folders[0]), QFileInfo::exists(folders[1])),
        std::tuple(folders[0], true, false));
    // Acting on the last rows closes the dialog by itself.
    RecoveryDialog second(RecoveryFolder::orphaned());
    QTimer::singleShot(0, &second, [&] {
        second.list()->selectAll();
        second.recoverButton()->click();
    });
    EXPECT_EQ(second.exec(), int(QDialog::Accepted));
    EXPECT_EQ(second.chosen().size(), 2);
}
