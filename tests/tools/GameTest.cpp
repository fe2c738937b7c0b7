// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"
#include "tools/game/FourInARow.h"
#include "tools/game/GameBoard.h"
#include "tools/game/GameTool.h"

#include <random>
#include <string>

using namespace pxm;
using namespace pxm::game;

namespace {

/// Plays a sequence of columns ("3344") and checks each move is accepted.
FourInARow playAll(const std::string& columns) {
    FourInARow game;
    for (char c : columns)
        EXPECT_TRUE(game.play(c - '0')) << "column " << c;
    return game;
}

using GameToolTest = pxmtest::ToolFixture;

} // namespace

TEST(FourInARowTest, MovesFillColumnsFromTheBottomAndFullColumnsAreIllegal) {
    FourInARow game = playAll("000000");
    EXPECT_EQ(std::tuple(game.at(0, 0), game.at(0, 1), game.at(0, 5)),
              std::tuple(FourInARow::First, FourInARow::Second, FourInARow::Second));
    EXPECT_EQ(std::tuple(game.isLegal(0), game.play(0), game.play(-1), game.play(7)),
              std::tuple(false, false, false, false));
    EXPECT_EQ(std::tuple(game.moveCount(), game.legalMoves(), game.toMove()),
              std::tuple(6, std::vector<int>{1, 2, 3, 4, 5, 6}, FourInARow::First));
    game.undo(0);
    EXPECT_EQ(std::tuple(game.isLegal(0), game.toMove(), game.at(0, 5)),
              std::tuple(true, FourInARow::Second, FourInARow::Empty));
}

TEST(FourInARowTest, WinsInEveryDirectionTheLineHoldsTheLastDiscAndAFullBoardIsADraw) {
    struct Case {
        const char* moves;
        FourInARow::Piece winner;
        int lastColumn, lastRow;
    } cases[] = {
        {"0011223", FourInARow::First, 3, 0},      // across, completed at the right end
        {"3322110", FourInARow::First, 0, 0},      // across, completed at the left end
        {"06162656", FourInARow::Second, 6, 3},    // upwards
        {"0112232336", FourInARow::Empty, -1, -1}, // no line yet
        {"01122323363", FourInARow::First, 3, 3},  // rising diagonal
        {"65544343303", FourInARow::First, 3, 3},  // falling diagonal
        {"001126463", FourInARow::First, 3, 0},    // a run of five: four of it reported
        // Columns filled in pairs so that no four of one colour ever line up: a draw.
        {"010101101010232323323232454545545454666666", FourInARow::Empty, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.moves);
        const FourInARow game = playAll(c.moves);
        EXPECT_EQ(game.winner(), c.winner);
        EXPECT_EQ(game.isDraw(), c.lastColumn == 0 && c.winner == FourInARow::Empty);
        if (c.lastColumn < 0) {
            EXPECT_FALSE(game.isOver());
            continue;
        }
        FourInARow after = game; // no move after the end
        EXPECT_EQ(std::tuple(game.isOver(), game.legalMoves().size(), after.play(5)),
                  std::tuple(true, std::size_t(0), false));
        if (c.winner == FourInARow::Empty)
            continue;
        bool holdsLast = false;
        for (const auto& cell : game.winningLine()) {
            EXPECT_EQ(game.at(cell[0], cell[1]), c.winner);
            holdsLast = holdsLast || (cell[0] == c.lastColumn && cell[1] == c.lastRow);
        }
        EXPECT_TRUE(holdsLast);
    }
}

TEST(FourInARowTest, TheComputerTakesAWinBlocksOneAndNeverMovesIllegally) {
    FourInARowPlayer computer(4, 7);
    // First to move with three in a row on the bottom: it completes the line.
    EXPECT_EQ(computer.chooseMove(playAll("001122")), 3);
    // Second to move against three in a row that is open on one side only: it blocks.
    EXPECT_EQ(computer.chooseMove(playAll("06162")), 3);
    EXPECT_EQ(computer.chooseMove(playAll("0011223")), -1) << "no move once the game is over";
    // Against a random player from both sides: every move legal, almost every game won.
    std::mt19937 random(12345);
    int wins = 0, losses = 0;
    const int games = 40;
    for (int g = 0; g < games; ++g) {
        FourInARow game;
        const FourInARow::Piece computerSide = g % 2 ? FourInARow::Second : FourInARow::First;
        while (!game.isOver()) {
            const std::vector<int> legal = game.legalMoves();
            const int column =
                game.toMove() == computerSide
                    ? computer.chooseMove(game)
                    : legal[std::uniform_int_distribution<std::size_t>(0, legal.size() - 1)(random)];
            ASSERT_TRUE(game.play(column)) << "illegal " << column; // play() refuses illegal moves
        }
        wins += game.winner() == computerSide ? 1 : 0;
        losses += game.winner() != computerSide && game.winner() != FourInARow::Empty ? 1 : 0;
    }
    EXPECT_GE(wins, games * 9 / 10) << wins << " wins, " << losses << " losses";
    EXPECT_EQ(losses, 0);
}

TEST_F(GameToolTest, PlaysInItsOwnWidgetAndLeavesTheProjectAlone) {
    addRect(QRectF(10, 10, 30, 30), label);
    view->setTool(ToolType::Rectangle);
    const QStringList items = snapshot();
    const int sceneItems = scene()->items().size();
    toggleGame(view);
    auto* tool = qobject_cast<GameTool*>(view->tool());
    ASSERT_TRUE(view->toolType() == ToolType::Reserved && tool && tool->board());
    tool->setReplyDelay(0);
    QPointer<GameBoard> board = tool->board();
    EXPECT_EQ(std::pair(board->isVisible(), board->parentWidget()), std::pair(true, view->viewport()));
    // A click on column 3, or the key 1 for column 0, plays and is answered; beside the board, nothing.
    const auto clickAt = [this](const QPoint& p) {
        mouseAt(QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton);
        mouseAt(QEvent::MouseButtonRelease, p, Qt::LeftButton, Qt::NoButton);
    };
    const QRect columns = board->boardRect().translated(board->pos());
    clickAt(
        QPoint(columns.left() + columns.width() * 7 / 14, columns.center().y())); // the middle of column 3
    EXPECT_EQ(std::pair(tool->game().at(3, 0), tool->game().moveCount()), std::pair(FourInARow::First, 2));
    typeKey(Qt::Key_1);
    clickAt(QPoint(2, 2));
    EXPECT_EQ(std::pair(tool->game().at(0, 0), tool->game().moveCount()), std::pair(FourInARow::First, 4));
    // Nothing is drawn into the scene.
    EXPECT_EQ(std::tuple(stack()->count(), snapshot(), scene()->items().size()),
              std::tuple(0, items, sceneItems));
    typeKey(Qt::Key_N); // a new game lets the computer start
    EXPECT_EQ(std::pair(tool->humanPiece(), tool->game().moveCount()), std::pair(FourInARow::Second, 1));
    // Escape gives back the tool used before, and the board goes with the game.
    typeKey(Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_EQ(std::tuple(view->toolType(), board.isNull(), stack()->count()),
              std::tuple(ToolType::Rectangle, true, 0));
    QShortcut* shortcut =
        installGameShortcut(window.get(), view); // the window's key sequence toggles it on and off
    ASSERT_NE(shortcut, nullptr);
    emit shortcut->activated();
    EXPECT_EQ(view->toolType(), ToolType::Reserved);
    emit shortcut->activated();
    EXPECT_EQ(view->toolType(), ToolType::Rectangle);
}
