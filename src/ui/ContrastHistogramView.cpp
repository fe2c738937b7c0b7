// SPDX-License-Identifier: MIT
#include "ui/ContrastHistogramView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace pxm {

ContrastHistogramView::ContrastHistogramView(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(80);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setToolTip(tr("Drag the yellow lines to set the minimum and maximum."));
}

void ContrastHistogramView::setHistogram(const Pictor::LayerHistogram& histogram) {
    m_histogram = histogram;
    updateRange();
}

void ContrastHistogramView::setWindow(double min, double max, double gamma) {
    m_min = min;
    m_max = max;
    m_gamma = gamma;
    updateRange();
}

void ContrastHistogramView::setLogScale(bool on) {
    m_log = on;
    update();
}

void ContrastHistogramView::updateRange() {
    // Dragging must not rescale the axis under the pointer; the release catches up.
    if (m_dragged >= 0) {
        update();
        return;
    }
    const Pictor::ChannelWindow data = m_histogram.range();
    m_shown = data;
    if (m_max > m_min && std::isfinite(m_max - m_min)) {
        // Around the window, not the whole range: one hot pixel would squeeze the rest into a
        // single column. A quarter of the window on each side leaves room to drag outwards.
        const double margin = (m_max - m_min) / 4.0;
        m_shown = {m_min - margin, m_max + margin};
        if (m_histogram.count) {
            m_shown.min = std::min(std::max(m_shown.min, data.min), m_min);
            m_shown.max = std::max(std::min(m_shown.max, data.max), m_max);
        }
    }
    if (!(m_shown.max > m_shown.min))
        m_shown.max = m_shown.min + 1.0;
    update();
}

double ContrastHistogramView::valueAt(double x) const {
    return m_shown.min + x / std::max(1, width()) * (m_shown.max - m_shown.min);
}

double ContrastHistogramView::xOf(double value) const {
    return (value - m_shown.min) / (m_shown.max - m_shown.min) * width();
}

QVector<double> ContrastHistogramView::columnHeights() const {
    QVector<double> columns(std::max(1, width()), 0.0);
    const Pictor::LayerHistogram& h = m_histogram;
    for (std::size_t i = 0; i < h.bins.size(); ++i) {
        if (!h.bins[i])
            continue;
        const int x = int(std::floor(xOf(h.binStart(i))));
        if (x >= 0 && x < columns.size())
            columns[x] += double(h.bins[i]);
    }
    double top = 0.0;
    for (double& c : columns) {
        if (m_log)
            c = std::log1p(c);
        top = std::max(top, c);
    }
    if (top > 0.0)
        for (double& c : columns)
            c /= top;
    return columns;
}

void ContrastHistogramView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(32, 32, 32));
    const QVector<double> columns = columnHeights();
    const int h = height();
    painter.setPen(QColor(170, 170, 170));
    for (int x = 0; x < columns.size(); ++x)
        if (columns[x] > 0.0)
            painter.drawLine(x, h - 1, x, h - 1 - int(std::ceil(columns[x] * (h - 4))));
    if (!(m_max > m_min))
        return;
    const double x0 = xOf(m_min);
    const double x1 = xOf(m_max);
    painter.setRenderHint(QPainter::Antialiasing);
    // The mapping from value to grey: flat black, the gamma curve, flat white.
    QPainterPath curve(QPointF(0, h - 1));
    curve.lineTo(x0, h - 1);
    for (int i = 1; i <= 32; ++i) {
        const double t = i / 32.0;
        curve.lineTo(x0 + t * (x1 - x0), h - 1 - std::pow(t, m_gamma) * (h - 2));
    }
    curve.lineTo(width(), 1);
    painter.setPen(QPen(QColor(80, 160, 255), 1.5));
    painter.drawPath(curve);
    painter.setPen(QPen(QColor(255, 210, 0), 2));
    painter.drawLine(QPointF(x0, 0), QPointF(x0, h));
    painter.drawLine(QPointF(x1, 0), QPointF(x1, h));
}

void ContrastHistogramView::mousePressEvent(QMouseEvent* event) {
    if (!(m_max > m_min) || event->button() != Qt::LeftButton)
        return;
    const double x = event->localPos().x();
    m_dragged = std::abs(x - xOf(m_min)) <= std::abs(x - xOf(m_max)) ? 0 : 1;
    mouseMoveEvent(event);
}

void ContrastHistogramView::mouseMoveEvent(QMouseEvent* event) {
    if (m_dragged < 0)
        return;
    const double v = valueAt(std::clamp(event->localPos().x(), 0.0, double(width())));
    // The lines never cross: the window keeps a width of at least one pixel.
    const double gap = (m_shown.max - m_shown.min) / std::max(1, width());
    if (m_dragged == 0)
        m_min = std::min(v, m_max - gap);
    else
        m_max = std::max(v, m_min + gap);
    update();
    emit windowDragged(m_min, m_max);
}

void ContrastHistogramView::mouseReleaseEvent(QMouseEvent*) {
    m_dragged = -1;
    // The shown range may widen to take in a line dragged to the edge.
    updateRange();
}

} // namespace pxm
