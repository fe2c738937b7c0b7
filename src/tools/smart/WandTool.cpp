// SPDX-License-Identifier: MIT
#include "tools/smart/WandTool.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/LayerMat.h"
#include "tools/View.h"
#include "tools/smart/MaskPreviewItem.h"
#include "tools/smart/SmartOptions.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QSignalBlocker>
#include <QToolBar>
#include <QUndoCommand>
#include <cmath>
#include <opencv2/core.hpp>

namespace pxm {

namespace {
const QString ToleranceKey = QStringLiteral("WandTool.tolerance");
const QString ConnectivityKey = QStringLiteral("WandTool.connectivity");
const QString SigmaKey = QStringLiteral("WandTool.sigma");
const QString VolumeKey = QStringLiteral("WandTool.volume");
constexpr double DefaultTolerance = 10;
} // namespace

WandTool::WandTool(View* view) : Tool(view, ToolType::Wand), m_options(new SmartOptions(this)) {}

WandTool::~WandTool() {
    drop();
    if (m_toolBar)
        m_toolBar->deleteLater();
}

double WandTool::tolerance() const {
    const Project* p = project();
    return std::max(0.0, p ? p->setting(ToleranceKey, DefaultTolerance).toDouble() : DefaultTolerance);
}

void WandTool::setTolerance(double tolerance) {
    if (Project* p = project())
        p->setSetting(ToleranceKey, std::max(0.0, tolerance));
    if (m_toleranceBox) {
        const QSignalBlocker block(m_toleranceBox);
        m_toleranceBox->setValue(this->tolerance());
    }
}

segment::WandSettings WandTool::settings() const {
    segment::WandSettings s;
    if (const Project* p = project()) {
        s.connectivity = p->setting(ConnectivityKey, 8).toInt() == 4 ? 4 : 8;
        s.sigma = std::max(0.0, p->setting(SigmaKey, 0.0).toDouble());
        s.volume = p->setting(VolumeKey, false).toBool();
    }
    return s;
}

void WandTool::buildToolBar() {
    m_toolBar = new QToolBar(tr("Wand settings"));
    m_toolBar->setObjectName("WandToolSettingsToolBar");
    auto addLabelled = [this](const QString& text, QWidget* widget) {
        auto* label = new QLabel(text, m_toolBar);
        label->setBuddy(widget);
        m_toolBar->addWidget(label);
        m_toolBar->addWidget(widget);
    };
    m_toleranceBox = new QDoubleSpinBox(m_toolBar);
    m_toleranceBox->setObjectName("toleranceSpinBox");
    m_toleranceBox->setRange(0, 1e9);
    m_toleranceBox->setDecimals(2);
    // The range reaches float images' values; the box need only be as wide as 16-bit ones, so
    // that the settings fit beside the tools on a laptop's screen.
    const QFontMetrics metrics = m_toleranceBox->fontMetrics();
    m_toleranceBox->setMaximumWidth(metrics.horizontalAdvance(QStringLiteral("65535.00")) +
                                    2 * metrics.height());
    m_toleranceBox->setToolTip(tr("How far a value may lie from the clicked one. Drag left or right while "
                                  "pressing to change it."));
    addLabelled(tr("Tolerance"), m_toleranceBox);
    m_connectivityBox = new QComboBox(m_toolBar);
    m_connectivityBox->setObjectName("connectivityComboBox");
    m_connectivityBox->addItem(tr("8 neighbours"), 8);
    m_connectivityBox->addItem(tr("4 neighbours"), 4);
    addLabelled(tr("Connect"), m_connectivityBox);
    m_sigmaBox = new QDoubleSpinBox(m_toolBar);
    m_sigmaBox->setObjectName("sigmaSpinBox");
    m_sigmaBox->setRange(0, 20);
    m_sigmaBox->setSingleStep(0.5);
    m_sigmaBox->setToolTip(tr("Smooth the image by this Gaussian sigma (pixels) before growing; 0 is off."));
    addLabelled(tr("Smoothing"), m_sigmaBox);
    m_volumeBox = new QCheckBox(tr("3D"), m_toolBar);
    m_volumeBox->setObjectName("volumeCheckBox");
    m_volumeBox->setToolTip(tr("Grow through the layers of a volume."));
    m_toolBar->addWidget(m_volumeBox);
    m_options->addTo(m_toolBar);
    showSettings();
    auto store = [this](const QString& key, const QVariant& value) {
        if (Project* p = project())
            p->setSetting(key, value);
    };
    connect(m_toleranceBox, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
            [store](double value) { store(ToleranceKey, value); });
    connect(m_connectivityBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            [this, store](int index) { store(ConnectivityKey, m_connectivityBox->itemData(index)); });
    connect(m_sigmaBox, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
            [store](double value) { store(SigmaKey, value); });
    connect(m_volumeBox, &QCheckBox::toggled, this, [store](bool on) { store(VolumeKey, on); });
}

void WandTool::showSettings() {
    if (!m_toolBar)
        return;
    const segment::WandSettings s = settings();
    const QSignalBlocker a(m_toleranceBox);
    const QSignalBlocker b(m_connectivityBox);
    const QSignalBlocker c(m_sigmaBox);
    const QSignalBlocker d(m_volumeBox);
    m_toleranceBox->setValue(tolerance());
    m_connectivityBox->setCurrentIndex(m_connectivityBox->findData(s.connectivity));
    m_sigmaBox->setValue(s.sigma);
    m_volumeBox->setChecked(s.volume);
    m_options->showSettings();
}

QToolBar* WandTool::settingsToolBar() {
    if (!m_toolBar)
        buildToolBar();
    showSettings();
    return m_toolBar;
}

void WandTool::drop() {
    QGraphicsItem* item = m_preview.get();
    m_preview.reset();
    delete item;
    m_session.reset();
    m_keepOut.clear();
    m_result.clear();
    m_state = State::Idle;
}

void WandTool::cleanUp() {
    drop();
    Tool::cleanUp();
}

void WandTool::setScene(Scene* scene) {
    // A click under way belongs to the scene that leaves.
    drop();
    showSettings();
    Tool::setScene(scene);
}

std::vector<cv::Mat> WandTool::regionAt(std::size_t z, const QPoint& pixel) {
    Scene* s = scene();
    LabeledImage* image = s ? s->image() : nullptr;
    if (!image || !image->image() || !currentLabel())
        return {};
    m_session = std::make_unique<segment::WandSession>(*image->image(), z, pixel.x(), pixel.y(), settings());
    m_keepOut.clear();
    if (m_options->keepOtherLabels()) {
        const std::size_t depth = image->image()->size().z;
        for (std::size_t layer = 0; layer < depth; ++layer)
            m_keepOut.push_back(settings().volume || layer == z
                                    ? SmartResult::otherLabels(*image, layer, currentLabel())
                                    : cv::Mat());
    }
    grow(tolerance());
    return m_result;
}

void WandTool::grow(double tolerance) {
    m_result = m_session && m_session->valid() ? m_session->grow(tolerance) : std::vector<cv::Mat>();
    for (std::size_t z = 0; z < m_result.size() && z < m_keepOut.size(); ++z) {
        if (!m_result[z].empty() && !m_keepOut[z].empty())
            m_result[z].setTo(0, m_keepOut[z]);
    }
    if (auto* preview = static_cast<MaskPreviewItem*>(m_preview.get())) {
        const std::size_t z = m_session ? m_session->layer() : 0;
        const Label* label = currentLabel();
        preview->setMask(z < m_result.size() ? m_result[z] : cv::Mat(),
                         label ? label->color() : QColor(Qt::red));
    }
}

double WandTool::dragStep() const {
    Scene* s = scene();
    const KYVO::CImage* image = s && s->image() ? s->image()->image() : nullptr;
    if (!image || image->type() == KYVO::IMAGE_GREY_8 || image->type() == KYVO::IMAGE_RGB_8I ||
        image->type() == KYVO::IMAGE_BOOL)
        return 0.5;
    // Deeper data: a drag across 512 screen pixels spans the layer's whole range.
    cv::Mat layer = segment::layerMat(*image, s->zLayer());
    cv::Mat finite;
    layer.convertTo(finite, CV_32F);
    cv::patchNaNs(finite, 0);
    double low = 0;
    double high = 0;
    cv::minMaxLoc(finite, &low, &high);
    return std::isfinite(high - low) && high > low ? (high - low) / 512 : 0.5;
}

void WandTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    const Label* label = currentLabel();
    if (m_state == State::Idle && s && label && event->button() == Qt::LeftButton && s->image() &&
        s->image()->image()) {
        m_at = scenePos(event);
        const QPoint pixel(int(std::floor(m_at.x())), int(std::floor(m_at.y())));
        m_mode = event->modifiers() & Qt::ShiftModifier ? SmartResult::Mode::Add
                 : event->modifiers() & Qt::AltModifier ? SmartResult::Mode::Subtract
                                                        : SmartResult::Mode::New;
        auto* preview = new MaskPreviewItem;
        s->addItem(preview);
        m_preview.reset(preview);
        m_pressX = event->pos().x();
        m_startTolerance = tolerance();
        m_step = dragStep();
        regionAt(s->zLayer(), pixel);
        if (m_session && m_session->valid())
            m_state = State::Growing;
        else
            drop();
    }
    Tool::mousePressEvent(event);
}

void WandTool::mouseMoveEvent(QMouseEvent* event) {
    if (m_state == State::Growing && (event->buttons() & Qt::LeftButton)) {
        const double value = std::max(0.0, m_startTolerance + (event->pos().x() - m_pressX) * m_step);
        if (value != tolerance()) {
            setTolerance(value);
            grow(value);
        }
    }
    Tool::mouseMoveEvent(event);
}

void WandTool::mouseReleaseEvent(QMouseEvent* event) {
    if (m_state == State::Growing && event->button() == Qt::LeftButton) {
        Scene* s = scene();
        const Label* label = currentLabel();
        std::vector<cv::Mat> result = std::move(m_result);
        drop();
        if (s && label) {
            const SmartResult::Shape shape = SmartOptions::shapeFor(project());
            if (QUndoCommand* command =
                    SmartResult::apply(s->image(), label, result, m_mode, m_at, shape, tr("Wand")))
                push(command);
        }
    }
    Tool::mouseReleaseEvent(event);
}

void WandTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && m_state == State::Growing)
        drop();
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
