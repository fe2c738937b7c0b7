// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include "tools/ItemWatch.h"
#include "tools/ToolFactory.h"
#include "tools/Transformation.h"
#include "tools/ZoomView.h"

#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QScrollBar>
#include <QSignalSpy>

using namespace pxmtest;

namespace {

// Writes down every event the View hands it.
class RecordingTool : public pxm::Tool {
public:
    explicit RecordingTool(pxm::View* view) : Tool(view, pxm::ToolType::Reserved) {}
    void keyPressEvent(QKeyEvent* e) override { log << QString("keyPress %1").arg(e->key()); }
    void keyReleaseEvent(QKeyEvent* e) override { log << QString("keyRelease %1").arg(e->key()); }
    void mousePressEvent(QMouseEvent* e) override { log << QString("press %1").arg(int(e->modifiers())); }
    void mouseMoveEvent(QMouseEvent*) override { log << "move"; }
    void mouseReleaseEvent(QMouseEvent*) override { log << "release"; }
    void mouseDoubleClickEvent(QMouseEvent*) override { log << "double"; }
    void wheelEvent(QWheelEvent*) override { log << "wheel"; }
    void setScene(pxm::Scene* s) override { log << (s ? "scene" : "no scene"); }
    QStringList log;
};

class ViewTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        pxm::registerToolMaker(pxm::ToolType::Reserved, [](pxm::View* v) { return new RecordingTool(v); });
    }
    void TearDown() override {
        ToolFixture::TearDown();
        pxm::registerToolMaker(pxm::ToolType::Reserved, nullptr);
    }
    RecordingTool* recorder() {
        view->setTool(pxm::ToolType::Reserved);
        auto* tool = static_cast<RecordingTool*>(view->tool());
        tool->log.clear();
        return tool;
    }
    void wheel(QPoint angle, Qt::KeyboardModifiers m) {
        const QPoint p = at({100, 100});
        QWheelEvent event(p, view->viewport()->mapToGlobal(p), QPoint(), angle, Qt::NoButton, m, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(view->viewport(), &event);
    }
    pxm::LabeledImage* addSecondImage() {
        auto* second = new pxm::LabeledImage(&project);
        second->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(300, 100, 2)), true);
        project.addImage(second);
        return second;
    }
};

TEST_F(ViewTest, EventRulesDecideWhatTheToolAndTheZoomSee) {
    RecordingTool* tool = recorder();
    const double zoom = view->zoomFactor();
    // Ctrl+plus zooms on the press, which the tool does not see; the release reaches it.
    typeKey(Qt::Key_Plus, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_GT(view->zoomFactor(), zoom);
    EXPECT_EQ(tool->log, QStringList{QString("keyRelease %1").arg(Qt::Key_Plus)});
    typeKey(Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_NEAR(view->zoomFactor(), zoom, 1e-9);
    tool->log.clear();

    // Ctrl+Shift+left goes to the tool; Ctrl+left opens the magnifier instead, whose moves
    // the tool does not see, but whose release it does.
    press({50, 50}, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(tool->log, QStringList{QString("press %1").arg(int(Qt::ControlModifier | Qt::ShiftModifier))});
    EXPECT_EQ(view->zoomView(), nullptr);
    release({50, 50});
    tool->log.clear();
    press({50, 50}, Qt::LeftButton, Qt::ControlModifier);
    ASSERT_NE(view->zoomView(), nullptr);
    move({60, 60}, Qt::LeftButton, Qt::ControlModifier);
    release({60, 60}, Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(view->zoomView(), nullptr);
    EXPECT_EQ(tool->log, QStringList{"release"});
    tool->log.clear();

    // Ctrl+wheel zooms by the vertical delta alone and never scrolls or reaches the tool.
    const int scroll = view->horizontalScrollBar()->value();
    const double before = view->zoomFactor();
    wheel({120, 0}, Qt::ControlModifier);
    EXPECT_EQ(view->zoomFactor(), before);
    EXPECT_EQ(view->horizontalScrollBar()->value(), scroll);
    wheel({0, 120}, Qt::ControlModifier);
    EXPECT_GT(view->zoomFactor(), before);
    wheel({0, -120}, Qt::ControlModifier);
    EXPECT_NEAR(view->zoomFactor(), before, 1e-9);
    EXPECT_TRUE(tool->log.isEmpty());
    wheel({0, -120}, Qt::NoModifier);
    EXPECT_EQ(tool->log, QStringList{"wheel"});
    tool->log.clear();
    doubleClick({10, 10});
    EXPECT_EQ(tool->log, QStringList{"double"});
}

TEST_F(ViewTest, MiddleDragPansWhileTheToolStillSeesIt) {
    setZoom(4.0);
    RecordingTool* tool = recorder();
    const int h = view->horizontalScrollBar()->value();
    const int v = view->verticalScrollBar()->value();
    const QPoint start = at({100, 100});
    QMouseEvent pressEvent(QEvent::MouseButtonPress, start, Qt::MiddleButton, Qt::MiddleButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &pressEvent);
    QMouseEvent moveEvent(QEvent::MouseMove, start + QPoint(-30, -20), Qt::NoButton, Qt::MiddleButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &moveEvent);
    QMouseEvent releaseEvent(QEvent::MouseButtonRelease, start + QPoint(-30, -20), Qt::MiddleButton, Qt::NoButton,
                             Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &releaseEvent);
    EXPECT_EQ(view->horizontalScrollBar()->value(), h + 30);
    EXPECT_EQ(view->verticalScrollBar()->value(), v + 20);
    EXPECT_EQ(tool->log, (QStringList{"press 0", "move", "release"}));
}

TEST_F(ViewTest, SetToolSwitchesOnlyOnANewTypeAndKnowsNoGaps) {
    QSignalSpy changed(view, &pxm::View::toolChanged);
    view->setTool(pxm::ToolType::Ruler);
    pxm::Tool* ruler = view->tool();
    ASSERT_NE(ruler, nullptr);
    view->setTool(pxm::ToolType::Ruler);
    EXPECT_EQ(view->tool(), ruler);
    EXPECT_EQ(changed.count(), 1);
    for (int gap : {1, 2, 12, 13, 6, 9}) {
        view->setTool(pxm::ToolType(gap));
        EXPECT_EQ(view->tool(), nullptr) << gap;
        EXPECT_EQ(view->toolType(), pxm::ToolType::None);
        EXPECT_EQ(changed.last().at(0).value<pxm::ToolType>(), pxm::ToolType(gap));
    }
    pxm::registerToolMaker(pxm::ToolType::Reserved, nullptr);
    view->setTool(pxm::ToolType::Reserved);
    EXPECT_EQ(view->tool(), nullptr);
}

TEST_F(ViewTest, CameraIsRememberedPerImagePerProjectOrReset) {
    pxm::LabeledImage* second = addSecondImage();
    struct Case {
        const char* mode;
        bool firstRestored;
        bool secondIdentity;
    };
    for (const Case& c : {Case{"perImage", true, true}, Case{"perProject", true, false}, Case{"reset", false, false}}) {
        SCOPED_TRACE(c.mode);
        project.setSetting("View.cameraMode", QString(c.mode));
        project.setCurrentImageIndex(0);
        QApplication::processEvents();
        view->resetTransform();
        view->scale(3, 3);
        view->rotateRight();
        view->flipHorizontal();
        view->horizontalScrollBar()->setValue(view->horizontalScrollBar()->minimum() + 17);
        const QTransform first = view->transform();
        const int scroll = view->horizontalScrollBar()->value();

        project.setCurrentImageIndex(1);
        QApplication::processEvents();
        ASSERT_EQ(view->currentScene(), second->scene(0));
        if (c.secondIdentity) {
            EXPECT_TRUE(view->transform().isIdentity()) << "a new image is not fitted";
        } else if (QString(c.mode) == "perProject") {
            EXPECT_EQ(view->transform(), first);
        }
        // A z-layer change of one image keeps its camera in every mode but reset.
        view->rotateLeft();
        const QTransform secondCamera = view->transform();
        project.setCurrentZLayer(1);
        QApplication::processEvents();
        if (QString(c.mode) != "reset") {
            EXPECT_EQ(view->transform(), secondCamera);
        }

        project.setCurrentImageIndex(0);
        QApplication::processEvents();
        if (c.firstRestored && QString(c.mode) == "perImage") {
            EXPECT_EQ(view->transform(), first);
            EXPECT_EQ(view->horizontalScrollBar()->value(), scroll);
        }
        if (!c.firstRestored) {
            // Fitted: the whole 200 x 200 image fills the 420-pixel view.
            EXPECT_FALSE(view->transform().isRotating());
            EXPECT_NEAR(view->zoomFactor(), view->viewport()->width() / 200.0, 0.05);
        }
    }
    // An unknown mode is repaired to perProject in the settings.
    project.setSetting("View.cameraMode", QString("PerImage"));
    EXPECT_EQ(view->cameraMode(), "perProject");
    EXPECT_EQ(project.setting("View.cameraMode").toString(), "perProject");
}

TEST_F(ViewTest, CameraDoesNotDriftOverRoundTripsAndResetFitsTheSettledViewport) {
    addSecondImage();
    const auto settle = [] {
        for (int i = 0; i < 3; ++i)
            QApplication::processEvents();
    };
    // Zoomed in on the first image, none on the second: the scroll bars come and go each trip.
    project.setSetting("View.cameraMode", QString("perImage"));
    view->scale(3, 3);
    settle();
    view->horizontalScrollBar()->setValue(view->horizontalScrollBar()->minimum() + 17);
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->minimum() + 9);
    pxm::ViewCameraInfo start;
    view->saveCameraInfo(&start);
    for (int trip = 0; trip < 10; ++trip) {
        project.setCurrentImageIndex(1);
        settle();
        project.setCurrentImageIndex(0);
        settle();
    }
    pxm::ViewCameraInfo end;
    view->saveCameraInfo(&end);
    EXPECT_EQ(end.transform, start.transform);
    EXPECT_EQ(end.horizontalScrollValue, start.horizontalScrollValue);
    EXPECT_EQ(end.verticalScrollValue, start.verticalScrollValue);

    project.setSetting("View.cameraMode", QString("reset"));
    project.setCurrentImageIndex(1);
    settle();
    view->scale(4, 4);
    settle();
    project.setCurrentImageIndex(0);
    settle();
    const double fitted = view->transform().m11();
    view->zoomToFit();
    settle();
    EXPECT_DOUBLE_EQ(fitted, view->transform().m11());
}

TEST_F(ViewTest, ASceneChangeEndsEveryEditAndLeavesNothingOnTheShapes) {
    addSecondImage();
    QGraphicsItem* rect = addRect({20, 20, 40, 40}, label);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{100, 20}, {160, 20}, {130, 70}}));
    scene()->addLabelItem(polygon, label);
    auto* line = new QGraphicsLineItem(20, 150, 100, 150);
    scene()->addLabelItem(line, label);
    struct Case {
        pxm::ToolType tool;
        QGraphicsItem* item;
        QPointF at;
    };
    for (const Case& c : {Case{pxm::ToolType::Rectangle, rect, {30, 30}}, Case{pxm::ToolType::Polygon, polygon, {130, 30}},
                          Case{pxm::ToolType::Line, line, {60, 150}},
                          Case{pxm::ToolType::Transformation, rect, {30, 30}}}) {
        SCOPED_TRACE(int(c.tool));
        view->setTool(c.tool);
        const auto editing = [&] {
            if (c.tool == pxm::ToolType::Transformation)
                return static_cast<pxm::Transformation*>(view->tool())->item() == c.item;
            return view->tool()->activeChild() != nullptr;
        };
        // First only hovered, then edited (twice, so editing works after coming back).
        for (int round = 0; round < 3; ++round) {
            move(c.at);
            if (round > 0)
                click(c.at);
            ASSERT_EQ(editing(), round > 0) << "round " << round;
            project.setCurrentImageIndex(1);
            EXPECT_TRUE(c.item->childItems().isEmpty()) << "round " << round;
            EXPECT_EQ(pxm::ItemWatch::activeCount(), 0) << "round " << round;
            EXPECT_FALSE(editing());
            project.setCurrentImageIndex(0);
        }
    }
}

TEST_F(ViewTest, DrawingWithoutALabelSaysWhyInTheStatusLine) {
    project.setCurrentLabel(nullptr);
    QSignalSpy status(view, &pxm::View::statusTipChanged);
    const auto hinted = [&] { return status.last().at(0).toString().startsWith(pxm::View::noLabelHint()); };
    for (pxm::ToolType type : {pxm::ToolType::Ruler, pxm::ToolType::Rectangle, pxm::ToolType::Ellipse,
                               pxm::ToolType::Polygon, pxm::ToolType::Line, pxm::ToolType::Freehand}) {
        SCOPED_TRACE(int(type));
        view->setTool(type);
        move({50, 50});
        ASSERT_FALSE(status.isEmpty());
        EXPECT_EQ(hinted(), type != pxm::ToolType::Ruler) << "in front of the pointer readout";
    }
    project.setCurrentLabel(label);
    move({70, 70});
    EXPECT_FALSE(hinted());
}

TEST_F(ViewTest, MagnifierRepairsItsSettings) {
    struct Case {
        QVariant radius;
        QVariant zoom;
        int side;
        double factor;
        QVariant storedZoom;
    };
    for (const Case& c : {Case{0, 0.0, 200, 2.0, 2.0}, Case{1000, -1.0, 400, 2.0, 2.0}, Case{150, 0.5, 150, 0.5, 0.5},
                          Case{QVariant(), QString("x"), 200, 2.0, 2.0}}) {
        SCOPED_TRACE(c.side);
        project.setSetting("ZoomView.radius", c.radius);
        project.setSetting("ZoomView.zoom", c.zoom);
        press({100, 100}, Qt::LeftButton, Qt::ControlModifier);
        pxm::ZoomView* zoom = view->zoomView();
        ASSERT_NE(zoom, nullptr);
        EXPECT_EQ(zoom->width(), c.side);
        EXPECT_EQ(zoom->height(), c.side);
        EXPECT_NEAR(zoom->transform().m11(), view->transform().m11() * c.factor, 1e-9);
        EXPECT_EQ(project.setting("ZoomView.zoom"), c.storedZoom);
        const QPoint centre = at({100, 100});
        EXPECT_EQ(zoom->geometry().topLeft(), centre - QPoint(c.side / 2, c.side / 2));
        release({100, 100});
    }
}

TEST_F(ViewTest, StatusTextShowsTheClampedPixelAndTheLabelsUnderThePointer) {
    image->image()->data()[5 + 200 * 7] = 42;
    QSignalSpy status(view, &pxm::View::statusTipChanged);
    move({5.2, 6.8});
    ASSERT_EQ(status.count(), 1);
    EXPECT_EQ(status.last().at(0).toString(), "[5, 7, 0] = 42");
    addRect({0, 0, 20, 20}, label);
    addRect({0, 0, 10, 10}, other);
    move({5, 7});
    EXPECT_EQ(status.last().at(0).toString(), QString("[5, 7, 0] = 42 | %1 (%2), %3 (%4)")
                                                  .arg(other->name())
                                                  .arg(other->id())
                                                  .arg(label->name())
                                                  .arg(label->id()));
    // Outside the image the nearest border pixel is read.
    move({-20, 250});
    EXPECT_EQ(status.last().at(0).toString(), "[0, 199, 0] = 0");
}

TEST_F(ViewTest, ProjectAndSceneChangesReachTheToolAndThePin) {
    RecordingTool* tool = recorder();
    pxm::Scene* first = scene();
    EXPECT_EQ(first->usageCount(), 1u);
    pxm::LabeledImage* second = addSecondImage();
    project.setCurrentImageIndex(1);
    EXPECT_EQ(tool->log, (QStringList{"no scene", "scene"}));
    EXPECT_EQ(first->usageCount(), 0u);
    EXPECT_EQ(second->scene(0)->usageCount(), 1u);
    view->setProject(nullptr);
    EXPECT_FALSE(view->isEnabled());
    EXPECT_EQ(view->currentScene(), nullptr);
    EXPECT_EQ(second->scene(0)->usageCount(), 0u);
    view->setProject(&project);
    EXPECT_TRUE(view->isEnabled());
    EXPECT_EQ(view->tool(), tool) << "the tool survives project changes";
}

} // namespace
