// SPDX-License-Identifier: MIT
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"
#include "scene/LabeledImage.h"
#include "scene/SceneTestSupport.h"
#include "tools/View.h"
#include "ui/MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QMouseEvent>
#include <QTimer>
#include <QUndoStack>
#include <algorithm>
#include <gtest/gtest.h>

// A plug-in may drop its project while the window still exists: the window, its view and
// its panels let go of everything without touching what is gone.
TEST(MainWindowLifetime, WindowOutlivesItsProject) {
    auto* project = new pxm::Project;
    for (int i = 0; i < 3; ++i)
        pxmtest::addImage(*project, 8, 8);
    project->createLabel();
    auto* onDisk = new pxm::LabeledImage(project);
    onDisk->setImagePath("/nonexistent/x.png");
    project->addImage(onDisk);
    project->setSetting("ImageChooser.filter", QVariantMap{{"namePattern", "*.png"}});
    pxm::MainWindow window(nullptr, false);
    window.setProject(project);
    window.show();
    QApplication::processEvents();
    delete project;
    QApplication::processEvents();
    EXPECT_EQ(window.project(), nullptr);
    EXPECT_EQ(window.view()->project(), nullptr);
    EXPECT_EQ(window.view()->currentScene(), nullptr);
    EXPECT_FALSE(window.view()->isEnabled());
}

// Reannotation works on a mask, so it is offered exactly while the shown image has one.
TEST(MainWindowLifetime, ReannotationFollowsTheMaskAndExportPutsTheToolDown) {
    pxm::Project project;
    pxm::LabeledImage* image = pxmtest::addImage(project, 8, 8);
    project.createLabel();
    pxm::MainWindow window(nullptr, false);
    window.setProject(&project);
    window.show();
    QApplication::processEvents();
    QAction* reannotation = window.findChild<QAction*>("actionReannotation");
    ASSERT_NE(reannotation, nullptr);
    EXPECT_FALSE(reannotation->isEnabled());
    EXPECT_TRUE(reannotation->toolTip().contains("Needs a loaded label mask")) << "says why it is off";
    image->setMask(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(8, 8, 1)), true, false);
    EXPECT_TRUE(reannotation->isEnabled());
    EXPECT_FALSE(reannotation->toolTip().contains("Needs"));
    // The keys that step through images work from the start: the view has the focus.
    EXPECT_EQ(window.focusWidget(), window.view());

    // The ruler's drawing is gone while the export dialog is open, and the ruler comes back.
    pxm::View* view = window.view();
    view->setTool(pxm::ToolType::Ruler);
    const int plain = view->currentScene()->items().size();
    const QPoint p = view->mapFromScene(QPointF(2, 2));
    QMouseEvent press(QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &press);
    ASSERT_GT(view->currentScene()->items().size(), plain);
    int itemsDuringExport = -1;
    QTimer::singleShot(0, [&]() {
        itemsDuringExport = view->currentScene()->items().size();
        if (QWidget* dialog = QApplication::activeModalWidget())
            dialog->close();
    });
    QAction* exportAction = window.findChild<QAction*>("actionExport");
    ASSERT_NE(exportAction, nullptr);
    exportAction->trigger();
    EXPECT_EQ(itemsDuringExport, plain);
    EXPECT_EQ(view->toolType(), pxm::ToolType::Ruler);
}

// An eraser stroke undone while another image is shown reaches its image all the same,
// through the files its mask and erasures were swapped out to; the window is clean exactly
// when the stack is.
TEST(MainWindowLifetime, UndoReachesAnImageThatIsNotShown) {
    pxmtest::TempDir dir;
    KYVO::CImage pixels(KYVO::IMAGE_GREY_8, KYVO::CSize(16, 16, 1));
    std::fill(pixels.data(), pixels.data() + 256, uint8_t(1));
    for (const char* name : {"a.pgm", "a_mask.pgm", "b.pgm"})
        KYVO::CImageIo2::Save(dir.path(name).toStdString(), pixels);
    pxm::Project project;
    project.createLabel();
    for (const char* name : {"a.pgm", "b.pgm"}) {
        auto* image = new pxm::LabeledImage(&project);
        image->setImagePath(dir.path(name));
        project.addImage(image);
    }
    pxm::LabeledImage* first = project.images()[0];
    first->setMaskPath(dir.path("a_mask.pgm"));
    project.setPath(dir.path("p.json"));
    pxm::MainWindow window(nullptr, false);
    window.setProject(&project);
    window.resize(800, 600);
    window.show();
    QApplication::processEvents();
    pxm::View* view = window.view();
    view->setTool(pxm::ToolType::Eraser);
    const QPoint at = view->mapFromScene(QPointF(5.5, 5.5));
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(view->viewport(), &event);
    }
    ASSERT_NE(first->scene(0)->maskItem(), nullptr);
    ASSERT_EQ(first->scene(0)->maskItem()->value(QPoint(5, 5)), 0) << "erased";
    EXPECT_TRUE(window.windowTitle().endsWith('*'));

    project.setCurrentImageIndex(1);
    QApplication::processEvents();
    EXPECT_EQ(first->mask(), nullptr) << "the unchanged mask is let go while not shown";
    project.undoStack()->undo();
    EXPECT_TRUE(project.undoStack()->isClean());
    EXPECT_FALSE(window.windowTitle().endsWith('*'));
    project.setCurrentImageIndex(0);
    QApplication::processEvents();
    ASSERT_NE(first->scene(0)->maskItem(), nullptr);
    EXPECT_EQ(first->scene(0)->maskItem()->value(QPoint(5, 5)), 1) << "the erasure is undone";
}
