// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "display/ZoomToolBar.h"
#include "display/ZoomToolBarView.h"
#include "model/Project.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"
#include "tools/View.h"

#include <QSignalSpy>
#include <QUndoCommand>
#include <QUndoStack>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>

using pxm::LabeledImage;
using pxm::MainWindow;
using pxm::Project;

namespace {

// Redirects one standard stream into a string while it lives.
class StreamCapture {
public:
    explicit StreamCapture(std::ostream& stream) : m_stream(stream), m_old(stream.rdbuf(m_buffer.rdbuf())) {}
    ~StreamCapture() { m_stream.rdbuf(m_old); }
    std::string take() {
        std::string text = m_buffer.str();
        m_buffer.str({});
        return text;
    }

private:
    std::ostream& m_stream;
    std::ostringstream m_buffer;
    std::streambuf* m_old;
};

// Keeps the registry in a private directory for each test.
class MainWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        KYVO::CRegistry::SetStorageDirectory(dir.path("config"));
        KYVO::CRegistry::Obj().Clear();
    }
    void TearDown() override {
        KYVO::CRegistry::Obj().Clear();
        KYVO::CRegistry::SetStorageDirectory(QString());
    }
    /// A 3 x 2 grey image file.
    QString writeImage(const QString& name) {
        const QString path = dir.path(name);
        pxmtest::writeFile(path, QByteArray("P5\n3 2\n255\n") + QByteArray(6, '\x20'));
        return path;
    }
    LabeledImage* addImage(Project& project, const QString& path) {
        auto* image = new LabeledImage(&project);
        image->setImagePath(path);
        project.addImage(image);
        return image;
    }

    pxmtest::TempDir dir;
};

QtMessageHandler g_previousHandler = nullptr;
QStringList g_warnings;
void collectWarnings(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtWarningMsg)
        g_warnings << text;
}

} // namespace

TEST_F(MainWindowTest, StandaloneWindowLoadsAndEveryWindowSavesTheRegistry) {
    ASSERT_TRUE(QDir().mkpath(dir.path("config")));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("config/Lumarka.json"), R"({"main": {"Marker": "kept"}})"));
    {
        StreamCapture out(std::cout);
        MainWindow plugin(nullptr, false);
        EXPECT_EQ(out.take(), "Nodara standalone0\n");
        EXPECT_FALSE(KYVO::CRegistry::Obj().Has("main/Marker")) << "only the standalone window loads";
        MainWindow standalone(nullptr, true);
        EXPECT_EQ(out.take(), "Nodara standalone1\nConfiguration loading successful.\n");
        EXPECT_EQ(KYVO::CRegistry::Obj().GetString("main/Marker"), "kept");

        // Every closing window saves, project windows too.
        KYVO::CRegistry::Obj().SetString("main/Marker", "changed");
        QSignalSpy closed(&plugin, &MainWindow::closed);
        plugin.show();
        EXPECT_TRUE(plugin.close());
        EXPECT_EQ(out.take(), "Configuration saving successful.\n");
        EXPECT_EQ(closed.count(), 1);
        EXPECT_TRUE(pxmtest::readFile(dir.path("config/Lumarka.json")).contains("changed"));
    }

    // A corrupt store fails to load, and an unwritable directory fails to save.
    ASSERT_TRUE(pxmtest::writeFile(dir.path("config/Lumarka.json"), "{ broken"));
    StreamCapture err(std::cerr);
    MainWindow standalone(nullptr, true);
    EXPECT_EQ(err.take(), "Configuration loading failed!\n");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("file"), "x"));
    KYVO::CRegistry::SetStorageDirectory(dir.path("file/sub"));
    standalone.show();
    standalone.close();
    EXPECT_EQ(err.take(), "Configuration saving failed.\n");
}

TEST_F(MainWindowTest, SetProjectRefusesNullAndFollowsPathAndCleanState) {
    MainWindow window(nullptr, false);
    QSignalSpy changed(&window, &MainWindow::projectChanged);
    g_warnings.clear();
    g_previousHandler = qInstallMessageHandler(collectWarnings);
    window.setProject(nullptr);
    qInstallMessageHandler(g_previousHandler);
    EXPECT_EQ(g_warnings, QStringList{"Setting the project to NULL is currently not supported."});
    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(window.windowTitle(), "Pixmarker");

    Project project;
    window.setProject(&project);
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed[0][0].value<Project*>(), &project);
    EXPECT_EQ(window.project(), &project);
    EXPECT_EQ(window.windowTitle(), "Pixmarker - Unsaved");
    project.setPath("/data/p.json");
    EXPECT_EQ(window.windowTitle(), "Pixmarker - /data/p.json");
    project.undoStack()->push(new QUndoCommand("edit"));
    EXPECT_EQ(window.windowTitle(), "Pixmarker - /data/p.json*");
    project.undoStack()->setClean();
    EXPECT_EQ(window.windowTitle(), "Pixmarker - /data/p.json");
}

TEST_F(MainWindowTest, ShownSceneIsPinnedWhileOnScreen) {
    Project project;
    LabeledImage* first = addImage(project, writeImage("a.pgm"));
    LabeledImage* second = addImage(project, writeImage("b.pgm"));
    addImage(project, dir.path("missing.png"));
    MainWindow window(nullptr, false);
    window.setProject(&project);
    EXPECT_EQ(window.shownScene(), nullptr) << "nothing is loaded before the window is shown";
    EXPECT_FALSE(window.zoomToolBar()->isEnabled());

    window.show();
    // The image knew only its path; showing it loaded it and made its scene.
    pxm::Scene* firstScene = window.shownScene();
    ASSERT_NE(firstScene, nullptr);
    EXPECT_EQ(firstScene, project.currentScene());
    EXPECT_EQ(first->width(), 3u);
    EXPECT_EQ(window.view()->scene(), firstScene);
    EXPECT_EQ(firstScene->usageCount(), 1u);
    EXPECT_NE(first->image(), nullptr);
    EXPECT_TRUE(window.view()->isEnabled());
    EXPECT_TRUE(window.zoomToolBar()->isEnabled());

    project.setCurrentImageIndex(1);
    ASSERT_NE(window.shownScene(), nullptr);
    EXPECT_EQ(window.shownScene(), second->scene(0));
    EXPECT_EQ(firstScene->usageCount(), 0u);
    EXPECT_EQ(first->image(), nullptr) << "the replaced image is released";
    EXPECT_EQ(second->scene(0)->usageCount(), 1u);

    // An image that cannot be read has no scene: nothing is shown, the view is disabled.
    project.setCurrentImageIndex(2);
    EXPECT_EQ(window.shownScene(), nullptr);
    EXPECT_FALSE(window.view()->isEnabled());
    EXPECT_EQ(second->scene(0)->usageCount(), 0u);
    project.setCurrentImageIndex(1);

    StreamCapture out(std::cout);
    window.close();
    EXPECT_EQ(window.shownScene(), nullptr);
    EXPECT_EQ(second->scene(0)->usageCount(), 0u);
    EXPECT_FALSE(window.view()->isEnabled());

    // Shown again, it takes the current scene back.
    window.show();
    EXPECT_EQ(window.shownScene(), second->scene(0));
    EXPECT_EQ(second->scene(0)->usageCount(), 1u);
}
