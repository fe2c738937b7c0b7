// SPDX-License-Identifier: MIT
#pragma once

#include <QGraphicsView>
#include <vector>

namespace Pictor {

/// A graphics view that zooms along a fixed ladder of scale factors (1/32 … 32, including 1).
///
/// The zoom index is the position on the ladder, or -1 when the current scale is not a ladder step
/// (after zoomToFit, resetZoomIndex or a transform set from outside). From -1, zoomIn and zoomOut go
/// to the nearest step above or below the current scale. Zooming keeps rotation and mirroring, and
/// zooms around the point the transformation anchor names (e.g. the mouse).
class ZoomToolBarView : public QGraphicsView {
    Q_OBJECT
public:
    explicit ZoomToolBarView(QGraphicsScene* scene, QWidget* parent = nullptr);

    /// Position on the ladder, -1 when off it.
    int zoomIndex() const { return m_zoomIndex; }
    /// The current scale, sqrt(|det|) of the view transform (1.0 for 1:1 whatever the rotation).
    double zoomFactor() const;
    /// The ladder, ascending.
    static const std::vector<double>& zoomSteps();

public slots:
    /// Next larger step; nothing at the largest.
    void zoomIn();
    /// Next smaller step; nothing at the smallest.
    void zoomOut();
    /// Fits the scene rectangle into the viewport keeping the aspect ratio; the index becomes -1.
    void zoomToFit();
    /// Scale 1 (keeping rotation and mirroring); the index becomes that of 1.0.
    void zoomToActualSize();
    /// Marks the scale as off the ladder (-1), e.g. after the caller reset the transform.
    void resetZoomIndex();
    /// Goes to step `index` of the ladder; -1 only marks the scale as off the ladder; other values
    /// are ignored.
    void setZoomIndex(int index);

signals:
    /// The scale or the index changed; `factor` is zoomFactor().
    void zoomChanged(double factor);

private:
    void scaleTo(double factor);
    int m_zoomIndex;
};

} // namespace Pictor
