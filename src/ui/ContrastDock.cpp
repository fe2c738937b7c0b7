// SPDX-License-Identifier: MIT
#include "ui/ContrastDock.h"

#include "display/ImageInfoCache.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/io/TiffPyramid.h"
#include "scene/ContrastSettings.h"
#include "scene/LabeledImage.h"
#include "tools/View.h"
#include "ui/ContrastHistogramView.h"
#include "ui/ContrastPresets.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <cmath>

namespace pxm {

using Pictor::ChannelWindow;
using Pictor::DisplayContrast;

namespace {

QDoubleSpinBox* valueSpinBox(QWidget* parent, const char* name) {
    auto* spin = new QDoubleSpinBox(parent);
    spin->setObjectName(name);
    // Typing a number applies it once, on Enter or leaving the box, not at every digit.
    spin->setKeyboardTracking(false);
    spin->setRange(-1e9, 1e9);
    return spin;
}

QPushButton* button(QWidget* parent, const QString& text, const char* name, const QString& tip) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(name);
    b->setToolTip(tip);
    return b;
}

} // namespace

ContrastDock::ContrastDock(View* view, QWidget* parent) : QDockWidget(tr("Contrast"), parent), m_view(view) {
    setObjectName("contrastDock");
    setWidget(buildControls());
    connectControls();
    reloadPresets();
    refresh();
}

QWidget* ContrastDock::buildControls() {
    auto* panel = new QWidget(this);
    auto* layout = new QVBoxLayout(panel);
    m_histogramView = new ContrastHistogramView(panel);
    m_histogramView->setObjectName("contrastHistogram");
    layout->addWidget(m_histogramView);

    auto* histogramRow = new QHBoxLayout;
    m_log = new QCheckBox(tr("Log scale"), panel);
    m_log->setObjectName("contrastLogScale");
    m_channel = new QComboBox(panel);
    m_channel->setObjectName("contrastChannel");
    m_channel->addItems({tr("All channels"), tr("Red"), tr("Green"), tr("Blue")});
    m_channel->setToolTip(tr("Colour images: set one window for all channels or one per channel."));
    histogramRow->addWidget(m_log);
    histogramRow->addStretch();
    histogramRow->addWidget(m_channel);
    layout->addLayout(histogramRow);

    auto* form = new QFormLayout;
    m_min = valueSpinBox(panel, "contrastMinimum");
    m_max = valueSpinBox(panel, "contrastMaximum");
    m_gamma = new QDoubleSpinBox(panel);
    m_gamma->setObjectName("contrastGamma");
    m_gamma->setKeyboardTracking(false);
    m_gamma->setRange(DisplayContrast::kMinGamma, DisplayContrast::kMaxGamma);
    m_gamma->setSingleStep(0.05);
    m_gamma->setValue(1.0);
    m_gamma->setToolTip(tr("Below 1 brightens the dark values, above 1 darkens them."));
    form->addRow(tr("Minimum"), m_min);
    form->addRow(tr("Maximum"), m_max);
    form->addRow(tr("Gamma"), m_gamma);
    layout->addLayout(form);
    m_status = new QLabel(panel);
    m_status->setObjectName("contrastStatus");
    m_status->setWordWrap(true);
    // Room for two lines always, so the buttons below stay put as the text changes.
    m_status->setMinimumHeight(2 * m_status->fontMetrics().lineSpacing());
    m_status->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    layout->addWidget(m_status);

    auto* buttons = new QHBoxLayout;
    m_auto = button(panel, tr("Auto"), "contrastAuto",
                    tr("Clip 0.1 % of the values at each end; each further press clips more."));
    m_autoView = button(panel, tr("Auto from view"), "contrastAutoView",
                        tr("As Auto, from the part of the layer the view shows: zoom in on a region first."));
    m_reset = button(panel, tr("Reset"), "contrastReset", tr("Show the image's full value range again."));
    buttons->addWidget(m_auto);
    buttons->addWidget(m_autoView);
    buttons->addWidget(m_reset);
    layout->addLayout(buttons);
    m_ignoreZeros = new QCheckBox(tr("Auto ignores zeros and non-finite values"), panel);
    m_ignoreZeros->setObjectName("contrastIgnoreZeros");
    layout->addWidget(m_ignoreZeros);
    m_sameForAll = new QCheckBox(tr("Same for all images"), panel);
    m_sameForAll->setObjectName("contrastSameForAll");
    layout->addWidget(m_sameForAll);

    auto* presetRow = new QHBoxLayout;
    m_presets = new QComboBox(panel);
    m_presets->setObjectName("contrastPresets");
    m_savePreset = button(panel, tr("Save…"), "contrastSavePreset", tr("Keep the window as a named preset."));
    m_deletePreset = button(panel, tr("Delete"), "contrastDeletePreset", tr("Delete the chosen preset."));
    presetRow->addWidget(m_presets, 1);
    presetRow->addWidget(m_savePreset);
    presetRow->addWidget(m_deletePreset);
    layout->addLayout(presetRow);
    layout->addStretch();
    return panel;
}

void ContrastDock::connectControls() {
    auto windowEdited = [this] {
        if (!m_updating)
            setWindow(m_min->value(), m_max->value());
    };
    connect(m_min, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, windowEdited);
    connect(m_max, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, windowEdited);
    connect(m_gamma, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, windowEdited);
    connect(m_histogramView, &ContrastHistogramView::windowDragged, this, &ContrastDock::setWindow);
    connect(m_log, &QCheckBox::toggled, m_histogramView, &ContrastHistogramView::setLogScale);
    connect(m_channel, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ContrastDock::refresh);
    connect(m_auto, &QPushButton::clicked, this, &ContrastDock::autoContrast);
    connect(m_autoView, &QPushButton::clicked, this, &ContrastDock::autoContrastFromView);
    connect(m_reset, &QPushButton::clicked, this, &ContrastDock::resetContrast);
    connect(m_ignoreZeros, &QCheckBox::toggled, this, [this] { m_autoSource = -1; });
    connect(m_sameForAll, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_updating)
            ContrastSettings::setSameForAll(m_project, image(), on);
    });
    connect(m_presets, QOverload<int>::of(&QComboBox::activated), this, &ContrastDock::applyPreset);
    connect(m_savePreset, &QPushButton::clicked, this, &ContrastDock::savePreset);
    connect(m_deletePreset, &QPushButton::clicked, this, &ContrastDock::deletePreset);
}

ContrastDock::~ContrastDock() = default;

void ContrastDock::setProject(Project* project) {
    disconnect(m_sceneConnection);
    disconnect(m_imageConnection);
    disconnect(m_overviewConnection);
    disconnect(m_settingsConnection);
    m_project = project;
    if (project) {
        auto shownChanged = [this] {
            m_autoSource = -1;
            disconnect(m_imageConnection);
            // An image that is loaded later brings its histogram with it.
            disconnect(m_overviewConnection);
            if (LabeledImage* shown = image()) {
                m_imageConnection = connect(shown, &LabeledImage::imageChanged, this, &ContrastDock::refresh);
                // Finished overview levels give an image read as needed a histogram.
                m_overviewConnection =
                    connect(shown, &LabeledImage::overviewProgressChanged, this, [this](int percent) {
                        if (percent < 0)
                            refresh();
                    });
            }
            refresh();
        };
        m_sceneConnection = connect(project, &Project::currentSceneChanged, this, shownChanged);
        m_settingsConnection = connect(project, &Project::settingsChanged, this, [this](const QString& key) {
            if (ContrastSettings::affects(key, image()))
                showContrast();
        });
        shownChanged();
    } else {
        refresh();
    }
}

LabeledImage* ContrastDock::image() const {
    return m_project ? m_project->currentImage() : nullptr;
}

const KYVO::CImage* ContrastDock::pixels() const {
    const LabeledImage* shown = image();
    const KYVO::CImage* data = shown ? shown->image() : nullptr;
    if (!data && shown)
        data = overview(*shown);
    if (!data || m_project->currentZLayer() < 0 || std::size_t(m_project->currentZLayer()) >= data->size().z)
        return nullptr;
    return data;
}

/// An image read from its file as needed has no pixels in memory: the panel works from its
/// coarsest level, read once, as long as that is small enough to hold (until overview levels
/// are built, a file may have none).
const KYVO::CImage* ContrastDock::overview(const LabeledImage& shown) const {
    constexpr uint64_t MaxOverviewPixels = uint64_t(4096) * 4096;
    const std::shared_ptr<const KYVO::io::TiffPyramid> pyramid = shown.pyramid();
    if (!pyramid) {
        m_overview.reset();
        return nullptr;
    }
    const bool same = !m_overviewSource.owner_before(pyramid) && !pyramid.owner_before(m_overviewSource);
    if (!same) {
        m_overview.reset();
        m_overviewSource = pyramid;
        const int coarsest = pyramid->levelCount() - 1;
        const auto& level = pyramid->level(coarsest);
        if (uint64_t(level.width) * level.height <= MaxOverviewPixels) {
            try {
                m_overview = pyramid->read(coarsest, 0, 0, level.width, level.height);
            } catch (const KYVO::CException&) {
                // A broken file shows no histogram; its tiles show the damage.
            }
        }
    }
    return m_overview.get();
}

double ContrastDock::pixelScale() const {
    const LabeledImage* shown = image();
    const KYVO::CImage* data = pixels();
    if (!shown || !data || shown->image() || shown->width() == 0)
        return 1.0;
    return double(data->size().x) / double(shown->width());
}

int ContrastDock::channel() const {
    const KYVO::CImage* data = pixels();
    return data && data->type() == KYVO::IMAGE_RGB_8I ? m_channel->currentIndex() - 1 : -1;
}

DisplayContrast ContrastDock::shownContrast() const {
    DisplayContrast c = ContrastSettings::of(m_project, image());
    return c.isSet() ? c : DisplayContrast::of(m_defaultWindow.min, m_defaultWindow.max);
}

void ContrastDock::refresh() {
    m_histogram = {};
    m_defaultWindow = {};
    const KYVO::CImage* data = pixels();
    widget()->setEnabled(data != nullptr);
    if (data) {
        const KYVO::EnImageType type = data->type();
        m_channel->setEnabled(type == KYVO::IMAGE_RGB_8I);
        const int decimals = type == KYVO::IMAGE_GREY_F ? 4 : 0;
        m_min->setDecimals(decimals);
        m_max->setDecimals(decimals);
        // Nothing is read from the pixels until the panel is seen: a hidden panel costs nothing.
        if (isVisible()) {
            if (type == KYVO::IMAGE_GREY_16 || type == KYVO::IMAGE_GREY_F) {
                // What the image shows without a contrast: the volume's own range.
                const auto info = Pictor::ImageInfoCache::info(data);
                m_defaultWindow = {info->min, info->max > info->min ? info->max : info->min + 1.0};
            } else {
                m_defaultWindow = {0.0, 255.0};
            }
            Pictor::HistogramOptions options;
            options.channel = channel();
            m_histogram =
                Pictor::computeLayerHistogram(*data, std::size_t(m_project->currentZLayer()), options);
        }
    }
    m_histogramView->setHistogram(m_histogram);
    showContrast();
}

void ContrastDock::showContrast() {
    m_updating = true;
    const DisplayContrast c = shownContrast();
    const ChannelWindow& w = c.window(std::max(channel(), 0));
    m_min->setValue(w.min);
    m_max->setValue(w.max);
    m_gamma->setValue(c.gamma);
    m_sameForAll->setChecked(ContrastSettings::sameForAll(m_project));
    m_histogramView->setWindow(w.min, w.max, c.gamma);
    QString text;
    if (!pixels())
        text = tr("No image shown.");
    else if (!ContrastSettings::of(m_project, image()).isSet())
        text = tr("No contrast set: the image shows its full value range.");
    else
        text = tr("Window %1, level %2.").arg(w.max - w.min).arg((w.max + w.min) / 2);
    if (m_autoSource >= 0)
        text += ' ' + tr("Auto clipped %1 % at each end.").arg(m_lastClip * 100.0);
    m_status->setText(text);
    m_updating = false;
}

void ContrastDock::store(const DisplayContrast& contrast) {
    ContrastSettings::store(m_project, image(), contrast);
    showContrast();
}

void ContrastDock::setWindow(double min, double max) {
    if (!pixels())
        return;
    m_autoSource = -1;
    if (!(max > min)) {
        // The boxes cannot hold a window of no width; they go back to the one in force.
        showContrast();
        return;
    }
    if (pixels()->type() != KYVO::IMAGE_GREY_F) {
        // Whole numbers for whole-number pixels: a dragged line lands between two values.
        min = std::round(min);
        max = std::max(std::round(max), min + 1.0);
    }
    DisplayContrast c = shownContrast();
    const int edited = channel();
    if (edited < 0) {
        c.channels.fill({min, max});
        c.perChannel = false;
    } else {
        if (!c.perChannel)
            c.channels.fill(c.channels[0]);
        c.perChannel = true;
        c.channels[std::size_t(edited)] = {min, max};
    }
    c.gamma = m_gamma->value();
    store(c);
}

void ContrastDock::automatic(const QRect& region, int source) {
    const KYVO::CImage* data = pixels();
    if (!data)
        return;
    if (source != m_autoSource)
        m_autoPresses = 0;
    Pictor::HistogramOptions options;
    options.channel = channel();
    // A region of the view is in image pixels; an overview has fewer.
    const double scale = pixelScale();
    options.region = scale == 1.0 ? region
                                  : QRectF(region.x() * scale, region.y() * scale, region.width() * scale,
                                           region.height() * scale)
                                        .toAlignedRect();
    options.ignoreZerosAndNonFinite = m_ignoreZeros->isChecked();
    const Pictor::LayerHistogram h =
        Pictor::computeLayerHistogram(*data, std::size_t(m_project->currentZLayer()), options);
    if (h.count == 0) {
        m_status->setText(tr("No values to set the contrast from."));
        return;
    }
    m_lastClip = Pictor::autoClipFraction(m_autoPresses);
    const ChannelWindow w = h.clipped(m_lastClip);
    const int presses = m_autoPresses + 1;
    setWindow(w.min, w.max);
    m_autoPresses = presses;
    m_autoSource = source;
    showContrast();
}

void ContrastDock::autoContrast() {
    automatic(QRect(), 0);
}

void ContrastDock::autoContrastFromView() {
    QRect region;
    if (m_view && m_view->viewport())
        region = m_view->mapToScene(m_view->viewport()->rect()).boundingRect().toAlignedRect();
    automatic(region, 1);
}

void ContrastDock::resetContrast() {
    m_autoSource = -1;
    store(DisplayContrast());
}

void ContrastDock::showEvent(QShowEvent* event) {
    QDockWidget::showEvent(event);
    refresh();
}

void ContrastDock::reloadPresets() {
    const QSignalBlocker blocker(m_presets);
    m_presets->clear();
    m_presets->addItem(tr("Presets…"));
    for (const ContrastPreset& p : ContrastPresets::load()) {
        m_presets->addItem(p.name);
        m_presets->setItemData(m_presets->count() - 1, tr("%1 to %2").arg(p.min).arg(p.max), Qt::ToolTipRole);
    }
}

void ContrastDock::applyPreset(int index) {
    const QList<ContrastPreset> presets = ContrastPresets::load();
    if (index >= 1 && index <= presets.size())
        setWindow(presets[index - 1].min, presets[index - 1].max);
}

void ContrastDock::savePreset() {
    bool ok = false;
    const QString current = m_presets->currentIndex() > 0 ? m_presets->currentText() : QString();
    const QString name = QInputDialog::getText(this, tr("Save contrast preset"),
                                               tr("Name of the preset (an existing name is replaced):"),
                                               QLineEdit::Normal, current, &ok)
                             .trimmed();
    if (!ok || name.isEmpty())
        return;
    ContrastPresets::put({name, m_min->value(), m_max->value()});
    reloadPresets();
    m_presets->setCurrentIndex(m_presets->findText(name));
}

void ContrastDock::deletePreset() {
    if (m_presets->currentIndex() <= 0)
        return;
    ContrastPresets::remove(m_presets->currentText());
    reloadPresets();
}

} // namespace pxm
