// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include "scene/GrabItem.h"
#include "tools/Transformation.h"

#include <QGraphicsRectItem>
#include <cmath>

using namespace pxmtest;
using pxm::Transformation;

namespace {

class TransformationTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        shape = addRect({20, 20, 60, 40}, label);
        view->setTool(pxm::ToolType::Transformation);
        click({50, 40});
        ASSERT_EQ(tool()->state(), Transformation::State::Attached);
    }
    Transformation* tool() const { return static_cast<Transformation*>(view->tool()); }
    // Where a press on the view lands in the scene: view pixels are whole.
    QPointF landed(const QPointF& scenePoint) const { return view->mapToScene(at(scenePoint)); }

    QGraphicsRectItem* shape = nullptr;
};

TEST_F(TransformationTest, MovingIsOneStepPerDragComputedFromThePress) {
    const QStringList before = snapshot();
    drag({50, 40}, {70, 90}, Qt::LeftButton, 7);
    EXPECT_EQ(shape->pos(), QPointF(20, 50));
    EXPECT_EQ(shape->rect(), QRectF(20, 20, 60, 40)) << "the geometry itself never changes";
    EXPECT_EQ(stack()->count(), 1);
    const QStringList after = snapshot();
    expectUndoRedo(*this, before, after);
    EXPECT_EQ(tool()->state(), Transformation::State::Attached);
    // The move grip moves too; a second drag is a second step.
    drag(shape->mapToScene(tool()->moveGrip()->pos()), shape->mapToScene(tool()->moveGrip()->pos()) + QPointF(-5, 0));
    EXPECT_EQ(shape->pos(), QPointF(15, 50));
    EXPECT_EQ(stack()->count(), 2);
}

TEST_F(TransformationTest, EachScaleGripScalesAboutTheOppositeAnchor) {
    const QRectF r = shape->boundingRect();
    for (int g = 0; g < Transformation::GripCount; ++g) {
        SCOPED_TRACE(g);
        // Start from an untouched shape each time.
        shape->setTransform(QTransform());
        shape->setPos(0, 0);
        const QPointF grip = shape->mapToScene(tool()->scaleGrip(Transformation::Grip(g))->pos());
        const QPointF press = landed(grip);
        const QPointF target = grip + QPointF(30, 20);
        const QPointF p = landed(target);
        const int steps = stack()->count();
        drag(grip, target);
        ASSERT_EQ(stack()->count(), steps + 1);
        QPointF anchor;
        switch (g) {
        case Transformation::TopLeft: anchor = r.bottomRight(); break;
        case Transformation::Top: anchor = {press.x(), r.bottom()}; break;
        case Transformation::TopRight: anchor = r.bottomLeft(); break;
        case Transformation::Right: anchor = {r.left(), press.y()}; break;
        case Transformation::BottomRight: anchor = r.topLeft(); break;
        case Transformation::Bottom: anchor = {press.x(), r.top()}; break;
        case Transformation::BottomLeft: anchor = r.topRight(); break;
        default: anchor = {r.right(), press.y()}; break;
        }
        const double sx = std::abs(press.x() - anchor.x()) > 0.1 ? (p.x() - anchor.x()) / (press.x() - anchor.x()) : 1;
        const double sy = std::abs(press.y() - anchor.y()) > 0.1 ? (p.y() - anchor.y()) / (press.y() - anchor.y()) : 1;
        const QTransform t = shape->transform();
        EXPECT_NEAR(t.m11(), sx, 1e-9);
        EXPECT_NEAR(t.m22(), sy, 1e-9);
        EXPECT_NEAR(t.m12(), 0, 1e-9);
        // Middle grips scale one axis only; the anchor stays where it was.
        if (g == Transformation::Top || g == Transformation::Bottom) {
            EXPECT_EQ(t.m11(), 1.0);
        }
        if (g == Transformation::Left || g == Transformation::Right) {
            EXPECT_EQ(t.m22(), 1.0);
        }
        EXPECT_NEAR(QLineF(shape->mapToScene(anchor), anchor).length(), 0, 1e-9);
    }
}

TEST_F(TransformationTest, DraggingAcrossTheAnchorMirrors) {
    const QPointF grip = shape->mapToScene(tool()->scaleGrip(Transformation::Right)->pos());
    drag(grip, {0, grip.y()});
    EXPECT_LT(shape->transform().m11(), 0);
    EXPECT_EQ(shape->transform().m22(), 1.0);
    const QStringList mirrored = snapshot();
    stack()->undo();
    EXPECT_TRUE(shape->transform().isIdentity());
    stack()->redo();
    EXPECT_EQ(snapshot(), mirrored);
}

TEST_F(TransformationTest, RotationGripTurnsAboutTheCentre) {
    const QPointF centre = shape->boundingRect().center();
    const QPointF grip = shape->mapToScene(tool()->rotationGrip()->pos());
    ASSERT_LT(grip.y(), shape->rect().top()) << "the rotation grip stands above the frame";
    // A quarter turn clockwise on screen: from above the centre to its right.
    const double radius = centre.y() - grip.y();
    drag(grip, centre + QPointF(radius, 0), Qt::LeftButton, 8);
    const QTransform t = shape->transform();
    const QPointF press = landed(grip) - centre;
    const QPointF end = landed(centre + QPointF(radius, 0)) - centre;
    const double angle = std::atan2(press.x() * end.y() - press.y() * end.x(), press.x() * end.x() + press.y() * end.y());
    EXPECT_NEAR(angle, M_PI / 2, 0.05);
    EXPECT_NEAR(t.m11(), std::cos(angle), 1e-9);
    EXPECT_NEAR(t.m12(), std::sin(angle), 1e-9);
    EXPECT_NEAR(QLineF(t.map(centre), centre).length(), 0, 1e-9) << "the centre stays put";
    EXPECT_EQ(stack()->count(), 1);
}

TEST_F(TransformationTest, PressOutsideDetachesAndDeleteRemovesInOneStep) {
    click({150, 150});
    EXPECT_EQ(tool()->state(), Transformation::State::Detached);
    EXPECT_EQ(stack()->count(), 0);
    EXPECT_EQ(shape->childItems().size(), 0) << "no grip is left on the shape";
    click({50, 40});
    ASSERT_EQ(tool()->state(), Transformation::State::Attached);
    typeKey(Qt::Key_Delete);
    EXPECT_TRUE(snapshot().isEmpty());
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_EQ(tool()->state(), Transformation::State::Detached);
    stack()->undo();
    EXPECT_EQ(snapshot().size(), 1);
    // A shape deleted under the tool (its label destroyed) leaves the tool usable.
    click({50, 40});
    ASSERT_EQ(tool()->state(), Transformation::State::Attached);
    stack()->clear();
    delete project.takeLabel(label);
    EXPECT_EQ(tool()->item(), nullptr);
    drag({50, 40}, {60, 60});
    typeKey(Qt::Key_Delete);
    EXPECT_EQ(stack()->count(), 0);
}

} // namespace
