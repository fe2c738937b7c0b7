// SPDX-License-Identifier: MIT
#include "persistence/SettingsToolPages.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QSpinBox>
#include <algorithm>

namespace pxm {

RectToolSettings::RectToolSettings(const QString& prefix, const QString& title, Project* project,
                                   QWidget* parent)
    : SettingsPage(title, project, parent), m_prefix(prefix) {
    setObjectName(prefix + "Settings");
    m_oneClick = new QCheckBox(tr("One Click"), this);
    m_oneClick->setObjectName("oneClick");
    m_width = new QSpinBox(this);
    m_width->setObjectName("defaultWidth");
    m_width->setMinimum(1);
    m_height = new QSpinBox(this);
    m_height->setObjectName("defaultHeight");
    m_height->setMinimum(1);

    auto* layout = new QFormLayout(this);
    layout->addRow(m_oneClick);
    layout->addRow(tr("Default Width"), m_width);
    layout->addRow(tr("Default Height"), m_height);

    writeBackOn(m_oneClick, &QCheckBox::toggled);
    writeBackOn(m_width, qOverload<int>(&QSpinBox::valueChanged));
    writeBackOn(m_height, qOverload<int>(&QSpinBox::valueChanged));
}

QString RectToolSettings::key(const char* field) const {
    return m_prefix + "." + QLatin1String(field);
}

void RectToolSettings::readProject() {
    m_oneClick->setChecked(value(key("oneClick")).toBool());
    m_width->setValue(value(key("defaultWidth")).toInt());
    m_height->setValue(value(key("defaultHeight")).toInt());
}

void RectToolSettings::writeProject() {
    store(key("oneClick"), m_oneClick->isChecked());
    store(key("defaultWidth"), m_width->value());
    store(key("defaultHeight"), m_height->value());
}

BrushToolSettings::BrushToolSettings(const QString& prefix, const QString& title, Project* project,
                                     QWidget* parent)
    : SettingsPage(title, project, parent), m_key(prefix + ".brushWidth"),
      m_shapeKey(prefix + ".brushShape") {
    setObjectName(prefix + "Settings");
    m_brushWidth = new QSpinBox(this);
    m_brushWidth->setObjectName("brushWidth");
    m_brushWidth->setMinimum(1);
    m_brushShape = new QComboBox(this);
    m_brushShape->setObjectName("brushShape");
    m_brushShape->addItem(tr("Square"), QStringLiteral("Square"));
    m_brushShape->addItem(tr("Round"), QStringLiteral("Round"));
    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Brush width"), m_brushWidth);
    layout->addRow(tr("Brush shape"), m_brushShape);
    writeBackOn(m_brushWidth, qOverload<int>(&QSpinBox::valueChanged));
    writeBackOn(m_brushShape, qOverload<int>(&QComboBox::currentIndexChanged));
}

void BrushToolSettings::readProject() {
    m_brushWidth->setValue(value(m_key).toInt());
    // Any value but "Round" is the square the tools fall back to.
    const int shape = m_brushShape->findData(value(m_shapeKey).toString());
    m_brushShape->setCurrentIndex(std::max(0, shape));
}

void BrushToolSettings::writeProject() {
    store(m_key, m_brushWidth->value());
    store(m_shapeKey, m_brushShape->currentData());
}

FreehandToolSettings::FreehandToolSettings(Project* project, QWidget* parent)
    : BrushToolSettings("FreehandTool", tr("Freehand Tool"), project, parent) {}

EraserToolSettings::EraserToolSettings(Project* project, QWidget* parent)
    : BrushToolSettings("EraserTool", tr("Eraser Tool"), project, parent) {}

} // namespace pxm
