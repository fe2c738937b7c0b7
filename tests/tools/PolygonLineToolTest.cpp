// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include "scene/GrabItem.h"
#include "tools/EditLineTool.h"
#include "tools/EditPolygonTool.h"
#include "tools/LineTool.h"
#include "tools/NewLineTool.h"
#include "tools/NewPolygonTool.h"
#include "tools/Polygon.h"

#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>

using namespace pxmtest;

namespace {

QString poly(std::initializer_list<QPointF> points, int id) {
    QStringList parts;
    for (const QPointF& p : points)
        parts << numbers({p.x(), p.y()});
    return plainShape("polygon " + parts.join(' '), id);
}

QString line(QPointF a, QPointF b, int id) {
    return plainShape("line " + numbers({a.x(), a.y(), b.x(), b.y()}), id);
}

class PolygonToolTest : public ToolFixture {
protected:
    pxm::Polygon* tool() const { return static_cast<pxm::Polygon*>(view->tool()); }
    pxm::EditPolygonTool* editor() const { return tool()->editPolygonTool(); }
    // Draws a triangle by clicks and a double click on its last vertex.
    void drawTriangle() {
        click({20, 20});
        move({80, 20});
        click({80, 20});
        move({50, 70});
        press({50, 70});
        release({50, 70});
        doubleClick({50, 70});
        release({50, 70});
    }
};

TEST_F(PolygonToolTest, ClicksAndADoubleClickCommitOnePolygonThatGoesIntoEditing) {
    view->setTool(pxm::ToolType::Polygon);
    click({20, 20});
    move({80, 20});
    ASSERT_NE(tool()->newPolygonTool()->drawnItem(), nullptr);
    EXPECT_EQ(tool()->newPolygonTool()->drawnItem()->polygon().size(), 2) << "fixed first and floating vertex";
    EXPECT_TRUE(snapshot().isEmpty());
    typeKey(Qt::Key_Escape);
    drawTriangle();
    const QStringList after = snapshot();
    EXPECT_EQ(after, QStringList{poly({{20, 20}, {80, 20}, {50, 70}}, label->id())});
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_EQ(editor()->state(), pxm::EditPolygonTool::State::Editing);
    EXPECT_EQ(editor()->grips().size(), 3);
    EXPECT_EQ(tool()->activeChild(), editor());
    expectUndoRedo(*this, {}, after);
}

TEST_F(PolygonToolTest, EscapeDiscardsTheWholePolygonInProgress) {
    view->setTool(pxm::ToolType::Polygon);
    for (int i = 0; i < 6; ++i)
        click({20.0 + 10 * i, 20.0 + 7 * (i % 2)});
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(tool()->newPolygonTool()->drawnItem(), nullptr);
    EXPECT_EQ(tool()->activeChild(), nullptr);
    EXPECT_EQ(stack()->count(), 0);
    EXPECT_EQ(scene()->items().size(), 2);
}

TEST_F(PolygonToolTest, EachVertexDragIsOneStepAndEndingEditingRestoresTheLastCommit) {
    view->setTool(pxm::ToolType::Polygon);
    drawTriangle();
    drag({80, 20}, {90, 30});
    const QStringList moved = snapshot();
    EXPECT_EQ(moved, QStringList{poly({{20, 20}, {90, 30}, {50, 70}}, label->id())});
    EXPECT_EQ(stack()->count(), 2);
    EXPECT_EQ(editor()->grips()[1]->pos(), QPointF(90, 30));
    expectUndoRedo(*this, {poly({{20, 20}, {80, 20}, {50, 70}}, label->id())}, moved);

    // Undo while the shape is still edited changes it; ending the editing puts back the
    // polygon of the last commit, without an undo step.
    stack()->undo();
    EXPECT_EQ(snapshot(), QStringList{poly({{20, 20}, {80, 20}, {50, 70}}, label->id())});
    EXPECT_EQ(editor()->grips()[1]->pos(), QPointF(90, 30)) << "grips stay until editing restarts";
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(snapshot(), moved);
    EXPECT_EQ(stack()->index(), 1);
    EXPECT_EQ(editor()->state(), pxm::EditPolygonTool::State::Idle);
    EXPECT_TRUE(editor()->grips().isEmpty());
}

TEST_F(PolygonToolTest, ShiftPressInsertsOnAnEdgeAndRemovesAtAGripNeverBelowThree) {
    view->setTool(pxm::ToolType::Polygon);
    drawTriangle();
    const QStringList triangle = snapshot();
    press({50, 20}, Qt::LeftButton, Qt::ShiftModifier);
    release({50, 20}, Qt::LeftButton, Qt::ShiftModifier);
    const QStringList four = snapshot();
    EXPECT_EQ(four, QStringList{poly({{20, 20}, {50, 20}, {80, 20}, {50, 70}}, label->id())});
    EXPECT_EQ(editor()->grips().size(), 4);
    EXPECT_EQ(stack()->count(), 2);
    expectUndoRedo(*this, triangle, four);

    press({80, 20}, Qt::LeftButton, Qt::ShiftModifier);
    release({80, 20}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_EQ(snapshot(), QStringList{poly({{20, 20}, {50, 20}, {50, 70}}, label->id())});
    EXPECT_EQ(stack()->count(), 3);
    // A triangle keeps its three vertices.
    press({20, 20}, Qt::LeftButton, Qt::ShiftModifier);
    release({20, 20}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_EQ(editor()->grips().size(), 3);
    EXPECT_EQ(stack()->count(), 3);
    // A plain press on a grip only starts a drag.
    press({20, 20});
    release({20, 20});
    EXPECT_EQ(stack()->count(), 4) << "a drag without movement is still one step";
    EXPECT_EQ(editor()->grips().size(), 3);
}

TEST_F(PolygonToolTest, DeleteRemovesTheEditedShapeAndAPressElsewhereEndsEditing) {
    view->setTool(pxm::ToolType::Polygon);
    drawTriangle();
    typeKey(Qt::Key_Delete);
    EXPECT_TRUE(snapshot().isEmpty());
    EXPECT_EQ(stack()->count(), 2);
    EXPECT_EQ(tool()->activeChild(), nullptr);
    stack()->undo();
    EXPECT_EQ(snapshot().size(), 1);

    // Pressing the shape edits it; pressing empty space ends the editing and draws nothing.
    click({50, 30});
    EXPECT_EQ(editor()->state(), pxm::EditPolygonTool::State::Editing);
    click({150, 150});
    EXPECT_EQ(editor()->state(), pxm::EditPolygonTool::State::Idle);
    EXPECT_EQ(tool()->activeChild(), nullptr);
    EXPECT_EQ(stack()->index(), 1);
}

class LineToolTest : public ToolFixture {
protected:
    pxm::LineTool* tool() const { return static_cast<pxm::LineTool*>(view->tool()); }
};

TEST_F(LineToolTest, DrawnRightToLeftKeepsItsDirectionAndEachEndDragIsOneStep) {
    view->setTool(pxm::ToolType::Line);
    drag({150, 40}, {30, 60});
    const QStringList drawn = snapshot();
    EXPECT_EQ(drawn, QStringList{line({150, 40}, {30, 60}, label->id())});
    EXPECT_EQ(stack()->count(), 1);
    expectUndoRedo(*this, {}, drawn);
    auto* editor = tool()->editLineTool();
    ASSERT_EQ(editor->state(), pxm::EditLineTool::State::Editing);

    drag({30, 60}, {40, 100});
    const QStringList moved = snapshot();
    EXPECT_EQ(moved, QStringList{line({150, 40}, {40, 100}, label->id())});
    EXPECT_EQ(editor->grip2()->pos(), QPointF(40, 100));
    EXPECT_EQ(stack()->count(), 2);
    expectUndoRedo(*this, drawn, moved);

    drag({150, 40}, {160, 30});
    EXPECT_EQ(snapshot(), QStringList{line({160, 30}, {40, 100}, label->id())});
    EXPECT_EQ(stack()->count(), 3);

    // The quirk: undo during editing, then ending the editing, brings the last commit back.
    stack()->undo();
    typeKey(Qt::Key_Escape);
    EXPECT_EQ(snapshot(), QStringList{line({160, 30}, {40, 100}, label->id())});
    EXPECT_EQ(editor->state(), pxm::EditLineTool::State::Idle);
}

TEST_F(LineToolTest, RightPressOnALineStartsANewOneAndDeleteRemovesTheEdited) {
    view->setTool(pxm::ToolType::Line);
    drag({20, 100}, {180, 100});
    typeKey(Qt::Key_Escape);
    // Left on the line edits it.
    click({100, 100});
    EXPECT_EQ(tool()->activeChild(), tool()->editLineTool());
    click({100, 180});
    EXPECT_EQ(tool()->activeChild(), nullptr);
    // Right on the line draws a new one on top.
    drag({100, 100}, {100, 20}, Qt::RightButton);
    EXPECT_EQ(snapshot().size(), 2);
    EXPECT_EQ(stack()->count(), 2);
    typeKey(Qt::Key_Delete);
    EXPECT_EQ(snapshot(), QStringList{line({20, 100}, {180, 100}, label->id())});
    EXPECT_EQ(stack()->count(), 3);
    EXPECT_EQ(tool()->editLineTool()->state(), pxm::EditLineTool::State::Idle);
    // No label, no line.
    project.setCurrentLabel(nullptr);
    drag({20, 20}, {40, 40});
    EXPECT_EQ(stack()->count(), 3);
}

} // namespace
