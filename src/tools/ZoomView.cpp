// SPDX-License-Identifier: MIT
#include "tools/ZoomView.h"

#include "model/Project.h"
#include "tools/View.h"

namespace pxm {

namespace {
constexpr int kDefaultRadius = 200;
constexpr int kMaxRadius = 400;
constexpr double kDefaultZoom = 2.0;
} // namespace

ZoomView::ZoomView(View* view, Project* project) : QGraphicsView(view), m_view(view), m_project(project) {
    setScene(view->scene());
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setViewportMargins(0, 0, 0, 0);
    setFrameShape(QFrame::Box);
    // The magnifier only shows; input stays with the View underneath.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    const int side = radius();
    resize(side, side);
}

int ZoomView::radius() const {
    int value = m_project ? m_project->setting("ZoomView.radius", kDefaultRadius).toInt() : kDefaultRadius;
    if (value < 1)
        value = kDefaultRadius;
    return std::min(value, kMaxRadius);
}

double ZoomView::zoom() const {
    if (!m_project)
        return kDefaultZoom;
    bool ok = false;
    const double value = m_project->setting("ZoomView.zoom", kDefaultZoom).toDouble(&ok);
    if (ok && value > 0.0)
        return value;
    m_project->setSetting("ZoomView.zoom", kDefaultZoom);
    return kDefaultZoom;
}

void ZoomView::updatePosition(const QPoint& viewPos) {
    const QPointF centre = m_view->mapToScene(viewPos);
    move(viewPos.x() - width() / 2, viewPos.y() - height() / 2);
    const double factor = zoom();
    setTransform(m_view->transform() * QTransform::fromScale(factor, factor));
    centerOn(centre);
    if (!isVisible())
        show();
}

} // namespace pxm
