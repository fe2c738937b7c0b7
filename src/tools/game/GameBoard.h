// SPDX-License-Identifier: MIT
#pragma once

#include "tools/game/FourInARow.h"

#include <QRect>
#include <QString>
#include <QWidget>

namespace pxm::game {

/// Shows a four-in-a-row board over the middle of its parent (the View's viewport), with a
/// line of text below it. It paints only: mouse input passes through it to the View, whose
/// tool decides what a click means, so the board keeps to the View's event rules.
class GameBoard : public QWidget {
    Q_OBJECT
public:
    explicit GameBoard(QWidget* parent);

    void setGame(const FourInARow& game) {
        m_game = game;
        update();
    }
    void setMessage(const QString& message) {
        m_message = message;
        update();
    }
    QString message() const { return m_message; }
    /// The column under the pointer, highlighted; -1 for none.
    void setHoverColumn(int column);
    /// The column under a point of the parent, or -1 outside the board.
    int columnAt(const QPoint& parentPos) const;
    /// The board's cells in the widget's coordinates.
    QRect boardRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fitToParent();

    FourInARow m_game;
    QString m_message;
    int m_hoverColumn = -1;
};

} // namespace pxm::game
