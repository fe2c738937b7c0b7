// SPDX-License-Identifier: MIT
#pragma once

#include "tools/CompositeShapeTool.h"

namespace pxm {

class EditLineTool;
class NewLineTool;

/// Draws straight lines and edits their end points.
class LineTool : public CompositeShapeTool {
    Q_OBJECT
public:
    explicit LineTool(View* view);
    NewLineTool* newLineTool() const { return m_new; }
    EditLineTool* editLineTool() const { return m_edit; }

protected:
    void startEditing(QGraphicsItem* item) override;

private:
    NewLineTool* m_new;
    EditLineTool* m_edit;
};

} // namespace pxm
