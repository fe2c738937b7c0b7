// SPDX-License-Identifier: MIT
#include "tools/smart/SmartOptions.h"

#include "model/Project.h"
#include "tools/Tool.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolBar>

namespace pxm {

namespace {
const QString PolygonKey = QStringLiteral("SmartTools.polygon");
const QString SimplifyKey = QStringLiteral("SmartTools.polygonTolerance");
const QString KeepOthersKey = QStringLiteral("SmartTools.keepOtherLabels");
} // namespace

SmartOptions::SmartOptions(Tool* tool) : QObject(tool), m_tool(tool) {}

Project* SmartOptions::project() const {
    return m_tool->project();
}

SmartResult::Shape SmartOptions::shapeFor(const Project* p) {
    SmartResult::Shape shape;
    shape.polygon = p && p->setting(PolygonKey, false).toBool();
    const double value = p ? p->setting(SimplifyKey, DefaultSimplify).toDouble() : DefaultSimplify;
    shape.simplify = value > 0 ? value : DefaultSimplify;
    return shape;
}

bool SmartOptions::polygon() const {
    return shapeFor(project()).polygon;
}

double SmartOptions::simplify() const {
    return shapeFor(project()).simplify;
}

bool SmartOptions::keepOtherLabels() const {
    const Project* p = project();
    return !p || p->setting(KeepOthersKey, true).toBool();
}

void SmartOptions::addTo(QToolBar* toolBar) {
    toolBar->addSeparator();
    m_polygon = new QCheckBox(tr("Polygon"), toolBar);
    m_polygon->setObjectName("polygonCheckBox");
    m_polygon->setToolTip(tr("Make polygons instead of painted regions."));
    toolBar->addWidget(m_polygon);
    m_simplify = new QDoubleSpinBox(toolBar);
    m_simplify->setObjectName("simplifySpinBox");
    m_simplify->setRange(0.1, 20);
    m_simplify->setSingleStep(0.1);
    m_simplify->setSuffix(tr(" px"));
    m_simplify->setToolTip(tr("How far a polygon's outline may stray from the pixels."));
    toolBar->addWidget(m_simplify);
    m_keepOthers = new QCheckBox(tr("Keep other labels"), toolBar);
    m_keepOthers->setObjectName("keepOthersCheckBox");
    m_keepOthers->setToolTip(tr("Leave out pixels that other labels already cover."));
    toolBar->addWidget(m_keepOthers);
    showSettings();
    auto store = [this](const QString& key, const QVariant& value) {
        if (Project* p = project())
            p->setSetting(key, value);
    };
    connect(m_polygon, &QCheckBox::toggled, this, [store](bool on) { store(PolygonKey, on); });
    connect(m_simplify, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
            [store](double value) { store(SimplifyKey, value); });
    connect(m_keepOthers, &QCheckBox::toggled, this, [store](bool on) { store(KeepOthersKey, on); });
}

void SmartOptions::showSettings() {
    if (!m_polygon)
        return;
    const QSignalBlocker a(m_polygon);
    const QSignalBlocker b(m_simplify);
    const QSignalBlocker c(m_keepOthers);
    m_polygon->setChecked(polygon());
    m_simplify->setValue(simplify());
    m_keepOthers->setChecked(keepOtherLabels());
}

} // namespace pxm
