// SPDX-License-Identifier: MIT
#pragma once

// Window wiring: construct with the window as parent and call setProject() whenever the
// shown project changes (null allowed). The panel follows the project's current label on
// its own; the window needs no further connections.

#include "model/Label.h"
#include "model/Project.h"

#include <QColor>
#include <QPointer>
#include <QWidget>

class QLineEdit;
class QPushButton;
class QSlider;
class QSpinBox;

namespace pxm {

/// The form that shows the current label's mask id, name, colour, opacities and pen width.
/// Every change the user makes becomes one label command on the project's undo stack;
/// changes of the label from anywhere else are followed.
class LabelSettingsWidget : public QWidget {
    Q_OBJECT
public:
    /// Sliders run from 0 to this value; a property is the slider value divided by it.
    static constexpr int SliderMaximum = 1000;

    explicit LabelSettingsWidget(QWidget* parent = nullptr);

    Project* project() const { return m_project.data(); }
    Label* label() const { return m_label.data(); }
    QSpinBox* maskIdSpinBox() const { return m_maskId; }
    QLineEdit* nameLineEdit() const { return m_name; }
    QPushButton* colorButton() const { return m_color; }
    QSlider* opacitySlider() const { return m_opacity; }
    QSlider* secondaryOpacitySlider() const { return m_secondaryOpacity; }
    QSlider* penWidthSlider() const { return m_penWidth; }
    /// The colour the swatch on the colour button shows.
    QColor swatchColor() const { return m_swatchColor; }

public slots:
    void setProject(pxm::Project* project);
    void setLabel(pxm::Label* label);
    void clear();
    void on_project_destroyed();
    void on_project_currentLabelChanged(pxm::Label* label);
    void on_label_maskIdChanged(int maskId);
    void on_label_nameChanged(const QString& name);
    void on_label_colorChanged(const QColor& color);
    void on_label_opacityChanged(double opacity);
    void on_label_secondaryOpacityChanged(double secondaryOpacity);
    void on_label_penWidthChanged(double penWidth);
    void on_maskId_valueChanged(int value);
    void on_name_textEdited(const QString& text);
    void on_color_clicked();
    void on_opacity_sliderMoved(int pos);
    void on_secondary_opacity_sliderMoved(int pos);
    void on_pen_width_sliderMoved(int pos);

private:
    void setSwatch(const QColor& color);
    static int toSlider(double value);
    static double fromSlider(int value);
    bool canEdit() const;

    QPointer<Project> m_project;
    QPointer<Label> m_label;
    QSpinBox* m_maskId = nullptr;
    QLineEdit* m_name = nullptr;
    QPushButton* m_color = nullptr;
    QSlider* m_opacity = nullptr;
    QSlider* m_secondaryOpacity = nullptr;
    QSlider* m_penWidth = nullptr;
    QColor m_swatchColor = Qt::black;
    // Set while the form shows the label, so its own change signals do not push commands.
    bool m_updating = false;
};

} // namespace pxm
