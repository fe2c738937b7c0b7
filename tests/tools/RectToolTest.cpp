// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include "tools/AbstractRectTool.h"
#include "tools/Transformation.h"

#include <QCheckBox>
#include <QGraphicsEllipseItem>
#include <QGraphicsRectItem>
#include <QSpinBox>
#include <QToolBar>

using namespace pxmtest;

namespace {

struct Kind {
    pxm::ToolType type;
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
    pxm::AbstractRectTool* tool() const { return static_cast<pxm::AbstractRectTool*>(view->tool()); }
    void useTool(bool oneClick, int w = 1, int h = 1) {
        const QString prefix = GetParam().prefix;
        project.setSetting(prefix + ".oneClick", oneClick);
        project.setSetting(prefix + ".defaultWidth", w);
        project.setSetting(prefix + ".defaultHeight", h);
        view->setTool(GetParam().type);
        ASSERT_NE(tool(), nullptr);
    }
    QString shape(double x, double y, double w, double h, int id) const {
        return plainShape(QString(GetParam().word) + " " + numbers({x, y, w, h}), id);
    }
};

TEST_P(RectToolTest, DragFromEitherCornerGivesOneNormalisedShapeAndOneUndoStep) {
    useTool(false);
    const QStringList empty = snapshot();
    // Dragged up and to the left: negative while dragging, normalised on release.
    press({80, 90});
    move({60, 70}, Qt::LeftButton);
    ASSERT_NE(tool()->drawnItem(), nullptr);
    EXPECT_LT(tool()->itemRect(tool()->drawnItem()).width(), 0);
    EXPECT_TRUE(snapshot().isEmpty()) << "a shape being dragged is not part of the annotation";
    EXPECT_EQ(stack()->count(), 0);
    move({40, 50}, Qt::LeftButton);
    release({40, 50});
    const QStringList after = snapshot();
    EXPECT_EQ(after, QStringList{shape(40, 50, 40, 40, label->id())});
    EXPECT_EQ(stack()->count(), 1);
    expectUndoRedo(*this, empty, after);
    // The finished shape went straight to the transformation.
    EXPECT_EQ(tool()->state(), pxm::AbstractRectTool::State::Transforming);
    EXPECT_EQ(tool()->transformation()->item()->type(), GetParam().itemType);

    // The opposite drag gives the same rectangle, drawn with the current label.
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(tool()->state(), pxm::AbstractRectTool::State::Idle);
    project.setCurrentLabel(other);
    drag({120, 130}, {160, 170});
    EXPECT_TRUE(snapshot().contains(shape(120, 130, 40, 40, other->id())));
    EXPECT_EQ(stack()->count(), 2);
}

TEST_P(RectToolTest, OneClickShapeIsCentredOnTheClick) {
    useTool(true, 7, 3);
    click({50, 60});
    EXPECT_EQ(snapshot(), QStringList{shape(46.5, 58.5, 7, 3, label->id())});
    EXPECT_EQ(stack()->count(), 1);
    // A click on the shape just made starts no second one.
    typeKey(Qt::Key_Escape);
    click({50, 60});
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_EQ(tool()->state(), pxm::AbstractRectTool::State::Transforming);
    // Default size 1 x 1: corners half a pixel off the click.
    project.setSetting(QString(GetParam().prefix) + ".defaultWidth", 0);
    project.setSetting(QString(GetParam().prefix) + ".defaultHeight", QString("x"));
    EXPECT_EQ(tool()->defaultWidth(), 1);
    EXPECT_EQ(tool()->defaultHeight(), 1);
    typeKey(Qt::Key_Escape);
    click({150, 150});
    EXPECT_TRUE(snapshot().contains(shape(149.5, 149.5, 1, 1, label->id())));
}

TEST_P(RectToolTest, EscapeAbortsTheDragAndNoLabelDrawsNothing) {
    useTool(false);
    press({20, 20});
    move({60, 60}, Qt::LeftButton);
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(tool()->drawnItem(), nullptr);
    release({60, 60});
    EXPECT_EQ(stack()->count(), 0);
    EXPECT_TRUE(snapshot().isEmpty());
    EXPECT_EQ(scene()->items().size(), 2) << "only the image and mask items remain";

    project.setCurrentLabel(nullptr);
    drag({20, 20}, {60, 60});
    EXPECT_EQ(stack()->count(), 0);
}

TEST_P(RectToolTest, SettingsToolBarFollowsTheProjectBothWays) {
    // A project without the settings: the default the settings dialog shows, one click.
    view->setTool(GetParam().type);
    EXPECT_TRUE(tool()->oneClick());
    EXPECT_TRUE(tool()->settingsToolBar()->findChild<QCheckBox*>("oneClickModeCheckBox")->isChecked());
    view->setTool(pxm::ToolType::None);
    useTool(false, 5, 6);
    QToolBar* bar = tool()->settingsToolBar();
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->parent(), window.get()) << "the view adds it to the main window";
    auto* check = bar->findChild<QCheckBox*>("oneClickModeCheckBox");
    auto* width = bar->findChild<QSpinBox*>("widthSpinBox");
    auto* height = bar->findChild<QSpinBox*>("heightSpinBox");
    ASSERT_TRUE(check && width && height);
    EXPECT_FALSE(check->isChecked());
    EXPECT_FALSE(width->isEnabled());
    EXPECT_EQ(width->value(), 5);
    EXPECT_EQ(height->value(), 6);
    // From the settings dialog's side: the project changes, the tool bar follows at once.
    project.setSetting(QString(GetParam().prefix) + ".oneClick", true);
    EXPECT_TRUE(check->isChecked());
    EXPECT_TRUE(width->isEnabled());
    EXPECT_TRUE(height->isEnabled());
    // From the tool bar's side.
    width->setValue(12);
    EXPECT_EQ(project.setting(QString(GetParam().prefix) + ".defaultWidth").toInt(), 12);
    check->setChecked(false);
    EXPECT_FALSE(project.setting(QString(GetParam().prefix) + ".oneClick").toBool());
    EXPECT_FALSE(height->isEnabled());
}

TEST_P(RectToolTest, PressOnOtherKindStartsANewShapeOnTop) {
    // A shape of the other kind under the pointer does not stop drawing.
    auto* foreign = GetParam().itemType == QGraphicsRectItem::Type
                        ? static_cast<QGraphicsItem*>(new QGraphicsEllipseItem(0, 0, 100, 100))
                        : static_cast<QGraphicsItem*>(new QGraphicsRectItem(0, 0, 100, 100));
    scene()->addLabelItem(foreign, other);
    useTool(false);
    drag({20, 20}, {40, 40});
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_TRUE(snapshot().contains(shape(20, 20, 20, 20, label->id())));
}

INSTANTIATE_TEST_SUITE_P(Kinds, RectToolTest,
                         ::testing::Values(Kind{pxm::ToolType::Rectangle, "RectTool", "rect", QGraphicsRectItem::Type},
                                           Kind{pxm::ToolType::Ellipse, "EllipseTool", "ellipse",
                                                QGraphicsEllipseItem::Type}),
                         [](const auto& info) { return std::string(info.param.prefix); });

} // namespace
