// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"
#include "display/LayerHistogram.h"

#include <QDockWidget>
#include <QPointer>
#include <memory>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QPushButton;

namespace KYVO {
class CImage;
namespace io {
class TiffPyramid;
}
} // namespace KYVO

namespace pxm {

class ContrastHistogramView;
class LabeledImage;
class Project;
class View;

/// The contrast panel: the histogram of the shown z-layer and the display window of the shown
/// image (minimum, maximum, gamma; per channel for RGB images), with automatic windows, presets
/// and the choice of one contrast for all images.
///
/// Everything it sets goes to the project's settings (ContrastSettings), which the scenes follow;
/// it follows them back, so a change made elsewhere (another window, an undo of the settings, a
/// reopened project) shows here too. The voxels are never touched.
class ContrastDock : public QDockWidget {
    Q_OBJECT
public:
    /// `view` supplies the visible area for "Auto from view".
    ContrastDock(View* view, QWidget* parent = nullptr);
    ~ContrastDock() override;

    Project* project() const { return m_project.data(); }
    /// The histogram drawn for the shown layer and channel.
    const Pictor::LayerHistogram& histogram() const { return m_histogram; }
    /// The contrast the controls show (what the image shows with, or the default window).
    Pictor::DisplayContrast shownContrast() const;
    /// The channel being edited: −1 all, else 0–2.
    int channel() const;

public slots:
    void setProject(pxm::Project* project);
    /// Reads the layer's histogram and the image's contrast again.
    void refresh();
    /// Sets the window of the edited channel(s) and stores it.
    void setWindow(double min, double max);
    /// The clipped window of the layer, clipping more on each press in a row.
    void autoContrast();
    /// As autoContrast, from the part of the layer the view shows.
    void autoContrastFromView();
    /// Back to the display without a contrast.
    void resetContrast();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildControls();
    void connectControls();
    LabeledImage* image() const;
    const KYVO::CImage* pixels() const;
    const KYVO::CImage* overview(const LabeledImage& shown) const;
    /// How much smaller the pixels the panel works from are than the image (1, or less for an
    /// overview).
    double pixelScale() const;
    void store(const Pictor::DisplayContrast& contrast);
    void showContrast();
    void automatic(const QRect& region, int source);
    void reloadPresets();
    void applyPreset(int index);
    void savePreset();
    void deletePreset();

    QPointer<View> m_view;
    QPointer<Project> m_project;
    QMetaObject::Connection m_sceneConnection;
    QMetaObject::Connection m_imageConnection;
    QMetaObject::Connection m_overviewConnection;
    // The coarsest level of an image read from its file as needed, and the pyramid it came from.
    mutable std::unique_ptr<KYVO::CImage> m_overview;
    mutable std::weak_ptr<const KYVO::io::TiffPyramid> m_overviewSource;
    QMetaObject::Connection m_settingsConnection;
    Pictor::LayerHistogram m_histogram;
    Pictor::ChannelWindow m_defaultWindow; // what the image shows without a contrast
    bool m_updating = false;
    int m_autoPresses = 0;
    int m_autoSource = -1; // 0 the layer, 1 the view, −1 none since the last other change
    double m_lastClip = 0.0;

    ContrastHistogramView* m_histogramView = nullptr;
    QCheckBox* m_log = nullptr;
    QComboBox* m_channel = nullptr;
    QDoubleSpinBox* m_min = nullptr;
    QDoubleSpinBox* m_max = nullptr;
    QDoubleSpinBox* m_gamma = nullptr;
    QLabel* m_status = nullptr;
    QPushButton* m_auto = nullptr;
    QPushButton* m_autoView = nullptr;
    QPushButton* m_reset = nullptr;
    QCheckBox* m_ignoreZeros = nullptr;
    QCheckBox* m_sameForAll = nullptr;
    QComboBox* m_presets = nullptr;
    QPushButton* m_savePreset = nullptr;
    QPushButton* m_deletePreset = nullptr;
};

} // namespace pxm
