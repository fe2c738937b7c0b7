// SPDX-License-Identifier: MIT
#include "ui/LabelSettingsWidget.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"

#include <QColorDialog>
#include <QFormLayout>
#include <QIcon>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QUndoStack>

namespace pxm {

namespace {

QSlider* makeSlider(QWidget* parent, const QString& name, const QString& toolTip) {
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setObjectName(name);
    slider->setRange(0, LabelSettingsWidget::SliderMaximum);
    slider->setValue(0);
    slider->setToolTip(toolTip);
    return slider;
}

} // namespace

LabelSettingsWidget::LabelSettingsWidget(QWidget* parent) : QWidget(parent) {
    m_maskId = new QSpinBox(this);
    m_maskId->setObjectName("maskId");
    m_maskId->setRange(0, 255);
    m_maskId->setToolTip(tr("The value this label writes into exported label masks."));
    m_name = new QLineEdit(this);
    m_name->setObjectName("name");
    m_color = new QPushButton(this);
    m_color->setObjectName("color");
    m_color->setToolTip(tr("Choose the colour of the selected label."));
    m_color->setIconSize(QSize(16, 16));
    m_opacity = makeSlider(this, "opacity", tr("Adjust the border opacity of the selected label."));
    m_secondaryOpacity =
        makeSlider(this, "secondary_opacity", tr("Adjust the fill opacity of the selected label."));
    m_penWidth = makeSlider(this, "pen_width", tr("Adjust the border width of the selected label."));

    auto* form = new QFormLayout(this);
    form->setContentsMargins(0, 0, 0, 0);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(tr("Mask Id"), m_maskId);
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Color"), m_color);
    form->addRow(tr("Opacity"), m_opacity);
    form->addRow(tr("S. Opacity"), m_secondaryOpacity);
    form->addRow(tr("Width"), m_penWidth);

    connect(m_maskId, qOverload<int>(&QSpinBox::valueChanged), this,
            &LabelSettingsWidget::on_maskId_valueChanged);
    connect(m_name, &QLineEdit::textEdited, this, &LabelSettingsWidget::on_name_textEdited);
    connect(m_color, &QPushButton::clicked, this, &LabelSettingsWidget::on_color_clicked);
    connect(m_opacity, &QSlider::sliderMoved, this, &LabelSettingsWidget::on_opacity_sliderMoved);
    connect(m_secondaryOpacity, &QSlider::sliderMoved, this,
            &LabelSettingsWidget::on_secondary_opacity_sliderMoved);
    connect(m_penWidth, &QSlider::sliderMoved, this, &LabelSettingsWidget::on_pen_width_sliderMoved);

    setSwatch(Qt::black);
    setEnabled(false);
}

// Rounded rather than truncated: 0.29 * 1000 is 289.99..., and a slider that jumps back one
// step under the user's drag would be read as a change of its own.
int LabelSettingsWidget::toSlider(double value) {
    return qRound(value * SliderMaximum);
}
double LabelSettingsWidget::fromSlider(int value) {
    return double(value) / SliderMaximum;
}

bool LabelSettingsWidget::canEdit() const {
    return !m_updating && m_label && m_project;
}

void LabelSettingsWidget::setProject(Project* project) {
    if (m_project)
        disconnect(m_project, nullptr, this, nullptr);
    m_project = project;
    if (project) {
        connect(project, &Project::currentLabelChanged, this,
                &LabelSettingsWidget::on_project_currentLabelChanged);
        connect(project, &QObject::destroyed, this, &LabelSettingsWidget::on_project_destroyed);
    }
    on_project_currentLabelChanged(project ? project->currentLabel() : nullptr);
}

void LabelSettingsWidget::setLabel(Label* label) {
    on_project_currentLabelChanged(label);
}

void LabelSettingsWidget::clear() {
    m_updating = true;
    m_maskId->setValue(0);
    m_name->clear();
    setSwatch(Qt::black);
    m_opacity->setValue(0);
    m_secondaryOpacity->setValue(0);
    m_penWidth->setValue(0);
    m_updating = false;
    setEnabled(false);
}

void LabelSettingsWidget::on_project_destroyed() {
    m_project = nullptr;
    on_project_currentLabelChanged(nullptr);
}

void LabelSettingsWidget::on_project_currentLabelChanged(Label* label) {
    if (m_label)
        disconnect(m_label, nullptr, this, nullptr);
    m_label = nullptr;
    clear();
    if (!label)
        return;
    m_label = label;
    m_updating = true;
    m_maskId->setValue(label->maskId());
    m_name->setText(label->name());
    setSwatch(label->color());
    m_opacity->setValue(toSlider(label->opacity()));
    m_secondaryOpacity->setValue(toSlider(label->secondaryOpacity()));
    m_penWidth->setValue(toSlider(label->penWidth()));
    m_updating = false;
    connect(label, &Label::maskIdChanged, this, &LabelSettingsWidget::on_label_maskIdChanged);
    connect(label, &Label::nameChanged, this, &LabelSettingsWidget::on_label_nameChanged);
    connect(label, &Label::colorChanged, this, &LabelSettingsWidget::on_label_colorChanged);
    connect(label, &Label::opacityChanged, this, &LabelSettingsWidget::on_label_opacityChanged);
    connect(label, &Label::secondaryOpacityChanged, this,
            &LabelSettingsWidget::on_label_secondaryOpacityChanged);
    connect(label, &Label::penWidthChanged, this, &LabelSettingsWidget::on_label_penWidthChanged);
    connect(label, &QObject::destroyed, this, [this] { on_project_currentLabelChanged(nullptr); });
    setEnabled(true);
}

void LabelSettingsWidget::on_label_maskIdChanged(int maskId) {
    m_updating = true;
    m_maskId->setValue(maskId);
    m_updating = false;
}

void LabelSettingsWidget::on_label_nameChanged(const QString& name) {
    // While the user types, the line edit may hold a trailing space the label trims away;
    // only a real difference replaces the text (and moves the cursor).
    if (m_name->text().trimmed() != name)
        m_name->setText(name);
}

void LabelSettingsWidget::on_label_colorChanged(const QColor& color) {
    setSwatch(color);
}

void LabelSettingsWidget::on_label_opacityChanged(double opacity) {
    m_opacity->setValue(toSlider(opacity));
}

void LabelSettingsWidget::on_label_secondaryOpacityChanged(double secondaryOpacity) {
    m_secondaryOpacity->setValue(toSlider(secondaryOpacity));
}

void LabelSettingsWidget::on_label_penWidthChanged(double penWidth) {
    m_penWidth->setValue(toSlider(penWidth));
}

void LabelSettingsWidget::on_maskId_valueChanged(int value) {
    if (canEdit())
        m_project->undoStack()->push(new commands::SetLabelMaskId(m_label, value));
}

void LabelSettingsWidget::on_name_textEdited(const QString& text) {
    if (!canEdit() || text.endsWith(' '))
        return;
    m_project->undoStack()->push(new commands::SetLabelName(m_label, text));
}

void LabelSettingsWidget::on_color_clicked() {
    if (!canEdit())
        return;
    QPointer<Label> label = m_label;
    const QColor color = QColorDialog::getColor(label->color(), this, tr("Label color"));
    // The dialog runs its own event loop: the label or the project may be gone by now.
    if (!label || !m_project)
        return;
    // A cancelled dialog gives an invalid colour, which is pushed like any other.
    m_project->undoStack()->push(new commands::SetLabelColor(label, color));
}

void LabelSettingsWidget::on_opacity_sliderMoved(int pos) {
    if (canEdit())
        m_project->undoStack()->push(
            new commands::SetLabelOpacity(m_label, fromSlider(pos), fromSlider(m_secondaryOpacity->value())));
}

void LabelSettingsWidget::on_secondary_opacity_sliderMoved(int pos) {
    if (canEdit())
        m_project->undoStack()->push(
            new commands::SetLabelOpacity(m_label, fromSlider(m_opacity->value()), fromSlider(pos)));
}

void LabelSettingsWidget::on_pen_width_sliderMoved(int pos) {
    if (canEdit())
        m_project->undoStack()->push(new commands::SetLabelPenWidth(m_label, fromSlider(pos)));
}

void LabelSettingsWidget::setSwatch(const QColor& color) {
    m_swatchColor = color;
    QPixmap swatch(64, 64);
    swatch.fill(color.isValid() ? color : QColor(Qt::black));
    m_color->setIcon(QIcon(swatch));
    // The name tells apart colours the eye does not, and shows a cancelled choice for what it is.
    m_color->setText(color.isValid() ? color.name() : tr("none"));
}

} // namespace pxm
