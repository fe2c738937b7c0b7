// SPDX-License-Identifier: MIT
#include "tools/game/GameTool.h"

#include "tools/ToolFactory.h"
#include "tools/View.h"
#include "tools/game/GameBoard.h"

#include <QDateTime>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QShortcut>
#include <QTimer>

namespace pxm::game {

namespace {

// The tool the View had before the game, kept on the View itself so that it survives the
// tool, which the View deletes on every switch.
constexpr const char* PreviousToolProperty = "pxmToolBeforeGame";

[[maybe_unused]] const bool g_registered = registerGameTool();

} // namespace

bool registerGameTool() {
    return registerToolMaker(ToolType::Reserved, [](View* view) -> Tool* { return new GameTool(view); });
}

void toggleGame(View* view) {
    if (!view)
        return;
    if (view->toolType() == ToolType::Reserved) {
        leaveGame(view);
        return;
    }
    view->setProperty(PreviousToolProperty, int(view->toolType()));
    view->setTool(ToolType::Reserved);
}

void leaveGame(View* view) {
    if (!view || view->toolType() != ToolType::Reserved)
        return;
    const int previous = view->property(PreviousToolProperty).toInt();
    view->setProperty(PreviousToolProperty, QVariant());
    view->setTool(ToolType(previous));
}

QShortcut* installGameShortcut(QWidget* window, View* view) {
    if (!window)
        return nullptr;
    auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_4), window);
    shortcut->setContext(Qt::WindowShortcut);
    QObject::connect(shortcut, &QShortcut::activated, window,
                     [v = QPointer<View>(view)] { toggleGame(v.data()); });
    return shortcut;
}

GameTool::GameTool(View* view)
    : Tool(view, ToolType::Reserved), m_computer(5, unsigned(QDateTime::currentMSecsSinceEpoch())) {}

GameTool::~GameTool() {
    delete m_board.data();
}

void GameTool::init() {
    if (!m_board && view())
        m_board = new GameBoard(view()->viewport());
    m_board->show();
    m_board->raise();
    showState();
}

void GameTool::cleanUp() {
    delete m_board.data();
}

void GameTool::newGame() {
    const bool humanStartedLast = m_human == FourInARow::First;
    m_game = FourInARow();
    m_human = humanStartedLast ? FourInARow::Second : FourInARow::First;
    m_thinking = false;
    showState();
    if (m_game.toMove() != m_human)
        computerMove();
}

bool GameTool::humanMove(int column) {
    if (m_thinking || m_game.toMove() != m_human || !m_game.play(column))
        return false;
    if (m_game.winner() == m_human)
        ++m_humanWins;
    showState();
    if (!m_game.isOver())
        computerMove();
    return true;
}

void GameTool::computerMove() {
    if (m_game.isOver() || m_game.toMove() == m_human)
        return;
    auto answer = [this] {
        m_thinking = false;
        if (m_game.isOver() || m_game.toMove() == m_human)
            return;
        m_game.play(m_computer.chooseMove(m_game));
        if (m_game.winner() != FourInARow::Empty)
            ++m_computerWins;
        showState();
    };
    if (m_replyDelay <= 0) {
        answer();
        return;
    }
    m_thinking = true;
    showState();
    QTimer::singleShot(m_replyDelay, this, answer);
}

void GameTool::showState() {
    if (!m_board)
        return;
    QString message;
    if (m_game.winner() == m_human)
        message = tr("You win!");
    else if (m_game.winner() != FourInARow::Empty)
        message = tr("I win.");
    else if (m_game.isDraw())
        message = tr("A draw.");
    else if (m_thinking || m_game.toMove() != m_human)
        message = tr("Thinking...");
    else
        message = tr("Your move (%1).").arg(m_human == FourInARow::First ? tr("red") : tr("yellow"));
    message += tr("   %1 : %2   N new game, Esc back to work").arg(m_humanWins).arg(m_computerWins);
    m_board->setGame(m_game);
    m_board->setMessage(message);
}

void GameTool::keyReleaseEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key >= Qt::Key_1 && key < Qt::Key_1 + FourInARow::Columns) {
        humanMove(key - Qt::Key_1);
    } else if (key == Qt::Key_N) {
        newGame();
    } else if (key == Qt::Key_Plus || key == Qt::Key_Minus) {
        m_computer.setDepth(m_computer.depth() + (key == Qt::Key_Plus ? 1 : -1));
    } else if (key == Qt::Key_Escape) {
        // The View deletes this tool when it switches; that must not happen inside our own handler.
        QTimer::singleShot(0, view(), [v = QPointer<View>(view())] { leaveGame(v.data()); });
    }
    Tool::keyReleaseEvent(event);
}

void GameTool::mouseMoveEvent(QMouseEvent* event) {
    if (m_board)
        m_board->setHoverColumn(m_board->columnAt(event->pos()));
    Tool::mouseMoveEvent(event);
}

void GameTool::mousePressEvent(QMouseEvent* event) {
    if (m_board && event->button() == Qt::LeftButton) {
        const int column = m_board->columnAt(event->pos());
        if (column >= 0) {
            if (m_game.isOver())
                newGame();
            else
                humanMove(column);
        }
    }
    Tool::mousePressEvent(event);
}

} // namespace pxm::game
