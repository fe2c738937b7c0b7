// SPDX-License-Identifier: MIT
#include "tools/commands/ShapeCommands.h"

#include "tools/commands/TransformItem.h"

#include <QGraphicsItem>

namespace pxm::commands {

SetLineItemLine::SetLineItemLine(QGraphicsLineItem* item, const QLineF& oldLine, const QLineF& newLine,
                                 QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_old(oldLine), m_new(newLine) {}

void SetLineItemLine::redo() {
    m_item->setLine(m_new);
}

void SetLineItemLine::undo() {
    m_item->setLine(m_old);
}

SetPolygonItemPolygon::SetPolygonItemPolygon(QGraphicsPolygonItem* item, const QPolygonF& oldPolygon,
                                             const QPolygonF& newPolygon, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_old(oldPolygon), m_new(newPolygon) {}

void SetPolygonItemPolygon::redo() {
    m_item->setPolygon(m_new);
}

void SetPolygonItemPolygon::undo() {
    m_item->setPolygon(m_old);
}

SetPathItemPath::SetPathItemPath(QGraphicsPathItem* item, const QPainterPath& oldPath, const QPainterPath& newPath,
                                 QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_old(oldPath), m_new(newPath) {}

void SetPathItemPath::redo() {
    m_item->setPath(m_new);
}

void SetPathItemPath::undo() {
    m_item->setPath(m_old);
}

TransformItem::TransformItem(QGraphicsItem* item, const QPointF& oldPos, const QTransform& oldTransform,
                             const QPointF& newPos, const QTransform& newTransform, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_oldPos(oldPos), m_newPos(newPos), m_oldTransform(oldTransform),
      m_newTransform(newTransform) {}

void TransformItem::redo() {
    m_item->setTransform(m_newTransform);
    m_item->setPos(m_newPos);
}

void TransformItem::undo() {
    m_item->setTransform(m_oldTransform);
    m_item->setPos(m_oldPos);
}

} // namespace pxm::commands
