// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QList>

#include <opencv2/core.hpp>

namespace pxm {

class Brush;
class Label;
class SmartOptions;

/// Grow from seeds: strokes painted with two or more labels (switch labels in the list between
/// strokes) grow into regions that meet along the image's edges (a watershed on its gradient),
/// previewed after each stroke. Enter makes one item per label in one undo step ("Seeds");
/// Escape drops the seeds.
class SeedsTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Stroking };

    explicit SeedsTool(View* view);
    ~SeedsTool() override;

    State state() const { return m_state; }
    /// The preview of seeds or regions, or null.
    QGraphicsItem* preview() const { return m_preview.get(); }
    /// The labels that have seeds, in the order of their first stroke.
    const QList<const Label*>& seededLabels() const { return m_labels; }

    QToolBar* settingsToolBar() override;
    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void drop();
    void stamp(const QPointF& from, const QPointF& to);
    /// Grows the regions (with seeds of two labels or more) and shows them, or the seeds alone.
    void showResult();
    void commit();

    State m_state = State::Idle;
    Brush* m_brush;
    SmartOptions* m_options;
    cv::Mat m_seeds; // CV_32S: 0 unknown, i for the i-th seeded label
    QList<const Label*> m_labels;
    int m_strokeIndex = 0;
    QPointF m_last;
    std::vector<cv::Mat> m_regions;
    ItemWatch m_preview;
};

} // namespace pxm
