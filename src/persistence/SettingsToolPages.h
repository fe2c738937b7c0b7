// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/SettingsPage.h"

class QCheckBox;
class QComboBox;
class QSpinBox;

namespace pxm {

/// The settings of a box-drawing tool: whether one click places a box of the default size,
/// and that size. Built once per tool with its key prefix ("RectTool", "EllipseTool").
class RectToolSettings : public SettingsPage {
    Q_OBJECT
public:
    RectToolSettings(const QString& prefix, const QString& title, Project* project,
                     QWidget* parent = nullptr);

    QString prefix() const { return m_prefix; }
    QCheckBox* oneClickBox() const { return m_oneClick; }
    QSpinBox* widthBox() const { return m_width; }
    QSpinBox* heightBox() const { return m_height; }

protected:
    void readProject() override;
    void writeProject() override;

private:
    QString key(const char* field) const;

    QString m_prefix;
    QCheckBox* m_oneClick;
    QSpinBox* m_width;
    QSpinBox* m_height;
};

/// The brush of a pixel tool: its width, stored under "<prefix>.brushWidth", and its shape,
/// "Square" or "Round" under "<prefix>.brushShape".
class BrushToolSettings : public SettingsPage {
    Q_OBJECT
public:
    QSpinBox* brushWidthBox() const { return m_brushWidth; }
    QComboBox* brushShapeBox() const { return m_brushShape; }

protected:
    BrushToolSettings(const QString& prefix, const QString& title, Project* project, QWidget* parent);
    void readProject() override;
    void writeProject() override;

private:
    QString m_key;
    QString m_shapeKey;
    QSpinBox* m_brushWidth;
    QComboBox* m_brushShape;
};

/// The freehand (pixel painting) tool's page.
class FreehandToolSettings : public BrushToolSettings {
    Q_OBJECT
public:
    explicit FreehandToolSettings(Project* project, QWidget* parent = nullptr);
};

/// The eraser's page.
class EraserToolSettings : public BrushToolSettings {
    Q_OBJECT
public:
    explicit EraserToolSettings(Project* project, QWidget* parent = nullptr);
};

} // namespace pxm
