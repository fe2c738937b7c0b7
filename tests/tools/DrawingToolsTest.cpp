// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"
#include "scene/GrabItem.h"
#include "tools/AbstractRectTool.h"
#include "tools/CompositeShapeTool.h"
#include "tools/EditPolygonTool.h"
#include "tools/NewPolygonTool.h"
#include "tools/Polygon.h"
#include "tools/Ruler.h"
#include "tools/Transformation.h"

#include <cmath>

using namespace pxmtest;
using namespace pxm;

namespace {

struct Kind {
    ToolType type;
    const char* prefix;
    const char* word; // as the snapshot names the shape
    int itemType;
};

// Names the case by its tool, so test names stay the same from run to run.
void PrintTo(const Kind& kind, std::ostream* os) {
    *os << kind.prefix;
}

class RectToolTest : public ToolFixture, public ::testing::WithParamInterface<Kind> {
protected:
    AbstractRectTool* rectTool() const { return tool<AbstractRectTool>(); }
    void set(const char* key, const QVariant& value) {
        project.setSetting(QString(GetParam().prefix) + key, value);
    }
    void useTool(bool oneClick, int w = 1, int h = 1) {
        set(".oneClick", oneClick);
        set(".defaultWidth", w);
        set(".defaultHeight", h);
        view->setTool(GetParam().type);
        ASSERT_NE(rectTool(), nullptr);
    }
    QString shape(double x, double y, double w, double h, int id) const {
        return plainShape(QString(GetParam().word) + " " + numbers({x, y, w, h}), id);
    }
};

TEST_P(RectToolTest, DragFromEitherCornerGivesOneNormalisedShapeAndOneUndoStep) {
    useTool(false);
    expectStep("", [&] { drag({80, 90}, {40, 50}); }); // up and to the left: normalised on release
    EXPECT_EQ(snapshot(), QStringList{shape(40, 50, 40, 40, label->id())});
    // The finished shape went straight to the transformation.
    EXPECT_EQ(rectTool()->state(), AbstractRectTool::State::Transforming);
    EXPECT_EQ(rectTool()->transformation()->item()->type(), GetParam().itemType);
    typeKey(Qt::Key_Escape); // the opposite drag gives the same rectangle, drawn with the current label
    EXPECT_EQ(rectTool()->state(), AbstractRectTool::State::Idle);
    project.setCurrentLabel(other);
    drag({120, 130}, {160, 170});
    EXPECT_EQ(made(), Made({shape(120, 130, 40, 40, other->id()), shape(40, 50, 40, 40, label->id())}, 2));
}

TEST_P(RectToolTest, OneClickShapeIsCentredOnTheClick) {
    useTool(true, 7, 3);
    click({50, 60});
    EXPECT_EQ(made(), Made({shape(46.5, 58.5, 7, 3, label->id())}, 1));
    // A click on the shape just made starts no second one.
    typeKey(Qt::Key_Escape);
    click({50, 60});
    EXPECT_EQ(std::pair(stack()->count(), rectTool()->state()),
              std::pair(1, AbstractRectTool::State::Transforming));
    // Unusable default sizes are 1 x 1: corners half a pixel off the click.
    set(".defaultWidth", 0);
    set(".defaultHeight", QString("x"));
    EXPECT_EQ(std::pair(rectTool()->defaultWidth(), rectTool()->defaultHeight()), std::pair(1, 1));
    typeKey(Qt::Key_Escape);
    // A shape of the other kind under the pointer does not stop drawing: a new shape goes on top.
    if (GetParam().itemType == QGraphicsRectItem::Type)
        addShape<QGraphicsEllipseItem>(other, 140, 140, 20, 20);
    else
        addRect({140, 140, 20, 20}, other);
    click({150, 150});
    EXPECT_TRUE(snapshot().contains(shape(149.5, 149.5, 1, 1, label->id())));
}

TEST_P(RectToolTest, SettingsToolBarFollowsTheProjectBothWays) {
    view->setTool(GetParam().type); // no settings yet: the default the settings dialog shows, one click
    EXPECT_TRUE(rectTool()->oneClick());
    EXPECT_TRUE(rectTool()->settingsToolBar()->findChild<QCheckBox*>("oneClickModeCheckBox")->isChecked());
    view->setTool(ToolType::None);
    useTool(false, 5, 6);
    QToolBar* bar = rectTool()->settingsToolBar();
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->parent(), window.get()) << "the view adds it to the main window";
    auto* check = bar->findChild<QCheckBox*>("oneClickModeCheckBox");
    auto* width = bar->findChild<QSpinBox*>("widthSpinBox");
    auto* height = bar->findChild<QSpinBox*>("heightSpinBox");
    ASSERT_TRUE(check && width && height);
    // Checked, the sizes' boxes enabled, and their values.
    const auto bars = [&] {
        return std::tuple(check->isChecked(), width->isEnabled(), height->isEnabled(), width->value(),
                          height->value());
    };
    EXPECT_EQ(bars(), std::tuple(false, false, false, 5, 6));
    set(".oneClick", true); // from the settings dialog's side: the tool bar follows the project at once
    EXPECT_EQ(bars(), std::tuple(true, true, true, 5, 6));
    // From the tool bar's side.
    width->setValue(12);
    check->setChecked(false);
    EXPECT_EQ(bars(), std::tuple(false, false, false, 12, 6));
    EXPECT_EQ(std::pair(project.setting(QString(GetParam().prefix) + ".defaultWidth").toInt(),
                        project.setting(QString(GetParam().prefix) + ".oneClick").toBool()),
              std::pair(12, false));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RectToolTest,
    ::testing::Values(Kind{ToolType::Rectangle, "RectTool", "rect", QGraphicsRectItem::Type},
                      Kind{ToolType::Ellipse, "EllipseTool", "ellipse", QGraphicsEllipseItem::Type}),
    [](const auto& info) { return std::string(info.param.prefix); });

/// A polygon's geometry, or a line's from its first point to its second, as snapshot() writes it.
QString geometry(ToolType type, const QVector<QPointF>& points) {
    QStringList parts;
    for (const QPointF& p : points)
        parts << numbers({p.x(), p.y()});
    return type == ToolType::Line ? "line " + parts.join(',') : "polygon " + parts.join(' ');
}

/// A polygon drawn by clicks and a double click on its last vertex.
void drawPolygon(ToolFixture& f, const QVector<QPointF>& points) {
    f.view->setTool(ToolType::Polygon);
    for (const QPointF& p : points) {
        f.move(p);
        f.click(p);
    }
    f.doubleClick(points.last());
    f.release(points.last());
}

struct Composite {
    ToolType type;
    QVector<QPointF> points; // drawn in this order
    int dragged[2];          // the points dragged, one after the other,
    QPointF to[2];           // to there
    QPointF on;              // a point on the moved shape, off its ends
} const composites[] = {
    {ToolType::Polygon, {{20, 20}, {80, 20}, {50, 70}}, {1, 0}, {{90, 30}, {10, 30}}, {50, 45}},
    {ToolType::Line, {{150, 40}, {30, 60}}, {1, 0}, {{40, 100}, {160, 30}}, {100, 65}}, // drawn right to left
};

void PrintTo(const Composite& c, std::ostream* os) {
    *os << (c.type == ToolType::Line ? "Line" : "Polygon");
}

class CompositeShapeTest : public ToolFixture, public ::testing::WithParamInterface<Composite> {};

TEST_P(CompositeShapeTest, NewShapesGoIntoEditingEachEndDragIsAStepAndPressesDecideWhatIsEdited) {
    const Composite& c = GetParam();
    view->setTool(c.type);
    auto* shapes = tool<CompositeShapeTool>();
    const auto grips = [this] {
        QList<QPointF> at;
        for (QGraphicsItem* item : scene()->items())
            if (auto* grip = dynamic_cast<GrabItem*>(item))
                at << grip->pos();
        return at;
    };
    if (c.type == ToolType::Line)
        drag(c.points[0], c.points[1]);
    else
        drawPolygon(*this, c.points);
    QVector<QPointF> points = c.points;
    QList<QStringList> shown{{plainShape(geometry(c.type, points), label->id())}};
    EXPECT_EQ(std::tuple(made(), tool()->activeChild(), grips().size()),
              std::tuple(Made(shown[0], 1), shapes->editor(), c.points.size()));
    expectUndoRedo({}, shown[0]);
    // Each end dragged is one step, its grip with it.
    for (int i = 0; i < 2; ++i) {
        drag(points[c.dragged[i]], c.to[i]);
        points[c.dragged[i]] = c.to[i];
        shown << QStringList{plainShape(geometry(c.type, points), label->id())};
        EXPECT_EQ(std::pair(made(), grips().contains(c.to[i])), std::pair(Made(shown[i + 1], i + 2), true));
        expectUndoRedo(shown[i], shown[i + 1]);
    }
    // The quirk: undo while editing changes the shape, not the grips; ending the editing puts back the last
    // commit.
    stack()->undo();
    EXPECT_EQ(std::pair(snapshot(), grips().contains(c.to[1])), std::pair(shown[1], true));
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(std::tuple(snapshot(), stack()->index(), tool()->activeChild(), grips().size()),
              std::tuple(shown[2], 2, static_cast<Tool*>(nullptr), 0));
    // Pressing the shape edits it; pressing empty space ends the editing and draws nothing.
    click(c.on);
    EXPECT_EQ(tool()->activeChild(), shapes->editor());
    click({150, 180});
    EXPECT_EQ(std::pair(tool()->activeChild(), stack()->index()), std::pair(static_cast<Tool*>(nullptr), 2));
    // Delete removes the edited shape in one step; a right press on a shape starts a new one on top.
    click(c.on);
    typeKey(Qt::Key_Delete);
    EXPECT_EQ(std::pair(made(), tool()->activeChild()), std::pair(Made({}, 3), static_cast<Tool*>(nullptr)));
    stack()->undo();
    press(c.on, Qt::RightButton);
    EXPECT_EQ(tool()->activeChild(), shapes->creator());
}

INSTANTIATE_TEST_SUITE_P(Tools, CompositeShapeTest, ::testing::ValuesIn(composites),
                         [](const auto& info) { return testing::PrintToString(info.param); });

using PolygonToolTest = ToolFixture;

TEST_F(PolygonToolTest, ClicksDrawWithAFloatingVertexAndShiftPressInsertsOnAnEdgeOrRemovesAtAGrip) {
    const auto shape = [this](const QVector<QPointF>& points) {
        return QStringList{plainShape(geometry(ToolType::Polygon, points), label->id())};
    };
    view->setTool(ToolType::Polygon);
    click({20, 20});
    move({80, 20});
    ASSERT_NE(tool<Polygon>()->newPolygonTool()->drawnItem(), nullptr);
    EXPECT_EQ(tool<Polygon>()->newPolygonTool()->drawnItem()->polygon().size(), 2)
        << "fixed first and floating vertex";
    // The drawn polygon goes (the no-label table checks that), and the creator with it.
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(tool()->activeChild(), nullptr);
    drawPolygon(*this, {{20, 20}, {80, 20}, {50, 70}});
    const EditPolygonTool* editor = tool<Polygon>()->editPolygonTool();
    expectStep("", [&] { click({50, 20}, Qt::LeftButton, Qt::ShiftModifier); });
    EXPECT_EQ(std::pair(snapshot(), editor->grips().size()),
              std::pair(shape({{20, 20}, {50, 20}, {80, 20}, {50, 70}}), 4));
    click({80, 20}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_EQ(made(), Made(shape({{20, 20}, {50, 20}, {50, 70}}), 3));
    click({20, 20}, Qt::LeftButton, Qt::ShiftModifier); // a triangle keeps its three vertices
    EXPECT_EQ(std::pair(editor->grips().size(), stack()->count()), std::pair(3, 3));
    click({20, 20}); // a plain press on a grip only starts a drag; a drag without movement is still one step
    EXPECT_EQ(std::pair(editor->grips().size(), stack()->count()), std::pair(3, 4));
}

class TransformationTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        shape = addRect({20, 20, 60, 40}, label);
        view->setTool(ToolType::Transformation);
        click({50, 40});
        ASSERT_EQ(tool<Transformation>()->state(), Transformation::State::Attached);
    }
    Transformation* transformation() const { return tool<Transformation>(); }
    // Where a press on the view lands in the scene: view pixels are whole.
    QPointF landed(const QPointF& scenePoint) const { return view->mapToScene(at(scenePoint)); }
    QPointF grip(const QGraphicsItem* g) const { return shape->mapToScene(g->pos()); }

    QGraphicsRectItem* shape = nullptr;
};

TEST_F(TransformationTest, MovingIsOneStepPerDragComputedFromThePress) {
    expectStep("", [&] { drag({50, 40}, {70, 90}, Qt::LeftButton, 7); });
    // The geometry itself never changes.
    EXPECT_EQ(std::pair(shape->pos(), shape->rect()), std::pair(QPointF(20, 50), QRectF(20, 20, 60, 40)));
    EXPECT_EQ(transformation()->state(), Transformation::State::Attached);
    // The move grip moves too; a second drag is a second step.
    const QPointF moveGrip = grip(transformation()->moveGrip());
    drag(moveGrip, moveGrip + QPointF(-5, 0));
    EXPECT_EQ(std::pair(shape->pos(), stack()->count()), std::pair(QPointF(15, 50), 2));
}

TEST_F(TransformationTest, EachScaleGripScalesAboutTheOppositeAnchor) {
    const QRectF r = shape->boundingRect();
    for (int g = 0; g < Transformation::GripCount; ++g) {
        SCOPED_TRACE(g);
        // Start from an untouched shape each time.
        shape->setTransform(QTransform());
        shape->setPos(0, 0);
        const QPointF from = grip(transformation()->scaleGrip(Transformation::Grip(g)));
        const QPointF press = landed(from), target = from + QPointF(30, 20), p = landed(target);
        expectStep("", [&] { drag(from, target); });
        // In the order of the grips: the opposite corner, or the opposite edge at the press.
        const QPointF anchors[] = {
            r.bottomRight(), {press.x(), r.bottom()}, r.bottomLeft(), {r.left(), press.y()},
            r.topLeft(),     {press.x(), r.top()},    r.topRight(),   {r.right(), press.y()}};
        const QPointF anchor = anchors[g];
        const auto factor = [](double to, double from, double a) {
            return std::abs(from - a) > 0.1 ? (to - a) / (from - a) : 1;
        };
        const double sx = factor(p.x(), press.x(), anchor.x()), sy = factor(p.y(), press.y(), anchor.y());
        const QTransform t = shape->transform();
        // Middle grips scale one axis only (sx or sy exactly 1); the anchor stays where it was.
        EXPECT_NEAR(QLineF(QPointF(t.m11(), t.m22()), QPointF(sx, sy)).length() + std::abs(t.m12()), 0, 1e-9);
        EXPECT_TRUE((g != Transformation::Top && g != Transformation::Bottom) || t.m11() == 1.0);
        EXPECT_TRUE((g != Transformation::Left && g != Transformation::Right) || t.m22() == 1.0);
        EXPECT_NEAR(QLineF(shape->mapToScene(anchor), anchor).length(), 0, 1e-9);
    }
    // Dragging across the anchor mirrors.
    shape->setTransform(QTransform());
    shape->setPos(0, 0);
    const QPointF right = grip(transformation()->scaleGrip(Transformation::Right));
    expectStep("", [&] { drag(right, {0, right.y()}); });
    EXPECT_TRUE(shape->transform().m11() < 0 && shape->transform().m22() == 1.0);
}

TEST_F(TransformationTest, RotationGripTurnsAboutTheCentre) {
    const QPointF centre = shape->boundingRect().center();
    const QPointF from = grip(transformation()->rotationGrip());
    ASSERT_LT(from.y(), shape->rect().top()) << "the rotation grip stands above the frame";
    // A quarter turn clockwise on screen: from above the centre to its right.
    const double radius = centre.y() - from.y();
    expectStep("", [&] { drag(from, centre + QPointF(radius, 0), Qt::LeftButton, 8); });
    const QTransform t = shape->transform();
    const QPointF press = landed(from) - centre;
    const QPointF end = landed(centre + QPointF(radius, 0)) - centre;
    const double angle =
        std::atan2(press.x() * end.y() - press.y() * end.x(), press.x() * end.x() + press.y() * end.y());
    EXPECT_NEAR(angle, M_PI / 2, 0.05);
    EXPECT_NEAR(QLineF(QPointF(t.m11(), t.m12()), QPointF(std::cos(angle), std::sin(angle))).length(), 0,
                1e-9);
    EXPECT_NEAR(QLineF(t.map(centre), centre).length(), 0, 1e-9) << "the centre stays put";
}

TEST_F(TransformationTest, PressOutsideDetachesAndDeleteRemovesInOneStep) {
    click({150, 150});
    // No grip is left on the shape.
    EXPECT_EQ(std::tuple(transformation()->state(), stack()->count(), shape->childItems().size()),
              std::tuple(Transformation::State::Detached, 0, 0));
    click({50, 40});
    ASSERT_EQ(transformation()->state(), Transformation::State::Attached);
    expectStep("", [&] { typeKey(Qt::Key_Delete); });
    EXPECT_EQ(std::pair(snapshot(), transformation()->state()),
              std::pair(QStringList(), Transformation::State::Detached));
    stack()->undo();
    click({50, 40}); // a shape deleted under the tool (its label destroyed) leaves the tool usable
    ASSERT_EQ(transformation()->state(), Transformation::State::Attached);
    stack()->clear();
    delete project.takeLabel(label);
    EXPECT_EQ(transformation()->item(), nullptr);
    drag({50, 40}, {60, 60});
    typeKey(Qt::Key_Delete);
    EXPECT_EQ(stack()->count(), 0);
}

using RulerTest = ToolFixture;

TEST_F(RulerTest, StraightRightOnScreenIs360WhateverTheRotationAndTheOverlayGoesOnTheNextClick) {
    view->setTool(ToolType::Ruler);
    const auto readout = [this] { return tool<Ruler>()->readout()->toPlainText(); };
    const int itemsBefore = scene()->items().size();
    click({40, 100});
    ASSERT_TRUE(tool<Ruler>()->measuring());
    move({100, 100});
    for (const char* part : {"angle: 360.00", "dx: 60", "d: 60.00"})
        EXPECT_TRUE(readout().contains(part)) << readout().toStdString();
    EXPECT_EQ(std::pair(tool<Ruler>()->arc()->spanAngle(), tool<Ruler>()->arc()->rect()),
              std::pair(360 * 16, QRectF(25, 85, 30, 30)));
    move({70, 60}); // upwards is positive dy; d back at the start is 0
    EXPECT_TRUE(readout().contains("dy: 40"));
    move({40, 100});
    EXPECT_TRUE(readout().contains("d: 0.00") && tool<Ruler>()->arc()->rect().isEmpty());
    click({10, 10});
    EXPECT_EQ(std::tuple(tool<Ruler>()->measuring(), scene()->items().size(), stack()->count()),
              std::tuple(false, itemsBefore, 0));

    // The reference runs right on screen: after a quarter turn that is down the image.
    view->rotateRight();
    view->centerOn(100, 100);
    click({100, 100});
    const QPoint s = at({100, 100});
    move(view->mapToScene(s + QPoint(50, 0)));
    const QPoint reference = at(tool<Ruler>()->referenceLine()->line().p2());
    EXPECT_TRUE(reference.y() == s.y() && reference.x() > s.x());
    EXPECT_TRUE(readout().contains("angle: 360.00"));
    // A quarter turn counter-clockwise on screen from there reads 90 degrees.
    move(view->mapToScene(s + QPoint(0, -50)));
    EXPECT_TRUE(readout().contains("angle: 90.00")) << readout().toStdString();
    view->setScene(nullptr); // switching scenes removes the overlay
    EXPECT_EQ(std::pair(tool<Ruler>()->measuring(), image->scene(0)->items().size()), std::pair(false, 0));
}

} // namespace
