// SPDX-License-Identifier: MIT
#include "tools/game/FourInARow.h"

#include <algorithm>

namespace pxm::game {

namespace {
constexpr int WinScore = 1000000;
// Columns from the centre outwards: central discs take part in the most lines.
constexpr int SearchOrder[FourInARow::Columns] = {3, 2, 4, 1, 5, 0, 6};
} // namespace

FourInARow::Piece FourInARow::at(int column, int row) const {
    if (column < 0 || column >= Columns || row < 0 || row >= Rows)
        return Empty;
    return m_cells[std::size_t(row * Columns + column)];
}

bool FourInARow::isLegal(int column) const {
    return !isOver() && column >= 0 && column < Columns && m_heights[std::size_t(column)] < Rows;
}

std::vector<int> FourInARow::legalMoves() const {
    std::vector<int> moves;
    for (int c = 0; c < Columns; ++c)
        if (isLegal(c))
            moves.push_back(c);
    return moves;
}

bool FourInARow::play(int column) {
    if (!isLegal(column))
        return false;
    const int row = m_heights[std::size_t(column)]++;
    m_cells[std::size_t(row * Columns + column)] = m_toMove;
    ++m_moves;
    if (winsAt(column, row))
        m_winner = m_toMove;
    m_toMove = m_toMove == First ? Second : First;
    return true;
}

void FourInARow::undo(int column) {
    if (column < 0 || column >= Columns || m_heights[std::size_t(column)] == 0)
        return;
    const int row = --m_heights[std::size_t(column)];
    m_cells[std::size_t(row * Columns + column)] = Empty;
    --m_moves;
    m_winner = Empty;
    m_toMove = m_toMove == First ? Second : First;
}

bool FourInARow::winsAt(int column, int row) {
    const Piece piece = at(column, row);
    static constexpr int Directions[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
    for (const auto& d : Directions) {
        // Walk back to the first disc of the run through (column, row), then count forward.
        int c = column, r = row;
        while (at(c - d[0], r - d[1]) == piece) {
            c -= d[0];
            r -= d[1];
        }
        int length = 0;
        while (at(c + length * d[0], r + length * d[1]) == piece)
            ++length;
        if (length >= 4) {
            // Four cells of the run that include the new disc, at run index k.
            const int k = d[0] ? column - c : row - r;
            const int offset = std::min(k, length - 4);
            for (int i = 0; i < 4; ++i)
                m_line[std::size_t(i)] = {c + (offset + i) * d[0], r + (offset + i) * d[1]};
            return true;
        }
    }
    return false;
}

FourInARowPlayer::FourInARowPlayer(int depth, unsigned seed)
    : m_depth(std::clamp(depth, 1, 9)), m_random(seed) {}

void FourInARowPlayer::setDepth(int depth) {
    m_depth = std::clamp(depth, 1, 9);
}

int FourInARowPlayer::evaluate(const FourInARow& game) {
    const FourInARow::Piece me = game.toMove();
    int score = 0;
    static constexpr int Directions[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
    for (int column = 0; column < FourInARow::Columns; ++column) {
        for (int row = 0; row < FourInARow::Rows; ++row) {
            for (const auto& d : Directions) {
                const int endColumn = column + 3 * d[0], endRow = row + 3 * d[1];
                if (endColumn >= FourInARow::Columns || endRow < 0 || endRow >= FourInARow::Rows)
                    continue;
                int mine = 0, theirs = 0;
                for (int i = 0; i < 4; ++i) {
                    const FourInARow::Piece p = game.at(column + i * d[0], row + i * d[1]);
                    mine += p == me ? 1 : 0;
                    theirs += p != me && p != FourInARow::Empty ? 1 : 0;
                }
                // Only a window one player alone occupies can still become a line.
                static constexpr int Weight[4] = {0, 1, 8, 60};
                if (theirs == 0 && mine < 4)
                    score += Weight[mine];
                else if (mine == 0 && theirs < 4)
                    score -= Weight[theirs];
            }
        }
    }
    for (int row = 0; row < FourInARow::Rows; ++row)
        score +=
            3 * ((game.at(3, row) == me) - (game.at(3, row) != me && game.at(3, row) != FourInARow::Empty));
    return score;
}

int FourInARowPlayer::search(FourInARow& game, int depth, int alpha, int beta) {
    if (game.winner() != FourInARow::Empty)
        return -(WinScore + depth); // the player who just moved won; sooner is worse for us
    if (game.isDraw())
        return 0;
    if (depth == 0)
        return evaluate(game);
    for (int column : SearchOrder) {
        if (!game.isLegal(column))
            continue;
        game.play(column);
        const int score = -search(game, depth - 1, -beta, -alpha);
        game.undo(column);
        if (score >= beta)
            return score;
        alpha = std::max(alpha, score);
    }
    return alpha;
}

int FourInARowPlayer::chooseMove(const FourInARow& game) {
    if (game.isOver())
        return -1;
    FourInARow copy = game;
    int bestScore = -2 * WinScore - 100;
    std::vector<int> best;
    for (int column : SearchOrder) {
        if (!copy.isLegal(column))
            continue;
        copy.play(column);
        // A full window for each move so that equal moves are known as equal and one is
        // picked at random: the computer does not play the same game every time.
        const int score = -search(copy, m_depth - 1, -2 * WinScore - 100, 2 * WinScore + 100);
        copy.undo(column);
        if (score > bestScore) {
            bestScore = score;
            best.assign(1, column);
        } else if (score == bestScore) {
            best.push_back(column);
        }
    }
    if (best.empty())
        return -1;
    std::uniform_int_distribution<std::size_t> pick(0, best.size() - 1);
    return best[pick(m_random)];
}

} // namespace pxm::game
