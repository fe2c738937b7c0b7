// SPDX-License-Identifier: MIT
// Runs the built pixmarker-export program the way a pipeline would: a separate process
// with neither a display nor a chosen Qt platform; and interrupts it in the middle of an export.
#include "exchange/ExchangeTestSupport.h"
#include "persistence/ProjectSerializer.h"

#include <QElapsedTimer>
#include <QGraphicsPolygonItem>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>
#include <signal.h>

#ifdef PXM_EXPORT_BINARY

using namespace pxm;
using namespace pxmtest;

namespace {

struct Outcome {
    int exitCode;
    QString out;
    QString err;
};

Outcome runExport(const QStringList& arguments) {
    ChildProgram program(PXM_EXPORT_BINARY);
    QProcessEnvironment environment = program.process.processEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(name);
    program.process.setProcessEnvironment(environment);
    const int exitCode = program.run(arguments);
    return {exitCode, program.out, program.err};
}

/// Labels a (mask id 3) and b (mask id 8); one.pgm with a rectangle of a and a triangle of b,
/// two.pgm without shapes, three.tiff (2 layers) with a rectangle of b on layer 1.
QString writeProject(const pxmtest::TempDir& dir) {
    Project project;
    const Label* a = addLabel(project, "a", 10, 3);
    const Label* b = addLabel(project, "b", 20, 8);
    LabeledImage* one = addImageFile(project, dir, "one.pgm", 12, 10);
    addImageFile(project, dir, "two.pgm", 12, 10);
    LabeledImage* three = addImageFile(project, dir, "three.tiff", 6, 5, 2);
    addRect(one->scene(0), QRectF(1, 1, 4, 3), a);
    auto* triangle = new QGraphicsPolygonItem(QPolygonF({{6, 2}, {11, 2}, {11, 9}}));
    one->scene(0)->addLabelItem(triangle, b);
    addRect(three->scene(1), QRectF(2, 1, 3, 3), b);
    const QString path = dir.path("p.json");
    ProjectSerializer::write(&project, path, false);
    return path;
}

constexpr int kImages = 300;
constexpr int kSide = 1024;

/// Images that know their size but whose files are gone, each with one rectangle: every full
/// mask is a 1 MiB file of its own, so an export takes long enough to be interrupted.
QString writeLargeProject(const pxmtest::TempDir& dir) {
    Project project;
    const Label* label = addLabel(project, "cell", 4, 9);
    for (int i = 0; i < kImages; ++i) {
        const QString path = dir.path(QString("gone%1.png").arg(i, 3, 10, QChar('0')));
        addRect(addUnloadedImage(project, path, kSide, kSide)->scene(0), QRectF(10, 20, 100, 50), label);
    }
    const QString path = dir.path("large.json");
    ProjectSerializer::write(&project, path, false);
    return path;
}

QStringList masksIn(const QString& directory) {
    return QDir(directory).entryList({"*_fullmask.pgm"}, QDir::Files, QDir::Name);
}

} // namespace

TEST(ExportCommand, AnswersBadInputWithItsExitCodes) {
    pxmtest::TempDir dir;
    const QString project = writeProject(dir);
    const QString out = dir.path("out");
    pxmtest::writeFile(dir.path("corrupt.json"), "{\"$type\": \"pxm::Project\", \"labels\": [");
    pxmtest::writeFile(dir.path("plain"), "a file where a directory should be");

    struct Case {
        QStringList arguments;
        int exitCode;
    };
    const QList<Case> cases = {
        {{"--help"}, 0},
        {{}, 2},
        {{project}, 2},
        {{project, "-o", out, "--bogus"}, 2},
        {{project, project, "-o", out}, 2},
        {{project, "-o", out, "--skip-unlabeled", "--all-images"}, 2},
        {{dir.path("missing.json"), "-o", out}, 3},
        {{dir.path("corrupt.json"), "-o", out}, 3},
        {{project, "-o", dir.path("plain/sub")}, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments.join(' ').toStdString());
        const Outcome outcome = runExport(c.arguments);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.err.toStdString();
        if (c.exitCode == 0)
            EXPECT_TRUE(outcome.out.contains("Usage: pixmarker-export"));
        else
            EXPECT_TRUE(outcome.err.contains("pixmarker-export: ")) << outcome.err.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(out)) << "nothing is created before the project is read";
}

TEST(ExportCommand, ExportsAProjectWithoutADisplay) {
    pxmtest::TempDir dir;
    const QString project = writeProject(dir);

    // Defaults: full masks only, unlabeled images skipped; the output directory is created.
    const QString out = dir.path("out/masks");
    Outcome outcome = runExport({project, "-o", out});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err.toStdString();
    EXPECT_FALSE(outcome.err.contains("Exporting [")) << "no progress bar when stderr is not a terminal";
    EXPECT_EQ(filesIn(out), sorted({"one___fullmask.pgm", "three___fullmask.okav.gz"}));
    const auto flat = load(out + "/one___fullmask.pgm");
    const auto stack = load(out + "/three___fullmask.okav.gz");
    ASSERT_TRUE(flat && stack);
    struct Probe {
        const KYVO::CImage* volume;
        int x, y, z;
        double value;
    };
    const QList<Probe> probes = {{flat.get(), 2, 2, 0, 3},  {flat.get(), 10, 4, 0, 8},
                                 {flat.get(), 7, 8, 0, 0},  {flat.get(), 0, 0, 0, 0},
                                 {stack.get(), 3, 2, 1, 8}, {stack.get(), 3, 2, 0, 0},
                                 {stack.get(), 0, 4, 1, 0}};
    for (const Probe& p : probes) {
        SCOPED_TRACE(testing::Message() << p.x << "," << p.y << "," << p.z);
        EXPECT_EQ(p.volume->value(p.x, p.y, p.z), p.value);
    }

    // Chosen targets, every image, a pattern of our own.
    const QString all = dir.path("all");
    outcome = runExport({project, "-o", all, "--bool-masks", "--karo", "--vgg", "--all-images", "--pattern",
                         "{image_name}-{label_name}{z_layer}"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err.toStdString();
    EXPECT_EQ(filesIn(all),
              sorted({"-.vgg.json", "one-0.mark", "one-a_mask.pbm", "one-b_mask.pbm", "three-0.mark",
                      "three-1.mark", "three-a_mask.okav.gz", "three-b_mask.okav.gz", "two-0.mark",
                      "two-a_mask.pbm", "two-b_mask.pbm"}));
    const auto b = load(all + "/one-b_mask.pbm");
    ASSERT_TRUE(b);
    EXPECT_EQ(b->value(10, 4, 0), 1.0);
    EXPECT_EQ(b->value(2, 2, 0), 0.0);

    // A file that cannot be written fails the run, but the others are still written.
    const QString blocked = dir.path("blocked");
    ASSERT_TRUE(QDir().mkpath(blocked + "/one___fullmask.pgm"));
    outcome = runExport({project, "-o", blocked, "--full-mask"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(outcome.err.contains(blocked + "/one___fullmask.pgm")) << outcome.err.toStdString();
    EXPECT_TRUE(QFileInfo(blocked + "/three___fullmask.okav.gz").isFile());

    // So does an image that is missing or does not decode; the rest is still written.
    ASSERT_TRUE(QFile::remove(dir.path("one.pgm")));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("three.tiff"), "II*\0 broken"));
    const QString partial = dir.path("partial");
    outcome = runExport({project, "-o", partial, "--full-mask"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_TRUE(outcome.err.contains("Cannot read the image '" + dir.path("one.pgm") + "'"))
        << outcome.err.toStdString();
    EXPECT_TRUE(outcome.err.contains("Cannot read the image '" + dir.path("three.tiff") + "'"));
    EXPECT_TRUE(QFileInfo(partial + "/one___fullmask.pgm").isFile());
}

// Ctrl-C or SIGTERM in the middle of an export: the program finishes the file it is writing,
// starts no other, and says so in its exit code; what it wrote stays complete.
TEST(ExportCommand, StopsCleanlyOnCtrlCAndSigterm) {
    pxmtest::TempDir dir;
    const QString project = writeLargeProject(dir);

    struct Case {
        int signal;
        const char* name;
    };
    for (const Case& c : {Case{SIGINT, "Ctrl-C"}, Case{SIGTERM, "SIGTERM"}}) {
        SCOPED_TRACE(c.name);
        const QString out = dir.path(QString("out-%1").arg(c.signal));
        QProcess process;
        process.setProcessEnvironment(pxmtest::childEnvironment(dir));
        process.start(PXM_EXPORT_BINARY, {project, "-o", out, "--full-mask", "--all-images"});
        ASSERT_TRUE(process.waitForStarted());

        // Interrupt once a few masks are out.
        QElapsedTimer clock;
        clock.start();
        while (masksIn(out).size() < 3 && clock.elapsed() < 120000 && process.state() == QProcess::Running)
            QThread::msleep(10);
        ASSERT_EQ(process.state(), QProcess::Running) << "the export ended before it could be interrupted";
        ASSERT_EQ(::kill(pid_t(process.processId()), c.signal), 0);
        ASSERT_TRUE(process.waitForFinished(120000));

        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 128 + c.signal) << err.toStdString();
        EXPECT_TRUE(err.contains(QString("pixmarker-export: Interrupted by %1; the files written before stay "
                                         "complete.")
                                     .arg(c.name)))
            << err.toStdString();

        // Only whole masks: no temporary left behind, each one readable with its rectangle.
        const QStringList masks = masksIn(out);
        EXPECT_EQ(filesIn(out), masks) << "nothing but finished masks in the output";
        EXPECT_GE(masks.size(), 3);
        EXPECT_LT(masks.size(), kImages) << "the export stopped early";
        for (const QString& name : masks) {
            const auto mask = load(out + "/" + name);
            ASSERT_TRUE(mask) << name.toStdString();
            EXPECT_EQ(mask->size(), KYVO::CSize(kSide, kSide, 1));
            EXPECT_EQ(mask->value(50, 40, 0), 9) << name.toStdString();
            EXPECT_EQ(mask->value(kSide - 1, kSide - 1, 0), 0) << name.toStdString();
        }
    }
}

#endif
