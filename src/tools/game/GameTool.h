// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Tool.h"
#include "tools/game/FourInARow.h"
#include "tools/game/GameBoard.h"

#include <QPointer>

class QShortcut;
class QWidget;

namespace pxm {
class View;
}

namespace pxm::game {

class GameBoard;

/// A game of four in a row against the computer, played in the View as a tool of its own
/// (ToolType::Reserved). It draws in a widget over the viewport, not in the scene, and never
/// pushes a command: the project, the undo stack and every export stay as they were.
///
/// A click drops a disc into the column under the pointer, as do the keys 1 to 7; N starts a
/// new game (the first move alternates), + and - make the computer think further or less far,
/// and Escape leaves the game for the tool used before (see leaveGame()).
class GameTool : public Tool {
    Q_OBJECT
public:
    explicit GameTool(View* view);
    ~GameTool() override;

    const FourInARow& game() const { return m_game; }
    FourInARow::Piece humanPiece() const { return m_human; }
    GameBoard* board() const { return m_board.data(); }
    FourInARowPlayer& computer() { return m_computer; }
    /// Milliseconds before the computer answers (0 answers at once).
    void setReplyDelay(int milliseconds) { m_replyDelay = milliseconds; }

    /// Drops the human's disc into `column`; false when it is not the human's turn or the
    /// column is full. The computer answers after the reply delay.
    bool humanMove(int column);
    /// A new game; the side that did not start the last game starts.
    void newGame();

    void init() override;
    void cleanUp() override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void computerMove();
    void showState();

    FourInARow m_game;
    FourInARowPlayer m_computer;
    FourInARow::Piece m_human = FourInARow::First;
    QPointer<GameBoard> m_board;
    int m_replyDelay = 250;
    bool m_thinking = false;
    int m_humanWins = 0;
    int m_computerWins = 0;
};

/// Registers the game as the View's tool for ToolType::Reserved (also done when the program
/// starts); true on success.
bool registerGameTool();
/// Switches the View to the game, remembering its tool; when the game is already on,
/// leaves it. The window binds this to a key sequence of its own and to nothing visible.
void toggleGame(View* view);
/// Gives the View back the tool it had before the game (none if it had none).
void leaveGame(View* view);
/// Binds the key sequence that toggles the game in `window` (Ctrl+Alt+4, for four in a row)
/// and returns the shortcut, owned by the window.
QShortcut* installGameShortcut(QWidget* window, View* view);

} // namespace pxm::game
