// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/SettingsPage.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QSlider;
class QSpinBox;

namespace pxm {

/// How the view remembers the camera, and the magnifier's radius and zoom.
class ViewSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit ViewSettings(Project* project, QWidget* parent = nullptr);

    /// Items carry "reset", "perImage" and "perProject" as data, in that order.
    QComboBox* cameraModeBox() const { return m_cameraMode; }
    QSpinBox* zoomRadiusBox() const { return m_radius; }
    QDoubleSpinBox* zoomFactorBox() const { return m_zoom; }

protected:
    void readProject() override;
    void writeProject() override;

private:
    QComboBox* m_cameraMode;
    QSpinBox* m_radius;
    QDoubleSpinBox* m_zoom;
};

/// How projects are written and read.
class SerializationSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit SerializationSettings(Project* project, QWidget* parent = nullptr);

    QCheckBox* overwriteMaskBox() const { return m_overwriteMask; }
    QCheckBox* lazyLoadImagesBox() const { return m_lazyLoadImages; }
    /// Seconds between recovery snapshots ("Autosave.interval"); 0 shows as off.
    QSpinBox* autosaveIntervalBox() const { return m_autosaveInterval; }

protected:
    void readProject() override;
    void writeProject() override;

private:
    QCheckBox* m_overwriteMask;
    QCheckBox* m_lazyLoadImages;
    QSpinBox* m_tileMemory = nullptr;
    QSpinBox* m_autosaveInterval;
};

/// The format of the status line, with a help text on its placeholders.
class StatusLineSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit StatusLineSettings(Project* project, QWidget* parent = nullptr);

    QLineEdit* formatEdit() const { return m_format; }
    /// The placeholder help shown above the line edit.
    static QString helpText();

protected:
    void readProject() override;
    void writeProject() override;

private:
    QLineEdit* m_format;
};

/// The command the script button runs on the current image.
class ScriptSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit ScriptSettings(Project* project, QWidget* parent = nullptr);

    QLineEdit* pathEdit() const { return m_path; }

protected:
    void readProject() override;
    void writeProject() override;

private:
    QLineEdit* m_path;
};

/// The opacities and pen width new labels start with. The sliders run from 0 to 1000 and
/// stand for 0.0 to 1.0.
class LabelSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit LabelSettings(Project* project, QWidget* parent = nullptr);

    QSlider* primaryOpacitySlider() const { return m_primaryOpacity; }
    QSlider* secondaryOpacitySlider() const { return m_secondaryOpacity; }
    QSlider* penWidthSlider() const { return m_penWidth; }

protected:
    void readProject() override;
    void writeProject() override;

private:
    QSlider* makeSlider(const char* name);
    void showFraction(QSlider* slider, const char* key);
    void storeFraction(const QSlider* slider, const char* key);

    QSlider* m_primaryOpacity;
    QSlider* m_secondaryOpacity;
    QSlider* m_penWidth;
};

} // namespace pxm
