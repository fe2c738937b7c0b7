// SPDX-License-Identifier: MIT
#include "tools/game/GameTool.h"

#include "ToolTestSupport.h"
#include "tools/game/GameBoard.h"

#include <QGraphicsRectItem>
#include <QShortcut>

using namespace pxm;
using pxmtest::ToolFixture;

namespace {

class GameToolTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        addRect(QRectF(10, 10, 30, 30), label);
        stack()->clear();
        view->setTool(ToolType::Rectangle);
    }
    game::GameTool* gameTool() const { return qobject_cast<game::GameTool*>(view->tool()); }
    /// The viewport point at the middle of a board column.
    QPoint columnPoint(int column) const {
        const QRect board = gameTool()->board()->boardRect().translated(gameTool()->board()->pos());
        return QPoint(board.left() + board.width() * (2 * column + 1) / 14, board.center().y());
    }
    void clickViewport(const QPoint& p) {
        for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            QMouseEvent e(type, p, view->viewport()->mapToGlobal(p), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(view->viewport(), &e);
        }
    }
};

} // namespace

TEST_F(GameToolTest, PlaysInItsOwnWidgetAndLeavesTheProjectAlone) {
    const QStringList items = snapshot();
    const int sceneItems = scene()->items().size();
    game::toggleGame(view);
    ASSERT_EQ(view->toolType(), ToolType::Reserved);
    ASSERT_NE(gameTool(), nullptr);
    gameTool()->setReplyDelay(0);
    ASSERT_NE(gameTool()->board(), nullptr);
    EXPECT_TRUE(gameTool()->board()->isVisible());
    EXPECT_EQ(gameTool()->board()->parentWidget(), view->viewport());

    // A click on column 3 drops the human's disc there and the computer answers at once.
    clickViewport(columnPoint(3));
    EXPECT_EQ(gameTool()->game().at(3, 0), game::FourInARow::First);
    EXPECT_EQ(gameTool()->game().moveCount(), 2);
    typeKey(Qt::Key_1); // column 0
    EXPECT_EQ(gameTool()->game().at(0, 0), game::FourInARow::First);
    EXPECT_EQ(gameTool()->game().moveCount(), 4);
    clickViewport(QPoint(2, 2));
    EXPECT_EQ(gameTool()->game().moveCount(), 4) << "a click beside the board plays nothing";

    EXPECT_EQ(stack()->count(), 0);
    EXPECT_EQ(snapshot(), items);
    EXPECT_EQ(scene()->items().size(), sceneItems) << "nothing is drawn into the scene";

    // A new game lets the computer start.
    typeKey(Qt::Key_N);
    EXPECT_EQ(gameTool()->humanPiece(), game::FourInARow::Second);
    EXPECT_EQ(gameTool()->game().moveCount(), 1);

    // Escape gives back the tool used before, and the board goes with the game.
    QPointer<game::GameBoard> board = gameTool()->board();
    typeKey(Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_EQ(view->toolType(), ToolType::Rectangle);
    EXPECT_TRUE(board.isNull());
    EXPECT_EQ(stack()->count(), 0);

    // The window's key sequence toggles it on and off.
    QShortcut* shortcut = game::installGameShortcut(window.get(), view);
    ASSERT_NE(shortcut, nullptr);
    EXPECT_EQ(shortcut->key(), QKeySequence("Ctrl+Alt+4"));
    emit shortcut->activated();
    EXPECT_EQ(view->toolType(), ToolType::Reserved);
    emit shortcut->activated();
    EXPECT_EQ(view->toolType(), ToolType::Rectangle);
}
