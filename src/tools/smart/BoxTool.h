// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <opencv2/core.hpp>

#include <memory>

class QCheckBox;

namespace pxm {

class Brush;
class SmartOptions;
namespace segment {
class BoxCut;
}

/// Box segmentation: a rectangle dragged around one object finds the object in it (GrabCut),
/// shown as a preview. Shift-strokes mark pixels that belong to the object, Alt-strokes pixels
/// that do not, and each refines the result. Enter makes it an item of the current label (one
/// undo step, "Box"); Escape drops it; a new rectangle starts over.
class BoxTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Boxing, Shown, Stroking };

    explicit BoxTool(View* view);
    ~BoxTool() override;

    State state() const { return m_state; }
    /// The preview of the object, or null.
    QGraphicsItem* preview() const { return m_preview.get(); }
    QCheckBox* allPartsCheckBox() const { return m_allParts; }

    QToolBar* settingsToolBar() override;
    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void drop();
    void showResult();
    void commit();
    bool keepAllParts() const;

    State m_state = State::Idle;
    Brush* m_brush;
    SmartOptions* m_options;
    QCheckBox* m_allParts = nullptr;
    std::unique_ptr<segment::BoxCut> m_cut;
    cv::Mat m_stroke; // the refinement stroke under way
    bool m_strokeForeground = true;
    QPointF m_start;
    QPointF m_last;
    ItemWatch m_frame; // the dragged rectangle
    ItemWatch m_preview;
};

} // namespace pxm
