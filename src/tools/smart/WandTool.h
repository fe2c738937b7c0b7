// SPDX-License-Identifier: MIT
#pragma once

#include "segment/Wand.h"
#include "tools/ItemWatch.h"
#include "tools/Tool.h"
#include "tools/smart/SmartResult.h"

#include <QPoint>

#include <memory>
#include <vector>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

namespace pxm {

class SmartOptions;

/// The magic wand: a click grows the connected region whose values lie within the tolerance
/// of the clicked value, and the release makes it an item of the current label (one undo
/// step, "Wand"). Dragging left or right before the release lowers or raises the tolerance,
/// with the preview following. Shift adds the region to the label's painted region under the
/// pointer, Alt takes it away. Escape during the drag drops it.
class WandTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Growing };

    explicit WandTool(View* view);
    ~WandTool() override;

    State state() const { return m_state; }
    double tolerance() const;
    void setTolerance(double tolerance);
    /// The preview shown while growing, or null.
    QGraphicsItem* preview() const { return m_preview.get(); }
    SmartOptions* options() const { return m_options; }
    QDoubleSpinBox* toleranceSpinBox() const { return m_toleranceBox; }
    QComboBox* connectivityComboBox() const { return m_connectivityBox; }
    QDoubleSpinBox* sigmaSpinBox() const { return m_sigmaBox; }
    QCheckBox* volumeCheckBox() const { return m_volumeBox; }

    /// The region the current settings grow from a layer point, after "Keep other labels";
    /// what a click there would preview. One matrix per z-layer.
    std::vector<cv::Mat> regionAt(std::size_t z, const QPoint& pixel);

    QToolBar* settingsToolBar() override;
    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    segment::WandSettings settings() const;
    /// Grows the session's region at the tolerance, keeps it out of other labels and shows it.
    void grow(double tolerance);
    /// How much one screen pixel of drag changes the tolerance, from the clicked layer's range.
    double dragStep() const;
    void drop();
    void buildToolBar();
    void showSettings();

    State m_state = State::Idle;
    SmartOptions* m_options;
    QToolBar* m_toolBar = nullptr;
    QDoubleSpinBox* m_toleranceBox = nullptr;
    QComboBox* m_connectivityBox = nullptr;
    QDoubleSpinBox* m_sigmaBox = nullptr;
    QCheckBox* m_volumeBox = nullptr;

    // The click under way.
    std::unique_ptr<segment::WandSession> m_session;
    std::vector<cv::Mat> m_keepOut; // other labels' pixels per layer (empty: none to keep out of)
    std::vector<cv::Mat> m_result;
    ItemWatch m_preview;
    SmartResult::Mode m_mode = SmartResult::Mode::New;
    QPointF m_at;         // the click in scene coordinates
    int m_pressX = 0;     // in view coordinates
    double m_startTolerance = 0;
    double m_step = 1;
};

} // namespace pxm
