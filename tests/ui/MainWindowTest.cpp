// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "display/ZoomToolBar.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/View.h"
#include "ui/HelpWidget.h"
#include "UiTestSupport.h"

#include <QAction>
#include <QActionGroup>
#include <QMenuBar>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QToolBar>
#include <QUndoCommand>
#include <QUndoStack>
#include <QUrl>

using pxm::LabeledImage;
using pxm::MainWindow;
using pxm::Project;
using uitest::StreamCapture;

namespace {

class MainWindowTest : public uitest::UiTest {};

QtMessageHandler g_previousHandler = nullptr;
QStringList g_warnings;
void collectWarnings(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtWarningMsg)
        g_warnings << text;
}

QAction* findAction(const MainWindow& window, const QString& text, const QString& toolTip) {
    for (QAction* action : window.findChildren<QAction*>()) {
        if (action->text() == text && action->toolTip() == toolTip)
            return action;
    }
    return nullptr;
}

/// Entry texts of a menu or tool bar, "-" for a separator and "<title>" for a submenu.
QStringList entryTexts(const QList<QAction*>& actions) {
    QStringList texts;
    for (QAction* action : actions) {
        if (action->isSeparator())
            texts << "-";
        else if (action->menu())
            texts << "<" + action->menu()->title() + ">";
        else if (action->text().isEmpty() && !action->toolTip().isEmpty())
            texts << "[" + action->toolTip() + "]";
        else
            texts << action->text();
    }
    return texts;
}

} // namespace

TEST_F(MainWindowTest, StandaloneWindowLoadsAndEveryWindowSavesTheRegistry) {
    ASSERT_TRUE(QDir().mkpath(dir.path("config")));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("config/Lumarka.json"), R"({"main": {"Marker": "kept"}})"));
    out.take();
    {
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
    EXPECT_EQ(window.view()->project(), &project) << "the view follows the window";
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
    MainWindow window(nullptr, false);
    window.setProject(&project);
    EXPECT_EQ(window.shownScene(), nullptr) << "nothing is loaded before the window is shown";

    window.show();
    // The image knew only its path; showing it loaded it and made its scene.
    pxm::Scene* firstScene = window.shownScene();
    ASSERT_NE(firstScene, nullptr);
    EXPECT_EQ(firstScene, project.currentScene());
    EXPECT_EQ(first->width(), 3u);
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

    window.close();
    EXPECT_EQ(window.shownScene(), nullptr);
    EXPECT_EQ(second->scene(0)->usageCount(), 0u);

    // Shown again, it takes the current scene back.
    window.show();
    EXPECT_EQ(window.shownScene(), second->scene(0));
    EXPECT_EQ(second->scene(0)->usageCount(), 1u);
}

// Every action of the window with its text, tool tip, shortcut and state in a fresh window.
TEST_F(MainWindowTest, FreshWindowHasEveryActionWithItsShortcutAndState) {
    struct Row {
        const char* text;
        const char* toolTip;
        QKeySequence::StandardKey standardKey;
        const char* keys;
        bool enabled;
        bool visible;
        bool checkable;
        bool hasIcon;
    };
    const auto U = QKeySequence::UnknownKey;
    const std::vector<Row> rows = {
        {"&Save", "Save project", QKeySequence::Save, "", true, true, false, true},
        {"&Save as", "Save as", QKeySequence::SaveAs, "", true, true, false, false},
        {"Mask", "Import a label mask for the current image.", U, "", false, true, false, false},
        {"Labels", "Import label definitions from a JSON or CSV file.", U, "", true, true, false, false},
        {"VOC", "Import a Pascal Visual Object Classifier file.", U, "", true, true, false, false},
        {"KARO Mark", "Import a KARO mark file.", U, "", true, true, false, false},
        {"LabelMe", "Import a LabelMe file.", U, "", true, true, false, false},
        {"Export", "Render image masks which contain the label information.", U, "", true, true, false, false},
        {"&New project", "New project", QKeySequence::New, "", true, true, false, true},
        {"&Open", "Open project", QKeySequence::Open, "", true, true, false, true},
        {"Open an image", "Add a new image to the project.", U, "", true, true, false, true},
        {"&Quit", "Quit", QKeySequence::Close, "", true, true, false, true},
        {"&Reload Nodara Input", "Reload Nodara Input", QKeySequence::Refresh, "", false, false, false, true},
        {"Rotate left", "Rotate left", U, "", true, true, false, true},
        {"Rotate right", "Rotate right", U, "", true, true, false, true},
        {"Flip horizontally", "Flip horizontally", U, "", true, true, false, true},
        {"Flip vertically", "Flip vertically", U, "", true, true, false, true},
        {"&Restore view", "Restore view", U, "Ctrl+0", true, true, false, true},
        {"Zoom to fit", "Zoom to fit", U, "", true, true, false, true},
        {"Normalize", "Normalize", U, "", true, true, false, true},
        {"&Previous image", "Scroll to the previous image.", U, "Backspace", true, true, false, false},
        {"&Next image", "Scroll to the next image.", U, "Space", true, true, false, false},
        {"&Run Script", "Run script on this image.", U, "S", true, true, false, false},
        {"&Previous slice", "Scroll to the previous 3D image slice.", U, "Ctrl+Down", true, true, false, false},
        {"&Next slice", "Scroll to the next 3D image slice.", U, "Ctrl+Up", true, true, false, false},
        {"", "Open window for reannotation.", U, "", false, true, false, true},
        {"Rectangle", "Draw and edit rectangles.", U, "", false, true, true, true},
        {"Ellipse", "Draw and edit ellipses.", U, "", false, true, true, true},
        {"Polygon", "Draw and edit polygons.", U, "", false, true, true, true},
        {"Line", "Draw and edit lines.", U, "", false, true, true, true},
        {"Point", "Draw arbitrary shapes pixelwise.", U, "", false, true, true, true},
        {"Reassign", "Changes the label of a region to the currently select label in the label list.", U, "", false,
         true, true, true},
        {"Transformation", "Resize, move and rotate labeled regions.", U, "", false, true, true, true},
        {"Eraser", "Erase labeled regions.", U, "", false, true, true, true},
        {"Ruler", "Measure lengths and angles.", U, "", false, true, true, true},
        {"&Undo", "Undo", QKeySequence::Undo, "", false, true, false, true},
        {"&Redo", "Redo", QKeySequence::Redo, "", false, true, false, true},
        {"&Help", "Opens the online documentation.", QKeySequence::HelpContents, "", true, true, false, false},
        {"About", "Shows some information about this Pixmarker instance.", U, "", true, true, false, false},
    };
    MainWindow window(nullptr, false);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.toolTip);
        QAction* action = findAction(window, row.text, row.toolTip);
        ASSERT_NE(action, nullptr);
        const QList<QKeySequence> expected = row.standardKey != U ? QKeySequence::keyBindings(row.standardKey)
                                             : *row.keys ? QList<QKeySequence>{QKeySequence(row.keys)}
                                                         : QList<QKeySequence>{};
        EXPECT_EQ(action->shortcuts(), expected);
        // Tool actions are enabled as a group; the group is off until there is an image.
        EXPECT_EQ(action->isEnabled(), row.enabled);
        EXPECT_EQ(action->isVisible(), row.visible);
        EXPECT_EQ(action->isCheckable(), row.checkable);
        EXPECT_EQ(!action->icon().isNull(), row.hasIcon);
        if (row.checkable) {
            EXPECT_EQ(action->actionGroup(), window.toolActionGroup());
        }
    }
    EXPECT_TRUE(window.toolActionGroup()->isExclusive());
    EXPECT_FALSE(window.zoomToolBar()->isEnabled());
    EXPECT_FALSE(window.windowIcon().isNull());
}

TEST_F(MainWindowTest, MenusAndToolBarsComeInTheirOrder) {
    MainWindow window(nullptr, false);
    QStringList bar;
    for (QAction* action : window.menuBar()->actions())
        bar << (action->menu() ? action->menu()->title() : action->text());
    EXPECT_EQ(bar, (QStringList{"Project", "Edit", "View", "Settings", "About", "&Help"}));

    const QList<QAction*> menus = window.menuBar()->actions();
    EXPECT_EQ(entryTexts(menus[0]->menu()->actions()),
              (QStringList{"&New project", "&Open", "<Recently Opened>", "&Save", "&Save as", "Export", "<Import>",
                           "&Reload Nodara Input", "-", "&Quit"}));
    EXPECT_EQ(entryTexts(window.importMenu()->actions()),
              (QStringList{"Mask", "Labels", "VOC", "KARO Mark", "LabelMe"}));
    EXPECT_EQ(entryTexts(menus[1]->menu()->actions()),
              (QStringList{"Rectangle", "Ellipse", "Polygon", "Line", "Point", "-", "Transformation", "Eraser",
                           "Reassign", "Ruler", "-", "&Undo", "&Redo"}));
    EXPECT_EQ(entryTexts(menus[2]->menu()->actions()),
              (QStringList{"Zoom to fit", "Normalize", "-", "Rotate left", "Rotate right", "Flip horizontally",
                           "Flip vertically", "&Restore view", "-", "&Previous image", "&Next image", "&Run Script",
                           "&Previous slice", "&Next slice"}));

    // Tool bars in the order they were added, all kept to the top.
    QList<QToolBar*> bars;
    for (QToolBar* toolBar : window.findChildren<QToolBar*>(QString(), Qt::FindDirectChildrenOnly))
        if (window.toolBarArea(toolBar) == Qt::TopToolBarArea)
            bars << toolBar;
    window.show();
    std::sort(bars.begin(), bars.end(), [](QToolBar* a, QToolBar* b) {
        return a->y() != b->y() ? a->y() < b->y() : a->x() < b->x();
    });
    ASSERT_EQ(bars.size(), 4);
    EXPECT_EQ(bars[0]->windowTitle(), "Project");
    EXPECT_EQ(bars[1]->windowTitle(), "View");
    EXPECT_EQ(bars[2], window.zoomToolBar());
    EXPECT_EQ(bars[3]->windowTitle(), "Edit");
    for (QToolBar* toolBar : bars)
        EXPECT_EQ(toolBar->allowedAreas(), Qt::TopToolBarArea);
    EXPECT_EQ(entryTexts(bars[0]->actions()), (QStringList{"&New project", "&Open", "&Save", "Open an image", "-",
                                                           "&Undo", "&Redo", "-", "&Reload Nodara Input"}));
    EXPECT_EQ(entryTexts(bars[1]->actions()), (QStringList{"Zoom to fit", "Normalize", "Rotate left", "Rotate right",
                                                           "Flip horizontally", "Flip vertically", "&Restore view"}));
    EXPECT_EQ(entryTexts(bars[3]->actions()),
              (QStringList{"Transformation", "Rectangle", "Ellipse", "Polygon", "Line", "Point", "Reassign",
                           "[Open window for reannotation.]", "Eraser", "Ruler"}));
    window.close();
}
