// SPDX-License-Identifier: MIT
// Runs pixmarker-export as a pipeline would, without a display or a chosen Qt platform, and interrupts it.
#include "exchange/ExchangeTestSupport.h"
#include "persistence/ProjectSerializer.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>
#include <signal.h>

#ifdef PXM_EXPORT_BINARY

using namespace pxm;
using namespace pxmtest;

namespace {

/// The program with neither a display nor a chosen Qt platform, and a project of its own in `dir`.
class ExportCommand : public ::testing::Test, public ChildProgram {
protected:
    ExportCommand() : ChildProgram(PXM_EXPORT_BINARY) {
        QProcessEnvironment environment = process.processEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(name);
        process.setProcessEnvironment(environment);
    }
};

/// The project of addExportImages(), saved in `dir`.
QString writeProject(const TempDir& dir) {
    Project project;
    addExportImages(project, dir);
    const QString path = dir.path("p.json");
    ProjectSerializer::write(&project, path, false);
    return path;
}

constexpr int kImages = 300;
constexpr int kSide = 1024;

/// Images known by size only, one rectangle each: 1 MiB full masks, an export long enough to interrupt.
QString writeLargeProject(const TempDir& dir) {
    Project project;
    const Label* label = addLabel(project, "cell", 4, 9);
    for (int i = 0; i < kImages; ++i) {
        const QString path = dir.path(QString("gone%1.png").arg(i, 3, 10, QChar('0')));
        addRect(addImageByPath(project, path, kSide, kSide, 1)->scene(0), QRectF(10, 20, 100, 50), label);
    }
    const QString path = dir.path("large.json");
    ProjectSerializer::write(&project, path, false);
    return path;
}

QStringList masksIn(const QString& directory) {
    return QDir(directory).entryList({"*_fullmask.pgm"}, QDir::Files, QDir::Name);
}

} // namespace

TEST_F(ExportCommand, AnswersBadInputWithItsExitCodesAndExportsWithoutADisplay) {
    const QString project = writeProject(dir);
    const QString target = dir.path("out");
    pxmtest::writeFile(dir.path("plain"), "a file where a directory should be");

    struct Case {
        QStringList arguments;
        int exitCode;
    };
    const QList<Case> cases = {
        {{"--help"}, 0},
        {{}, 2},
        {{project}, 2},
        {{project, "-o", target, "--bogus"}, 2},
        {{project, project, "-o", target}, 2},
        {{project, "-o", target, "--skip-unlabeled", "--all-images"}, 2},
        {{dir.path("missing.json"), "-o", target}, 3},
        {{project, "-o", dir.path("plain/sub")}, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments.join(' ').toStdString());
        EXPECT_EQ(run(c.arguments), c.exitCode) << err.toStdString();
        EXPECT_TRUE(c.exitCode == 0 ? out.contains("Usage: pixmarker-export")
                                    : err.contains("pixmarker-export: "))
            << err.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(target)) << "nothing is created before the project is read";

    // Defaults: full masks only, unlabeled images skipped; the output directory is created. What the masks
    // hold is the worker's business, and its test checks it on the same project.
    const QString masks = dir.path("out/masks");
    ASSERT_EQ(run({project, "-o", masks}), 0) << err.toStdString();
    EXPECT_FALSE(err.contains("Exporting [")) << "no progress bar when stderr is not a terminal";
    EXPECT_EQ(filesIn(masks), sorted({"one___fullmask.pgm", "three___fullmask.okav.gz"}));

    // Chosen targets, every image, a pattern of our own.
    const QString all = dir.path("all");
    ASSERT_EQ(run({project, "-o", all, "--bool-masks", "--karo", "--vgg", "--all-images", "--pattern",
                   "{image_name}-{label_name}{z_layer}"}),
              0)
        << err.toStdString();
    EXPECT_EQ(filesIn(all),
              sorted({"-.vgg.json", "one-0.mark", "one-a_mask.pbm", "one-b_mask.pbm", "three-0.mark",
                      "three-1.mark", "three-a_mask.okav.gz", "three-b_mask.okav.gz", "two-0.mark",
                      "two-1.mark", "two-a_mask.okav.gz", "two-b_mask.okav.gz"}));

    // A file that cannot be written fails the run (that the others are still written is the worker test's).
    const QString blocked = dir.path("blocked");
    ASSERT_TRUE(QDir().mkpath(blocked + "/one___fullmask.pgm"));
    EXPECT_EQ(run({project, "-o", blocked, "--full-mask"}), 4);
    EXPECT_TRUE(err.contains(blocked + "/one___fullmask.pgm")) << err.toStdString();

    // So does an image that is missing or does not decode; the rest is still written.
    ASSERT_TRUE(QFile::remove(dir.path("one.pgm")));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("three.tiff"), "II*\0 broken"));
    const QString partial = dir.path("partial");
    EXPECT_EQ(run({project, "-o", partial, "--full-mask"}), 4);
    for (const char* image : {"one.pgm", "three.tiff"})
        EXPECT_TRUE(err.contains("Cannot read the image '" + dir.path(image) + "'")) << err.toStdString();
    EXPECT_TRUE(QFileInfo(partial + "/one___fullmask.pgm").isFile());
}

// Ctrl-C or SIGTERM: the file being written is finished, no other started, the exit code says so.
TEST_F(ExportCommand, StopsCleanlyOnCtrlCAndSigterm) {
    const QString project = writeLargeProject(dir);

    for (const auto& [signal, name] : {std::pair{SIGINT, "Ctrl-C"}, std::pair{SIGTERM, "SIGTERM"}}) {
        SCOPED_TRACE(name);
        const QString target = dir.path(QString("out-%1").arg(signal));
        process.start(PXM_EXPORT_BINARY, {project, "-o", target, "--full-mask", "--all-images"});
        ASSERT_TRUE(process.waitForStarted());

        // Interrupt once a few masks are out.
        QElapsedTimer clock;
        clock.start();
        while (masksIn(target).size() < 3 && clock.elapsed() < 120000 && process.state() == QProcess::Running)
            QThread::msleep(10);
        ASSERT_EQ(process.state(), QProcess::Running) << "the export ended before it could be interrupted";
        ASSERT_EQ(::kill(pid_t(process.processId()), signal), 0);
        ASSERT_TRUE(process.waitForFinished(120000));

        const QString errors = QString::fromLocal8Bit(process.readAllStandardError());
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 128 + signal) << errors.toStdString();
        const QString said = "pixmarker-export: Interrupted by %1; the files written before stay complete.";
        EXPECT_TRUE(errors.contains(said.arg(name))) << errors.toStdString();

        // Only whole masks: no temporary left behind, each one readable whole (what it holds is the worker
        // test's).
        const QStringList masks = masksIn(target);
        EXPECT_EQ(filesIn(target), masks) << "nothing but finished masks in the output";
        EXPECT_GE(masks.size(), 3);
        EXPECT_LT(masks.size(), kImages) << "the export stopped early";
        for (const QString& file : masks) {
            const auto mask = load(target + "/" + file);
            ASSERT_TRUE(mask) << file.toStdString();
            EXPECT_EQ(mask->size(), KYVO::CSize(kSide, kSide, 1));
        }
    }
}

#endif
