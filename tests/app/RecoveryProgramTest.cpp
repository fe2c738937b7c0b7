// SPDX-License-Identifier: MIT
#include "persistence/RecoveryFolder.h"
#include "platform/CRegistry.h"
#include "support/TestSupport.h"
#include "ui/Autosave.h"
#include "ui/AutosaveTestSupport.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <iostream>

using namespace pxm;

// A killed window's work comes back in the real program; the window lives in a child run of this program.

const char* const kChildFolder = "PXM_AUTOSAVE_CHILD_FOLDER";

// The child (disabled in the suite): edits, waits for its snapshot, names its folder and waits.
TEST(DISABLED_AutosaveChild, EditsAndWaitsToBeKilled) {
    const QString folder = qEnvironmentVariable(kChildFolder);
    if (folder.isEmpty())
        GTEST_SKIP() << "run by RecoveryProgramTest only";
    // The program's own recovery folder, in the private data directory the parent gave.
    QStandardPaths::setTestModeEnabled(false);
    QCoreApplication::setApplicationName("lumarka");
    KYVO::CRegistry::SetStorageDirectory(folder + "/registry");

    const std::unique_ptr<MainWindow> window = autosavetest::editedStudy(folder);
    Project* project = window->project();
    ASSERT_NE(project, nullptr);
    Autosave* autosave = Autosave::of(window.get());
    QSignalSpy written(autosave, &Autosave::snapshotWritten);
    project->setSetting(Autosave::kIntervalKey, 1);
    ASSERT_TRUE(written.wait(60000));
    std::cout << "SNAPSHOT " << autosave->folder().toStdString() << std::endl;
    for (;;)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

TEST(RecoveryProgramTest, KilledWindowsWorkIsRecoveredByTheProgram) {
    pxmtest::ChildProgram child(QCoreApplication::applicationFilePath()), program(PIXMARKER_BINARY);
    const pxmtest::TempDir& dir = child.dir;
    QDir().mkpath(dir.path("work")), QDir().mkpath(dir.path("runtime"));
    QFile::setPermissions(dir.path("runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    // The child and the program share private data and configuration; only the child is told to edit.
    QProcessEnvironment env = child.process.processEnvironment();
    env.insert("XDG_DATA_HOME", dir.path("data"));
    env.insert("XDG_RUNTIME_DIR", dir.path("runtime"));
    program.process.setProcessEnvironment(env);
    env.insert(kChildFolder, dir.path("work"));
    child.process.setProcessEnvironment(env);
    child.process.start(
        QCoreApplication::applicationFilePath(),
        {"--gtest_also_run_disabled_tests", "--gtest_filter=DISABLED_AutosaveChild.EditsAndWaitsToBeKilled"});
    ASSERT_TRUE(child.process.waitForStarted(30000));
    QString snapshotFolder;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            child.out += QString::fromLocal8Bit(child.process.readAllStandardOutput());
            snapshotFolder = QRegularExpression("SNAPSHOT (.+)\n").match(child.out).captured(1);
            return !snapshotFolder.isEmpty() || child.process.state() == QProcess::NotRunning;
        },
        120000));
    ASSERT_FALSE(snapshotFolder.isEmpty())
        << child.out.toStdString() << child.process.readAllStandardError().toStdString();
    EXPECT_TRUE(snapshotFolder.startsWith(dir.path("data/lumarka/recovery/")))
        << snapshotFolder.toStdString();
    child.process.kill(); // SIGKILL: nothing is saved, closed or cleaned up
    ASSERT_TRUE(child.process.waitForFinished(30000));

    // The program recovers without asking and snapshots the work into the same folder under its own id (the
    // description naming its writer).
    program.process.start(PIXMARKER_BINARY, {"--recover-all"});
    ASSERT_TRUE(program.process.waitForStarted(30000));
    const qint64 pid = program.process.processId();
    RecoveryFolder::Description description;
    const bool rewritten = QTest::qWaitFor(
        [&] {
            return RecoveryFolder::readDescription(snapshotFolder, &description) && description.pid == pid;
        },
        120000);
    program.process.kill();
    program.process.waitForFinished(30000);
    ASSERT_TRUE(rewritten) << program.process.readAllStandardError().toStdString();
    // The program's window holds the child's work, its recovered masks and erasures among the changed volumes
    // (that a window's snapshot holds its work exactly is the autosave tests' part).
    EXPECT_EQ(std::pair(description.projectPath, description.volumes.size()),
              std::pair(dir.path("work/study.json"), std::size_t(4)));
    Project recovered;
    RecoveryFolder::restore({snapshotFolder, description}, &recovered);
    ASSERT_EQ(recovered.labels().size(), 2);
    EXPECT_EQ(recovered.labels()[0]->name(), "tumour");
}
