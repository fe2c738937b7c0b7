// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include "tools/Ruler.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsTextItem>

using namespace pxmtest;

namespace {

class RulerTest : public ToolFixture {
protected:
    pxm::Ruler* tool() const { return static_cast<pxm::Ruler*>(view->tool()); }
};

TEST_F(RulerTest, StraightRightOnScreenIs360AndTheOverlayGoesOnTheNextClick) {
    view->setTool(pxm::ToolType::Ruler);
    const int itemsBefore = scene()->items().size();
    click({40, 100});
    ASSERT_TRUE(tool()->measuring());
    move({100, 100});
    const QString text = tool()->readout()->toPlainText();
    EXPECT_TRUE(text.contains("angle: 360.00")) << text.toStdString();
    EXPECT_TRUE(text.contains("dx: 60")) << text.toStdString();
    EXPECT_TRUE(text.contains("d: 60.00")) << text.toStdString();
    EXPECT_EQ(tool()->arc()->spanAngle(), 360 * 16);
    EXPECT_EQ(tool()->arc()->rect(), QRectF(25, 85, 30, 30));
    // Upwards is positive dy; d back at the start is 0.
    move({70, 60});
    EXPECT_TRUE(tool()->readout()->toPlainText().contains("dy: 40"));
    move({40, 100});
    EXPECT_TRUE(tool()->readout()->toPlainText().contains("d: 0.00"));
    EXPECT_TRUE(tool()->arc()->rect().isEmpty());
    click({10, 10});
    EXPECT_FALSE(tool()->measuring());
    EXPECT_EQ(scene()->items().size(), itemsBefore);
    EXPECT_EQ(stack()->count(), 0);
}

TEST_F(RulerTest, ReferenceRunsRightOnScreenWhateverTheRotation) {
    view->rotateRight();
    view->centerOn(100, 100);
    view->setTool(pxm::ToolType::Ruler);
    const QPointF start(100, 100);
    click(start);
    // On screen straight right of the start: after a quarter turn that is down the image.
    const QPoint s = at(start);
    const QPointF right = view->mapToScene(s + QPoint(50, 0));
    move(right);
    const QLineF reference = tool()->referenceLine()->line();
    EXPECT_EQ(at(reference.p2()).y(), s.y());
    EXPECT_GT(at(reference.p2()).x(), s.x());
    EXPECT_TRUE(tool()->readout()->toPlainText().contains("angle: 360.00"));
    // A quarter turn counter-clockwise on screen from there reads 90 degrees.
    move(view->mapToScene(s + QPoint(0, -50)));
    EXPECT_TRUE(tool()->readout()->toPlainText().contains("angle: 90.00")) << tool()->readout()->toPlainText().toStdString();
    // Switching scenes removes the overlay.
    view->setScene(nullptr);
    EXPECT_FALSE(tool()->measuring());
    EXPECT_EQ(image->scene(0)->items().size(), 0);
}

} // namespace
