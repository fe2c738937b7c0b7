// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QTransform>
#include <QUndoCommand>

class QGraphicsItem;

namespace pxm::commands {

/// Moves, rotates or scales a shape by its position and transform (never its geometry).
/// Successive transforms are never merged: each drag is one undo step.
class TransformItem : public QUndoCommand {
public:
    TransformItem(QGraphicsItem* item, const QPointF& oldPos, const QTransform& oldTransform, const QPointF& newPos,
                  const QTransform& newTransform, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;
    int id() const override { return 10; }

private:
    QGraphicsItem* m_item;
    QPointF m_oldPos;
    QPointF m_newPos;
    QTransform m_oldTransform;
    QTransform m_newTransform;
};

} // namespace pxm::commands
