// SPDX-License-Identifier: MIT
#pragma once

#include "tools/CompositeShapeTool.h"

namespace pxm {

class EditPolygonTool;
class NewPolygonTool;

/// Draws polygons vertex by vertex and edits their vertices.
class Polygon : public CompositeShapeTool {
    Q_OBJECT
public:
    explicit Polygon(View* view);
    NewPolygonTool* newPolygonTool() const { return m_new; }
    EditPolygonTool* editPolygonTool() const { return m_edit; }

protected:
    void startEditing(QGraphicsItem* item) override;

private:
    NewPolygonTool* m_new;
    EditPolygonTool* m_edit;
};

} // namespace pxm
