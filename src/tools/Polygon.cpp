// SPDX-License-Identifier: MIT
#include "tools/Polygon.h"

#include "tools/EditPolygonTool.h"
#include "tools/NewPolygonTool.h"

#include <QGraphicsPolygonItem>

namespace pxm {

Polygon::Polygon(View* view) : CompositeShapeTool(view, ToolType::Polygon, QGraphicsPolygonItem::Type) {
    m_new = new NewPolygonTool(this);
    m_edit = new EditPolygonTool(this);
    setSubTools(m_new, m_edit);
    connect(m_new, &NewPolygonTool::committed, this, &Polygon::on_creator_committed);
}

void Polygon::startEditing(QGraphicsItem* item) {
    if (item->type() == QGraphicsPolygonItem::Type)
        m_edit->startEditing(static_cast<QGraphicsPolygonItem*>(item));
}

} // namespace pxm
