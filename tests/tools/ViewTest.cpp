// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"
#include "model/ReannotationRules.h"
#include "tools/ItemWatch.h"
#include "tools/ReannotationShortcuts.h"
#include "tools/ToolFactory.h"
#include "tools/Transformation.h"
#include "tools/ZoomView.h"

#include <QSignalSpy>

using namespace pxmtest;
using namespace pxm;

namespace {

// Writes down every event the View hands it.
class RecordingTool : public Tool {
public:
    explicit RecordingTool(View* view) : Tool(view, ToolType::Reserved) {}
    void keyPressEvent(QKeyEvent* e) override { log << QString("keyPress %1").arg(e->key()); }
    void keyReleaseEvent(QKeyEvent* e) override { log << QString("keyRelease %1").arg(e->key()); }
    void mousePressEvent(QMouseEvent* e) override { log << QString("press %1").arg(int(e->modifiers())); }
    void mouseMoveEvent(QMouseEvent*) override { log << "move"; }
    void mouseReleaseEvent(QMouseEvent*) override { log << "release"; }
    void mouseDoubleClickEvent(QMouseEvent*) override { log << "double"; }
    void wheelEvent(QWheelEvent*) override { log << "wheel"; }
    void setScene(Scene* s) override { log << (s ? "scene" : "no scene"); }
    QStringList log;
};

class ViewTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        registerToolMaker(ToolType::Reserved, [](View* v) { return new RecordingTool(v); });
    }
    void TearDown() override {
        ToolFixture::TearDown();
        registerToolMaker(ToolType::Reserved, nullptr);
    }
    void wheel(QPoint angle, Qt::KeyboardModifiers m) {
        const QPoint p = at({100, 100});
        QWheelEvent event(p, view->viewport()->mapToGlobal(p), QPoint(), angle, Qt::NoButton, m,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(view->viewport(), &event);
    }
    /// Expects the tool to have seen just `events` since the last check.
    static void expectLog(RecordingTool* tool, const QStringList& events) {
        EXPECT_EQ(tool->log, events);
        tool->log.clear();
    }
    static void settle() {
        for (int i = 0; i < 3; ++i)
            QApplication::processEvents();
    }
    /// Makes an image current and lets the view settle.
    void show(int index) {
        project.setCurrentImageIndex(index);
        settle();
    }
};

TEST_F(ViewTest, EventRulesDecideWhatTheToolAndTheZoomSeeAndSceneChangesReachTheTool) {
    view->setTool(ToolType::Reserved);
    RecordingTool* tool = this->tool<RecordingTool>();
    tool->log.clear();
    const double zoom = view->zoomFactor();
    // Ctrl+plus zooms on the press, which the tool does not see; the release reaches it.
    typeKey(Qt::Key_Plus, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_GT(view->zoomFactor(), zoom);
    expectLog(tool, {QString("keyRelease %1").arg(Qt::Key_Plus)});
    typeKey(Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_NEAR(view->zoomFactor(), zoom, 1e-9);
    tool->log.clear();
    // Ctrl+Shift+left goes to the tool; Ctrl+left opens the magnifier, whose release alone the tool sees.
    press({50, 50}, Qt::LeftButton, Qt::ControlModifier | Qt::ShiftModifier);
    release({50, 50});
    expectLog(tool, {QString("press %1").arg(int(Qt::ControlModifier | Qt::ShiftModifier)), "release"});
    press({50, 50}, Qt::LeftButton, Qt::ControlModifier);
    ASSERT_NE(view->zoomView(), nullptr);
    move({60, 60}, Qt::LeftButton, Qt::ControlModifier);
    release({60, 60}, Qt::LeftButton, Qt::ControlModifier);
    EXPECT_EQ(view->zoomView(), nullptr);
    expectLog(tool, {"release"});
    // Ctrl+wheel zooms by the vertical delta alone and never scrolls or reaches the tool.
    const int scroll = view->horizontalScrollBar()->value();
    const double before = view->zoomFactor();
    wheel({120, 0}, Qt::ControlModifier);
    EXPECT_EQ(std::pair(view->zoomFactor(), view->horizontalScrollBar()->value()), std::pair(before, scroll));
    wheel({0, 120}, Qt::ControlModifier);
    EXPECT_GT(view->zoomFactor(), before);
    wheel({0, -120}, Qt::ControlModifier);
    EXPECT_NEAR(view->zoomFactor(), before, 1e-9);
    EXPECT_TRUE(tool->log.isEmpty());
    wheel({0, -120}, Qt::NoModifier);
    doubleClick({10, 10});
    expectLog(tool, {"wheel", "double"});

    // A middle drag pans while the tool still sees it.
    setZoom(4.0);
    const int h = view->horizontalScrollBar()->value(), v = view->verticalScrollBar()->value();
    const QPoint start = at({100, 100}), end = start + QPoint(-30, -20);
    mouseAt(QEvent::MouseButtonPress, start, Qt::MiddleButton, Qt::MiddleButton);
    mouseAt(QEvent::MouseMove, end, Qt::NoButton, Qt::MiddleButton);
    mouseAt(QEvent::MouseButtonRelease, end, Qt::MiddleButton, Qt::NoButton);
    EXPECT_EQ(std::pair(view->horizontalScrollBar()->value(), view->verticalScrollBar()->value()),
              std::pair(h + 30, v + 20));
    expectLog(tool, {"press 0", "move", "release"});

    // Scene changes reach the tool; without a project the view lets its scene go (the window's test follows
    // the view's pin from image to image).
    LabeledImage* second = pxmtest::addImage(project, 300, 100, 2);
    project.setCurrentImageIndex(1);
    EXPECT_EQ(tool->log, (QStringList{"no scene", "scene"}));
    view->setProject(nullptr);
    EXPECT_EQ(std::tuple(view->isEnabled(), !!view->currentScene(), second->scene(0)->usageCount()),
              std::tuple(false, false, 0u));
    view->setProject(&project);
    EXPECT_EQ(std::pair(view->isEnabled(), view->tool()), std::pair(true, static_cast<Tool*>(tool)))
        << "the tool survives project changes";
}

TEST_F(ViewTest, SetToolSwitchesOnlyOnANewTypeAndKnowsNoGaps) {
    QSignalSpy changed(view, &View::toolChanged);
    view->setTool(ToolType::Ruler);
    Tool* ruler = view->tool();
    ASSERT_NE(ruler, nullptr);
    view->setTool(ToolType::Ruler);
    EXPECT_EQ(std::pair(view->tool(), changed.count()), std::pair(ruler, 1));
    for (int gap : {1, 2, 12, 13, 6, 9}) {
        view->setTool(ToolType(gap));
        EXPECT_EQ(std::tuple(view->tool(), view->toolType(), changed.last().at(0).value<ToolType>()),
                  std::tuple(static_cast<Tool*>(nullptr), ToolType::None, ToolType(gap)));
    }
}

TEST_F(ViewTest, CameraIsRememberedPerImageWithoutDriftPerProjectOrReset) {
    LabeledImage* second = pxmtest::addImage(project, 300, 100, 2);
    for (const QString mode : {"perImage", "perProject", "reset"}) {
        SCOPED_TRACE(mode.toStdString());
        project.setSetting("View.cameraMode", mode);
        show(0);
        view->resetTransform();
        view->scale(3, 3);
        view->rotateRight();
        view->flipHorizontal();
        settle();
        view->horizontalScrollBar()->setValue(view->horizontalScrollBar()->minimum() + 17);
        view->verticalScrollBar()->setValue(view->verticalScrollBar()->minimum() + 9);
        ViewCameraInfo start, end;
        view->saveCameraInfo(&start);
        show(1);
        ASSERT_EQ(view->currentScene(), second->scene(0));
        // A new image is not fitted per image; per project it takes the camera as it was.
        EXPECT_TRUE(mode == "perImage" ? view->transform().isIdentity()
                                       : mode != "perProject" || view->transform() == start.transform);
        // A z-layer change of one image keeps its camera in every mode but reset.
        view->rotateLeft();
        const QTransform secondCamera = view->transform();
        project.setCurrentZLayer(1);
        QApplication::processEvents();
        EXPECT_TRUE(mode == "reset" || view->transform() == secondCamera);
        // Per image the camera and scroll bars come back, and do not drift over trips on which the scroll
        // bars come and go.
        for (int trip = 0; trip < 10; ++trip) {
            show(0);
            show(1);
        }
        show(0);
        view->saveCameraInfo(&end);
        EXPECT_TRUE(mode != "perImage" ||
                    std::tuple(end.transform, end.horizontalScrollValue, end.verticalScrollValue) ==
                        std::tuple(start.transform, start.horizontalScrollValue, start.verticalScrollValue));
        // Reset fits the 200 x 200 image unturned to the viewport as it settles, without the scroll bars of
        // a zoomed image before.
        show(1);
        view->scale(4, 4);
        settle();
        show(0);
        const double fitted = view->transform().m11();
        view->zoomToFit();
        settle();
        EXPECT_TRUE(mode != "reset" ||
                    (!view->transform().isRotating() && fitted == view->transform().m11() &&
                     std::abs(fitted - view->viewport()->width() / 200.0) < 0.05));
    }
    // An unknown mode is repaired to perProject in the settings.
    project.setSetting("View.cameraMode", QString("PerImage"));
    EXPECT_EQ(view->cameraMode(), "perProject");
    EXPECT_EQ(project.setting("View.cameraMode").toString(), "perProject");
}

TEST_F(ViewTest, ASceneChangeEndsEveryEditAndLeavesNothingOnTheShapes) {
    pxmtest::addImage(project, 300, 100, 2);
    QGraphicsItem* rect = addRect({20, 20, 40, 40}, label);
    QGraphicsItem* polygon =
        addShape<QGraphicsPolygonItem>(label, QPolygonF({{100, 20}, {160, 20}, {130, 70}}));
    QGraphicsItem* line = addShape<QGraphicsLineItem>(label, 20, 150, 100, 150);
    const struct {
        ToolType tool;
        QGraphicsItem* item;
        QPointF at;
    } cases[] = {{ToolType::Rectangle, rect, {30, 30}},
                 {ToolType::Polygon, polygon, {130, 30}},
                 {ToolType::Line, line, {60, 150}},
                 {ToolType::Transformation, rect, {30, 30}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.tool));
        view->setTool(c.tool);
        const auto editing = [&] {
            if (c.tool == ToolType::Transformation)
                return tool<Transformation>()->item() == c.item;
            return view->tool()->activeChild() != nullptr;
        };
        // First only hovered, then edited (twice, so editing works after coming back).
        for (int round = 0; round < 3; ++round) {
            move(c.at);
            if (round > 0)
                click(c.at);
            ASSERT_EQ(editing(), round > 0) << "round " << round;
            project.setCurrentImageIndex(1);
            EXPECT_EQ(std::tuple(c.item->childItems().size(), ItemWatch::activeCount(), editing()),
                      std::tuple(0, 0, false))
                << "round " << round;
            project.setCurrentImageIndex(0);
        }
    }
}

TEST_F(ViewTest, StatusLineShowsThePixelAndTheLabelsUnderThePointer) {
    QSignalSpy status(view, &View::statusTipChanged);
    const auto last = [&] { return status.last().at(0).toString(); };
    image->image()->data()[5 + 200 * 7] = 42;
    move({5.2, 6.8});
    EXPECT_EQ(std::pair(status.count(), last()), std::pair(1, QString("[5, 7, 0] = 42")));
    addRect({0, 0, 20, 20}, label);
    addRect({0, 0, 10, 10}, other);
    move({5, 7});
    const auto named = [](const Label* l) { return QString("%1 (%2)").arg(l->name()).arg(l->id()); };
    EXPECT_EQ(last(), "[5, 7, 0] = 42 | " + named(other) + ", " + named(label));
    move({-20, 250}); // outside the image the nearest border pixel is read
    EXPECT_EQ(last(), "[0, 199, 0] = 0");
}

TEST_F(ViewTest, MagnifierRepairsItsSettings) {
    const struct {
        QVariant radius, zoom;
        int side;
        double factor;
    } cases[] = {{0, 0.0, 200, 2.0},
                 {1000, -1.0, 400, 2.0},
                 {150, 0.5, 150, 0.5},
                 {QVariant(), QString("x"), 200, 2.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.side);
        project.setSetting("ZoomView.radius", c.radius);
        project.setSetting("ZoomView.zoom", c.zoom);
        press({100, 100}, Qt::LeftButton, Qt::ControlModifier);
        ZoomView* zoom = view->zoomView();
        ASSERT_NE(zoom, nullptr);
        EXPECT_NEAR(zoom->transform().m11(), view->transform().m11() * c.factor, 1e-9);
        EXPECT_EQ(std::pair(zoom->geometry(), project.setting("ZoomView.zoom")),
                  std::pair(QRect(at({100, 100}) - QPoint(c.side / 2, c.side / 2), QSize(c.side, c.side)),
                            QVariant(c.factor)));
        release({100, 100});
    }
}

TEST(ReannotationRulesTest, TextRoundTripsAndBadEntriesAreDropped) {
    const ReannotationRules rules({{"shift+q", "cat", "dog"}, {"1", "", "bird"}});
    // Keys are stored canonically.
    EXPECT_EQ(ReannotationRules::fromText(rules.toText()).rules(),
              (QList<ReannotationRule>{{"Shift+Q", "cat", "dog"}, {"1", "", "bird"}}));
    EXPECT_TRUE(ReannotationRules::fromText("not json").isEmpty());
    EXPECT_TRUE(ReannotationRules::fromText(R"({"key": "1"})").isEmpty());
    const char* entries = R"([{"key": "", "to": "a"}, {"key": "2"}, {"key": "Ctrl+X, Y", "to": "b"},)"
                          R"( {"key": "3", "to": "c"}])";
    EXPECT_EQ(ReannotationRules::fromText(entries).rules().size(), 1)
        << "entries without key or target, and chords, are dropped";
    EXPECT_EQ(std::pair(rules.rulesForKey("Shift+Q").size(), rules.rulesForKey("Q").size()), std::pair(1, 0));
}

using ReannotationShortcutsTest = ToolFixture;

TEST_F(ReannotationShortcutsTest, AKeyMovesTheShapeUnderThePointerAsOneUndoStepOnItsReleaseOverTheView) {
    label->setName("cat");
    other->setName("dog");
    Label* bird = project.createLabel();
    bird->setName("bird");
    QGraphicsRectItem* lower = addRect(QRectF(20, 20, 100, 100), label);
    QGraphicsRectItem* upper = addRect(QRectF(60, 60, 100, 100), other);
    const auto setRules = [this](const QList<ReannotationRule>& r) {
        ReannotationRules(r).storeIn(&project);
    };
    setRules({{"1", "cat", "bird"}, {"2", "", "bird"}, {"3", "dog", "nowhere"}, {"Shift+B", "dog", "bird"}});
    auto* shortcuts = new ReannotationShortcuts(view);
    const QStringList before = snapshot();
    // Where both overlap, "1" applies to the cat below the dog on top.
    expectStep("Move a shape to 'bird'", [&] { EXPECT_TRUE(shortcuts->applyKey("1", QPointF(80, 80))); });
    EXPECT_EQ(std::pair(labelIdOf(lower), labelIdOf(upper)), std::pair(bird->id(), other->id()));
    // No cat left there, no such target, nothing there: nothing; "2" takes the topmost shape of any label.
    // Once applied, the last "2" finds its shape already at the target.
    QList<bool> done;
    for (const auto& [key, x, y] :
         {std::tuple("1", 80, 80), {"3", 150, 150}, {"2", 5, 5}, {"2", 80, 80}, {"2", 80, 80}})
        done << shortcuts->applyKey(key, QPointF(x, y));
    EXPECT_EQ(done, QList<bool>({false, false, false, true, false}));
    EXPECT_EQ(std::pair(labelIdOf(upper), stack()->count()), std::pair(bird->id(), 2));
    stack()->setIndex(0);
    EXPECT_EQ(snapshot(), before); // restyled as the scene's style test checks

    // Over the view the key's release applies the rule at the pointer, once.
    QSignalSpy applied(shortcuts, &ReannotationShortcuts::applied);
    move(QPointF(150, 150));
    EXPECT_EQ(shortcuts->pointer(), at(QPointF(150, 150)));
    key(QEvent::KeyPress, Qt::Key_B, Qt::ShiftModifier);
    QKeyEvent repeat(QEvent::KeyRelease, Qt::Key_B, Qt::ShiftModifier, QString(), true);
    QApplication::sendEvent(view, &repeat);
    EXPECT_EQ(labelIdOf(upper), other->id()) << "auto-repeat does nothing";
    key(QEvent::KeyRelease, Qt::Key_B, Qt::ShiftModifier);
    ASSERT_EQ(applied.count(), 1);
    EXPECT_EQ(std::pair(labelIdOf(upper), applied[0][2].toString()), std::pair(bird->id(), QString("bird")));
    key(QEvent::KeyRelease, Qt::Key_B);
    EXPECT_EQ(stack()->count(), 1) << "B without Shift is another key";
    // The rules are read when the key comes, so an edit applies at once.
    setRules({{"X", "bird", "cat"}});
    typeKey(Qt::Key_X);
    EXPECT_EQ(labelIdOf(upper), label->id());
}

} // namespace
