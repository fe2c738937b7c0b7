// SPDX-License-Identifier: MIT
#include "persistence/SettingsPages.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace pxm {

// ---- ViewSettings ----

ViewSettings::ViewSettings(Project* project, QWidget* parent) : SettingsPage(tr("View"), project, parent) {
    setObjectName("ViewSettings");
    m_cameraMode = new QComboBox(this);
    m_cameraMode->setObjectName("cameraMode");
    m_cameraMode->addItem(tr("Don't remember"), QString("reset"));
    m_cameraMode->addItem(tr("Remember each image"), QString("perImage"));
    m_cameraMode->addItem(tr("Remember each project"), QString("perProject"));

    m_radius = new QSpinBox(this);
    m_radius->setObjectName("zoomViewRadius");
    m_radius->setRange(50, 500);

    m_zoom = new QDoubleSpinBox(this);
    m_zoom->setObjectName("zoomViewZoom");
    // Three decimals, set first: the range is rounded to the decimals in force.
    m_zoom->setDecimals(3);
    m_zoom->setRange(0.125, 10.0);
    m_zoom->setSingleStep(0.25);

    auto* layout = new QFormLayout(this);
    layout->addRow(new QLabel(tr("Remember zoom for..."), this));
    layout->addRow(tr("Camera memory"), m_cameraMode);
    layout->addRow(tr("Zoom-View radius"), m_radius);
    layout->addRow(tr("Zoom-View zoom"), m_zoom);

    writeBackOn(m_cameraMode, qOverload<int>(&QComboBox::currentIndexChanged));
    writeBackOn(m_radius, qOverload<int>(&QSpinBox::valueChanged));
    writeBackOn(m_zoom, qOverload<double>(&QDoubleSpinBox::valueChanged));
}

void ViewSettings::readProject() {
    const int index = m_cameraMode->findData(value("View.cameraMode").toString());
    if (index >= 0)
        m_cameraMode->setCurrentIndex(index);
    m_radius->setValue(value("ZoomView.radius").toInt());
    m_zoom->setValue(value("ZoomView.zoom").toDouble());
}

void ViewSettings::writeProject() {
    if (m_cameraMode->currentIndex() >= 0)
        store("View.cameraMode", m_cameraMode->currentData().toString());
    store("ZoomView.radius", m_radius->value());
    store("ZoomView.zoom", m_zoom->value());
}

// ---- SerializationSettings ----

SerializationSettings::SerializationSettings(Project* project, QWidget* parent)
    : SettingsPage(tr("Serialization"), project, parent) {
    setObjectName("SerializationSettings");
    m_overwriteMask = new QCheckBox(tr("Overwrite mask"), this);
    m_overwriteMask->setObjectName("overwriteMask");
    m_lazyLoadImages = new QCheckBox(tr("Lazy load images"), this);
    m_lazyLoadImages->setObjectName("lazyLoadImages");
    m_autosaveInterval = new QSpinBox(this);
    m_autosaveInterval->setObjectName("autosaveInterval");
    m_autosaveInterval->setRange(0, 24 * 60 * 60);
    m_autosaveInterval->setSuffix(tr(" s"));
    m_autosaveInterval->setSpecialValueText(tr("Off"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_overwriteMask);
    layout->addWidget(m_lazyLoadImages);
    m_tileMemory = new QSpinBox(this);
    m_tileMemory->setObjectName("tileMemory");
    m_tileMemory->setRange(16, 1 << 20);
    m_tileMemory->setSuffix(tr(" MB"));
    m_tileMemory->setToolTip(tr("Memory for the shown parts of images; large TIFFs are read from their file "
                                "as needed and keep at most this much in memory."));
    auto* autosave = new QFormLayout;
    autosave->addRow(tr("Autosave every"), m_autosaveInterval);
    autosave->addRow(tr("Image tile memory"), m_tileMemory);
    layout->addLayout(autosave);
    writeBackOn(m_overwriteMask, &QCheckBox::toggled);
    writeBackOn(m_lazyLoadImages, &QCheckBox::toggled);
    writeBackOn(m_autosaveInterval, QOverload<int>::of(&QSpinBox::valueChanged));
    writeBackOn(m_tileMemory, QOverload<int>::of(&QSpinBox::valueChanged));
}

void SerializationSettings::readProject() {
    m_overwriteMask->setChecked(value("SerializationSettings.overwriteMask").toBool());
    m_lazyLoadImages->setChecked(value("SerializationSettings.lazyLoadImages").toBool());
    m_autosaveInterval->setValue(value("Autosave.interval").toInt());
    m_tileMemory->setValue(value("Display.tileMemory").toInt());
}

void SerializationSettings::writeProject() {
    store("SerializationSettings.overwriteMask", m_overwriteMask->isChecked());
    store("SerializationSettings.lazyLoadImages", m_lazyLoadImages->isChecked());
    store("Autosave.interval", m_autosaveInterval->value());
    store("Display.tileMemory", m_tileMemory->value());
}

// ---- StatusLineSettings ----

QString StatusLineSettings::helpText() {
    return tr("Customize the status line on the bottom of the window.\n"
              "Supported status line entries are:\n"
              "w = width\n"
              "h = height\n"
              "d = depth\n"
              "s = size (wxh for 2-dimensional and wxhxd for 3-dimensional images)\n"
              "t = image types are IMAGE_GREY_8, IMAGE_GREY_F, IMAGE_RGB_8, etc.\n"
              "imin = minimal image value\n"
              "imax = maximal image value\n"
              "imean = mean image value\n"
              "isigma = standard deviation of the image\n"
              "pmin = minimal plane value\n"
              "pmax = maximal plane value\n"
              "pmean = mean plane value\n"
              "psigma = standard deviation for plane\n"
              "| = starts new status bar box.");
}

StatusLineSettings::StatusLineSettings(Project* project, QWidget* parent)
    : SettingsPage(tr("Status Line"), project, parent) {
    setObjectName("StatusLineSettings");
    auto* help = new QLabel(helpText(), this);
    help->setObjectName("help");
    m_format = new QLineEdit(this);
    m_format->setObjectName("format");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(help);
    layout->addWidget(m_format);
    writeBackOn(m_format, &QLineEdit::editingFinished);
}

void StatusLineSettings::readProject() {
    m_format->setText(value("StatusLine.format").toString());
}

void StatusLineSettings::writeProject() {
    store("StatusLine.format", m_format->text());
}

// ---- ScriptSettings ----

ScriptSettings::ScriptSettings(Project* project, QWidget* parent)
    : SettingsPage(tr("Script Settings"), project, parent) {
    setObjectName("ScriptSettings");
    m_path = new QLineEdit(this);
    m_path->setObjectName("scriptPath");
    auto* hint = new QLabel(tr("Run a script by pushing button s!"), this);
    hint->setObjectName("hint");
    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Script Path"), m_path);
    layout->addRow(hint);
    writeBackOn(m_path, &QLineEdit::editingFinished);
}

void ScriptSettings::readProject() {
    m_path->setText(value("Script.path").toString());
}

void ScriptSettings::writeProject() {
    store("Script.path", m_path->text());
}

// ---- LabelSettings ----

LabelSettings::LabelSettings(Project* project, QWidget* parent)
    : SettingsPage(tr("Label Settings"), project, parent) {
    setObjectName("LabelSettings");
    m_primaryOpacity = makeSlider("primaryOpacity");
    m_secondaryOpacity = makeSlider("secondaryOpacity");
    m_penWidth = makeSlider("penWidth");
    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Opacity"), m_primaryOpacity);
    layout->addRow(tr("Secondary Opacity"), m_secondaryOpacity);
    layout->addRow(tr("Pen Width"), m_penWidth);
}

QSlider* LabelSettings::makeSlider(const char* name) {
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setObjectName(name);
    slider->setRange(0, 1000);
    writeBackOn(slider, &QSlider::valueChanged);
    return slider;
}

void LabelSettings::showFraction(QSlider* slider, const char* key) {
    // Truncated, not rounded: a stored 0.0019 shows as 1 of 1000. Values outside 0..1 (or not a
    // number) from a hand-edited project are clamped before the conversion.
    const double scaled = value(key).toDouble() * slider->maximum();
    const double bounded = std::isnan(scaled) ? 0.0 : std::clamp(scaled, 0.0, double(slider->maximum()));
    slider->setValue(static_cast<int>(bounded));
}

void LabelSettings::storeFraction(const QSlider* slider, const char* key) {
    store(key, double(slider->value()) / double(slider->maximum()));
}

void LabelSettings::readProject() {
    showFraction(m_primaryOpacity, "Label.primary_opacity");
    showFraction(m_secondaryOpacity, "Label.secondary_opacity");
    showFraction(m_penWidth, "Label.pen_width");
}

void LabelSettings::writeProject() {
    storeFraction(m_primaryOpacity, "Label.primary_opacity");
    storeFraction(m_secondaryOpacity, "Label.secondary_opacity");
    storeFraction(m_penWidth, "Label.pen_width");
}

} // namespace pxm
