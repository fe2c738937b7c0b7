// SPDX-License-Identifier: MIT
#pragma once

#include "display/LayerHistogram.h"

#include <QWidget>

namespace pxm {

/// Draws a layer histogram with the display window over it: a line at the minimum and the maximum
/// and the gamma curve between them. Dragging near a line moves it. The axis spans the window and a
/// quarter of its width on each side (as far as there are values), or the data's range without one.
class ContrastHistogramView : public QWidget {
    Q_OBJECT
public:
    explicit ContrastHistogramView(QWidget* parent = nullptr);

    void setHistogram(const Pictor::LayerHistogram& histogram);
    void setWindow(double min, double max, double gamma);
    void setLogScale(bool on);
    bool logScale() const { return m_log; }
    QSize sizeHint() const override { return {260, 120}; }
    /// The column heights drawn, one per pixel column, each in [0, 1].
    QVector<double> columnHeights() const;

signals:
    /// The user dragged a line to a new window.
    void windowDragged(double min, double max);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    double valueAt(double x) const;
    double xOf(double value) const;
    void updateRange();

    Pictor::LayerHistogram m_histogram;
    Pictor::ChannelWindow m_shown; // the value range across the width
    double m_min = 0.0;
    double m_max = 0.0;
    double m_gamma = 1.0;
    bool m_log = false;
    int m_dragged = -1; // 0 the minimum, 1 the maximum
};

} // namespace pxm
