// SPDX-License-Identifier: MIT
#include "app/CommandLine.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <gtest/gtest.h>

namespace {

// Starts the built program with a private configuration directory and no display.
class ProgramTest : public ::testing::Test, public pxmtest::ChildProgram {
protected:
    ProgramTest() : ChildProgram(PIXMARKER_BINARY) {}
};

} // namespace

TEST_F(ProgramTest, VersionAndUnreadableProjectsEndTheProgramBeforeAnyWindowAndImagesOpenOne) {
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_TRUE(out.endsWith("lumarka 1\n")) << out.toStdString();
    // A file the reader refuses (which of its messages is the reader's test) ends the program.
    ASSERT_TRUE(pxmtest::writeFile(dir.path("bad.json"), "{\"labels\": [1, 2,"));
    EXPECT_EQ(run({dir.path("bad.json"), dir.path("b.png")}), 2) << err.toStdString();
    const QStringList errorLines = err.split('\n').filter(QRegularExpression("^ERROR: "));
    ASSERT_EQ(errorLines.size(), 1) << err.toStdString();
    EXPECT_TRUE(errorLines[0].contains("bad.json")) << "the message names the file";
    // The first window was built (and loaded the registry) before the command line was read.
    EXPECT_TRUE(out.startsWith("Nodara standalone1\nConfiguration loading successful.\n"))
        << out.toStdString();
    EXPECT_FALSE(out.contains("Configuration saving")) << "no window was shown or closed";
    // Images open a window: a 2 x 2 grey image, and a name matching two endings refused the second time.
    out.clear();
    ASSERT_TRUE(pxmtest::writeFile(dir.path("a.pgm"), QByteArray("P5\n2 2\n255\n") + QByteArray(4, '\x40')));
    process.start(PIXMARKER_BINARY, {"a.pgm", "scan.tiff", "notes.txt"});
    ASSERT_TRUE(process.waitForStarted(30000));
    const QString duplicate =
        "The image '" + dir.path("scan.tiff") + "' has already been added to the project.\n";
    QElapsedTimer timer;
    timer.start();
    while (!out.contains(duplicate) && process.state() == QProcess::Running && timer.elapsed() < 120000) {
        process.waitForReadyRead(1000);
        out += QString::fromLocal8Bit(process.readAllStandardOutput());
    }
    ASSERT_TRUE(out.contains(duplicate)) << out.toStdString();
    // The window now shows the first image; the program must still be running its event loop.
    QThread::msleep(2000);
    out += QString::fromLocal8Bit(process.readAllStandardOutput());
    EXPECT_EQ(process.state(), QProcess::Running) << process.readAllStandardError().toStdString();
    EXPECT_EQ(out.count("has already been added"), 1);
}

TEST(CommandLine, SortsPositionalArgumentsIntoProjectsAndImages) {
    QStringList eleven;
    for (int i = 0; i < 11; ++i)
        eleven << QString("p%1.json").arg(i);

    const struct {
        const char* name;
        QStringList arguments;
        QStringList projects;
        QStringList images;
        bool newProject;
    } cases[] = {
        {"no arguments", {}, {}, {}, true},
        {"only a project", {"a.json"}, {"a.json"}, {}, false},
        {"project and image", {"a.json", "b.png"}, {"a.json"}, {"b.png"}, true},
        {"eleven projects", eleven, eleven.mid(0, 10), {}, false},
        {"tiff matches .tif and .tiff", {"scan.tiff"}, {}, {"scan.tiff", "scan.tiff"}, true},
        {"upper case and unknown endings", {"scan.PNG", "notes.txt"}, {}, {}, true},
        {"marker anywhere in the name", {"x.json.bak", "a.json.gz"}, {"x.json.bak", "a.json.gz"}, {}, false},
        // Images are collected ending by ending, so the table's order wins over the argument order.
        {"table order", {"c.png", "b.jpg", "a.ppm"}, {}, {"a.ppm", "b.jpg", "c.png"}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const pxm::CommandLineFiles files = pxm::sortArguments(c.arguments);
        EXPECT_EQ(files.projects, c.projects);
        EXPECT_EQ(files.images, c.images);
        EXPECT_EQ(files.opensNewProject(), c.newProject);
    }
}
