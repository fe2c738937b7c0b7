// SPDX-License-Identifier: MIT
#include "tools/game/GameBoard.h"

#include <QEvent>
#include <QPainter>
#include <algorithm>

namespace pxm::game {

namespace {
constexpr int MessageHeight = 28;
}

GameBoard::GameBoard(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    if (parent)
        parent->installEventFilter(this);
    fitToParent();
}

void GameBoard::setHoverColumn(int column) {
    if (column != m_hoverColumn) {
        m_hoverColumn = column;
        update();
    }
}

QRect GameBoard::boardRect() const {
    const int cell =
        std::max(1, std::min(width() / FourInARow::Columns, (height() - MessageHeight) / FourInARow::Rows));
    const int w = cell * FourInARow::Columns, h = cell * FourInARow::Rows;
    return QRect((width() - w) / 2, 0, w, h);
}

int GameBoard::columnAt(const QPoint& parentPos) const {
    const QRect board = boardRect().translated(pos());
    if (!board.contains(parentPos))
        return -1;
    return std::clamp((parentPos.x() - board.left()) * FourInARow::Columns / board.width(), 0,
                      FourInARow::Columns - 1);
}

void GameBoard::fitToParent() {
    const QWidget* p = parentWidget();
    if (!p)
        return;
    const int side = std::max(70, std::min(p->width(), p->height()) * 4 / 5);
    resize(side, side * FourInARow::Rows / FourInARow::Columns + MessageHeight);
    move((p->width() - width()) / 2, (p->height() - height()) / 2);
}

bool GameBoard::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        fitToParent();
    return false;
}

void GameBoard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRect board = boardRect();
    const double cell = double(board.width()) / FourInARow::Columns;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(30, 70, 170, 235));
    painter.drawRoundedRect(board, cell * 0.2, cell * 0.2);
    if (m_hoverColumn >= 0 && !m_game.isOver()) {
        painter.setBrush(QColor(255, 255, 255, 40));
        painter.drawRect(QRectF(board.left() + m_hoverColumn * cell, board.top(), cell, board.height()));
    }
    auto cellRect = [&](int column, int row) {
        const double inset = cell * 0.12;
        return QRectF(board.left() + column * cell + inset,
                      board.top() + (FourInARow::Rows - 1 - row) * cell + inset, cell - 2 * inset,
                      cell - 2 * inset);
    };
    for (int column = 0; column < FourInARow::Columns; ++column) {
        for (int row = 0; row < FourInARow::Rows; ++row) {
            const FourInARow::Piece piece = m_game.at(column, row);
            painter.setBrush(piece == FourInARow::First    ? QColor(220, 40, 40)
                             : piece == FourInARow::Second ? QColor(250, 210, 40)
                                                           : QColor(235, 235, 235));
            painter.drawEllipse(cellRect(column, row));
        }
    }
    if (m_game.winner() != FourInARow::Empty) {
        painter.setPen(QPen(Qt::white, std::max(2.0, cell * 0.08)));
        painter.setBrush(Qt::NoBrush);
        for (const auto& c : m_game.winningLine())
            painter.drawEllipse(cellRect(c[0], c[1]));
    }
    painter.setPen(Qt::white);
    const QRect text(0, board.bottom() + 1, width(), height() - board.bottom() - 1);
    painter.fillRect(text, QColor(0, 0, 0, 160));
    painter.drawText(text, Qt::AlignCenter, m_message);
}

} // namespace pxm::game
