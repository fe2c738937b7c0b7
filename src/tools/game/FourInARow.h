// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

namespace pxm::game {

/// The rules of four in a row on a board of 7 columns and 6 rows: players drop discs into
/// columns in turn; four of one player's discs in a line (across, up or diagonal) win, and a
/// full board without such a line is a draw. A plain value type, so the computer player can
/// search by copying or by playing and taking back moves.
class FourInARow {
public:
    static constexpr int Columns = 7;
    static constexpr int Rows = 6;
    /// Cell contents and players.
    enum Piece : int8_t { Empty = 0, First = 1, Second = 2 };

    FourInARow() = default;

    /// The piece at (column, row); row 0 is the bottom. Empty outside the board.
    Piece at(int column, int row) const;
    /// Whose turn it is.
    Piece toMove() const { return m_toMove; }
    /// The winner, or Empty while there is none.
    Piece winner() const { return m_winner; }
    bool isDraw() const { return m_winner == Empty && m_moves == Columns * Rows; }
    bool isOver() const { return m_winner != Empty || isDraw(); }
    int moveCount() const { return m_moves; }
    /// The four winning cells as (column, row) pairs once a player has won.
    const std::array<std::array<int, 2>, 4>& winningLine() const { return m_line; }

    bool isLegal(int column) const;
    /// The columns that take a disc now, in order; none once the game is over.
    std::vector<int> legalMoves() const;
    /// Drops a disc of the player to move; false (and nothing changes) for an illegal move.
    bool play(int column);
    /// Takes back the last disc of a column (the caller keeps the order of moves).
    void undo(int column);

private:
    bool winsAt(int column, int row);

    std::array<Piece, Columns * Rows> m_cells{};
    std::array<int, Columns> m_heights{};
    Piece m_toMove = First;
    Piece m_winner = Empty;
    int m_moves = 0;
    std::array<std::array<int, 2>, 4> m_line{};
};

/// The computer player: a negamax search with alpha-beta pruning a few moves deep, trying
/// the centre columns first, that scores open positions by the lines each player can still
/// complete. Wins found sooner score higher, so it takes a win at once and delays a loss.
class FourInARowPlayer {
public:
    explicit FourInARowPlayer(int depth = 5, unsigned seed = 1);

    int depth() const { return m_depth; }
    void setDepth(int depth);
    /// The column to play for the player to move; -1 when the game is over.
    int chooseMove(const FourInARow& game);
    /// How good the position is for the player to move (positive = better), without search.
    static int evaluate(const FourInARow& game);

private:
    int search(FourInARow& game, int depth, int alpha, int beta);

    int m_depth;
    std::mt19937 m_random;
};

} // namespace pxm::game
