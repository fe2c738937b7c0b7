// SPDX-License-Identifier: MIT
#include "display/ZoomToolBarView.h"

#include <cmath>

namespace Pictor {

namespace {

// Relative tolerance when comparing a transform's scale with a ladder step.
constexpr double kTolerance = 1e-9;

int indexOfOne() {
    const auto& steps = ZoomToolBarView::zoomSteps();
    for (std::size_t i = 0; i < steps.size(); ++i)
        if (steps[i] == 1.0)
            return int(i);
    return -1;
}

} // namespace

ZoomToolBarView::ZoomToolBarView(QGraphicsScene* scene, QWidget* parent)
    : QGraphicsView(scene, parent), m_zoomIndex(indexOfOne()) {}

const std::vector<double>& ZoomToolBarView::zoomSteps() {
    static const std::vector<double> steps = {
        1.0 / 32, 1.0 / 24, 1.0 / 16, 1.0 / 12, 1.0 / 8, 1.0 / 6, 1.0 / 4, 1.0 / 3, 1.0 / 2, 2.0 / 3, 1.0,
        1.5,      2.0,      3.0,      4.0,      6.0,     8.0,     12.0,    16.0,    24.0,    32.0};
    return steps;
}

double ZoomToolBarView::zoomFactor() const {
    return std::sqrt(std::abs(transform().determinant()));
}

void ZoomToolBarView::scaleTo(double factor) {
    const double current = zoomFactor();
    if (!(current > 0.0))
        return;
    const double ratio = factor / current;
    // Scaling the existing transform keeps its rotation and mirroring; QGraphicsView re-applies the anchor.
    if (std::abs(ratio - 1.0) > kTolerance)
        scale(ratio, ratio);
}

void ZoomToolBarView::zoomIn() {
    const auto& steps = zoomSteps();
    int target = -1;
    if (m_zoomIndex >= 0) {
        target = m_zoomIndex + 1 < int(steps.size()) ? m_zoomIndex + 1 : -1;
    } else {
        const double current = zoomFactor();
        for (std::size_t i = 0; i < steps.size() && target < 0; ++i)
            if (steps[i] > current * (1.0 + kTolerance))
                target = int(i);
    }
    if (target >= 0)
        setZoomIndex(target);
}

void ZoomToolBarView::zoomOut() {
    const auto& steps = zoomSteps();
    int target = -1;
    if (m_zoomIndex >= 0) {
        target = m_zoomIndex - 1;
    } else {
        const double current = zoomFactor();
        for (int i = int(steps.size()) - 1; i >= 0 && target < 0; --i)
            if (steps[std::size_t(i)] < current * (1.0 - kTolerance))
                target = i;
    }
    if (target >= 0)
        setZoomIndex(target);
}

void ZoomToolBarView::zoomToFit() {
    if (!scene() && sceneRect().isEmpty())
        return;
    fitInView(sceneRect(), Qt::KeepAspectRatio);
    m_zoomIndex = -1;
    emit zoomChanged(zoomFactor());
}

void ZoomToolBarView::zoomToActualSize() {
    setZoomIndex(indexOfOne());
}

void ZoomToolBarView::resetZoomIndex() {
    m_zoomIndex = -1;
    emit zoomChanged(zoomFactor());
}

void ZoomToolBarView::setZoomIndex(int index) {
    if (index == -1) {
        resetZoomIndex();
        return;
    }
    if (index < 0 || index >= int(zoomSteps().size()))
        return;
    scaleTo(zoomSteps()[std::size_t(index)]);
    m_zoomIndex = index;
    emit zoomChanged(zoomFactor());
}

} // namespace Pictor
