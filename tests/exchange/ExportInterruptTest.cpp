// SPDX-License-Identifier: MIT
// Ctrl-C or SIGTERM in the middle of an export: the real pixmarker-export finishes the file it
// is writing, starts no other, and says so in its exit code; what it wrote stays complete.
#include "exchange/ExchangeTestSupport.h"
#include "persistence/ProjectSerializer.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>
#include <signal.h>

#ifdef PXM_EXPORT_BINARY

using namespace pxmtest;

namespace {

constexpr int kImages = 300;
constexpr int kSide = 1024;

/// Images that know their size but whose files are gone, each with one rectangle: every full
/// mask is a 1 MiB file of its own, so an export takes long enough to be interrupted.
QString writeLargeProject(const pxmtest::TempDir& dir) {
    pxm::Project project;
    const pxm::Label* label = addLabel(project, "cell", 4, 9);
    for (int i = 0; i < kImages; ++i) {
        auto* image = new pxm::LabeledImage(&project);
        image->setImagePath(dir.path(QString("gone%1.png").arg(i, 3, 10, QChar('0'))));
        image->setWidth(kSide);
        image->setHeight(kSide);
        image->setDepth(1);
        image->setColorChannels(1);
        image->createScenes();
        project.addImage(image);
        addRect(image->scene(0), QRectF(10, 20, 100, 50), label);
    }
    const QString path = dir.path("large.json");
    pxm::ProjectSerializer::write(&project, path, false);
    return path;
}

QStringList masksIn(const QString& directory) {
    return QDir(directory).entryList({"*_fullmask.pgm"}, QDir::Files, QDir::Name);
}

} // namespace

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
