// SPDX-License-Identifier: MIT
#pragma once

#include "model/Project.h"

#include <QGraphicsView>
#include <QPointer>

namespace pxm {

class View;

/// The magnifier: a small square view over the View, showing the same scene centred on the
/// pointer at the View's transform times a zoom factor, so rotation and mirroring carry over.
///
/// Its side is the project's "ZoomView.radius" (the full side, not half of it), kept within
/// 1..400 (200 when below 1); the factor is "ZoomView.zoom", repaired to 2.0 when not above 0.
class ZoomView : public QGraphicsView {
    Q_OBJECT
public:
    ZoomView(View* view, Project* project);

    /// The side length in pixels the settings give.
    int radius() const;
    /// The zoom factor the settings give.
    double zoom() const;

    /// Centres the magnifier on `viewPos` (View coordinates) and shows what lies under it.
    void updatePosition(const QPoint& viewPos);

private:
    View* m_view;
    QPointer<Project> m_project;
};

} // namespace pxm
