// SPDX-License-Identifier: MIT
#include "tools/LineTool.h"

#include "tools/EditLineTool.h"
#include "tools/NewLineTool.h"

#include <QGraphicsLineItem>

namespace pxm {

LineTool::LineTool(View* view) : CompositeShapeTool(view, ToolType::Line, QGraphicsLineItem::Type) {
    m_new = new NewLineTool(this);
    m_edit = new EditLineTool(this);
    setSubTools(m_new, m_edit);
    connect(m_new, &NewLineTool::committed, this, &LineTool::on_creator_committed);
}

void LineTool::startEditing(QGraphicsItem* item) {
    if (item->type() == QGraphicsLineItem::Type)
        m_edit->startEditing(static_cast<QGraphicsLineItem*>(item));
}

} // namespace pxm
