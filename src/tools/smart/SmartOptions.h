// SPDX-License-Identifier: MIT
#pragma once

#include "tools/smart/SmartResult.h"

#include <QObject>

class QCheckBox;
class QDoubleSpinBox;
class QToolBar;

namespace pxm {

class Project;
class Tool;

/// The options every smart tool shares, kept in the project's settings: whether results
/// become polygons (and how closely their outlines follow the pixels) and whether they keep
/// out of other labels' pixels. Adds its widgets to a tool's settings tool bar.
class SmartOptions : public QObject {
    Q_OBJECT
public:
    static constexpr double DefaultSimplify = 0.7;

    explicit SmartOptions(Tool* tool);

    bool polygon() const;
    double simplify() const;
    bool keepOtherLabels() const;
    /// How results become items under the project's settings (defaults without a project).
    static SmartResult::Shape shapeFor(const Project* project);

    /// Adds "Polygon", its tolerance and "Keep other labels" to the tool bar.
    void addTo(QToolBar* toolBar);
    /// Shows the project's values in the widgets.
    void showSettings();

    QCheckBox* polygonBox() const { return m_polygon; }
    QCheckBox* keepOthersBox() const { return m_keepOthers; }

private:
    Project* project() const;

    Tool* m_tool;
    QCheckBox* m_polygon = nullptr;
    QDoubleSpinBox* m_simplify = nullptr;
    QCheckBox* m_keepOthers = nullptr;
};

} // namespace pxm
