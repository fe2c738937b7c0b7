// SPDX-License-Identifier: MIT
#pragma once

#include <QLineF>
#include <QPainterPath>
#include <QPolygonF>
#include <QUndoCommand>

class QGraphicsLineItem;
class QGraphicsPathItem;
class QGraphicsPolygonItem;

namespace pxm::commands {

/// Gives a line item another line (one dragged end point).
class SetLineItemLine : public QUndoCommand {
public:
    SetLineItemLine(QGraphicsLineItem* item, const QLineF& oldLine, const QLineF& newLine,
                    QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    QGraphicsLineItem* m_item;
    QLineF m_old;
    QLineF m_new;
};

/// Gives a polygon item another polygon (a dragged, inserted or removed vertex).
class SetPolygonItemPolygon : public QUndoCommand {
public:
    SetPolygonItemPolygon(QGraphicsPolygonItem* item, const QPolygonF& oldPolygon, const QPolygonF& newPolygon,
                          QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    QGraphicsPolygonItem* m_item;
    QPolygonF m_old;
    QPolygonF m_new;
};

/// Gives a region (path) item another path: pixels added to or taken from it.
class SetPathItemPath : public QUndoCommand {
public:
    SetPathItemPath(QGraphicsPathItem* item, const QPainterPath& oldPath, const QPainterPath& newPath,
                    QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    QGraphicsPathItem* m_item;
    QPainterPath m_old;
    QPainterPath m_new;
};

} // namespace pxm::commands
