// SPDX-License-Identifier: MIT
#include "tools/Ruler.h"

#include "scene/Scene.h"
#include "tools/View.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsTextItem>
#include <QMouseEvent>
#include <QPen>
#include <cmath>

namespace pxm {

namespace {

// Counter-clockwise degrees as seen with rows growing downwards, in [0, 360).
double screenAngle(double dx, double dy) {
    return std::fmod(360.0 - std::atan2(dy, dx) * 180.0 / M_PI, 360.0);
}

} // namespace

Ruler::Ruler(View* view) : Tool(view, ToolType::Ruler) {}

Ruler::~Ruler() {
    stop();
}

void Ruler::stop() {
    // The overlay lives in the scene; a scene that died took it along.
    if (m_overlay.get()) {
        m_overlay.reset();
        delete m_text;
        delete m_line;
        delete m_reference;
        delete m_arc;
    }
    m_text = nullptr;
    m_line = m_reference = nullptr;
    m_arc = nullptr;
    m_measuring = false;
}

void Ruler::cleanUp() {
    stop();
    Tool::cleanUp();
}

void Ruler::setScene(Scene* scene) {
    stop();
    Tool::setScene(scene);
}

void Ruler::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    if (m_measuring) {
        stop();
    } else if (s) {
        QPen pen(Qt::white, 2, Qt::DashLine);
        pen.setCosmetic(true);
        m_text = new QGraphicsTextItem();
        m_text->setFlag(QGraphicsItem::ItemIgnoresTransformations);
        m_line = new QGraphicsLineItem();
        m_reference = new QGraphicsLineItem();
        m_arc = new QGraphicsEllipseItem();
        m_line->setPen(pen);
        m_reference->setPen(pen);
        m_arc->setPen(pen);
        for (QGraphicsItem* item : {static_cast<QGraphicsItem*>(m_text), static_cast<QGraphicsItem*>(m_line),
                                    static_cast<QGraphicsItem*>(m_reference), static_cast<QGraphicsItem*>(m_arc)}) {
            item->setZValue(1.0);
            s->addItem(item);
        }
        m_overlay.reset(m_line);
        m_start = scenePos(event);
        m_measuring = true;
    }
    Tool::mousePressEvent(event);
}

void Ruler::mouseMoveEvent(QMouseEvent* event) {
    if (m_measuring && m_overlay.get() && view()) {
        const QPoint m = event->pos();
        const QPoint s = view()->mapFromScene(m_start);
        const double length = std::hypot(double(m.x() - s.x()), double(m.y() - s.y()));
        const QPointF e = view()->mapToScene(m);
        const QPointF r = view()->mapToScene(QPointF(s.x() + length, s.y()).toPoint());
        const double dx = e.x() - m_start.x();
        const double dy = e.y() - m_start.y();
        const double d = std::sqrt(dx * dx + dy * dy);
        const double endAngle = screenAngle(dx, dy);
        const double referenceAngle = screenAngle(r.x() - m_start.x(), r.y() - m_start.y());
        const double angle = endAngle > referenceAngle ? endAngle - referenceAngle
                                                       : 360.0 - (referenceAngle - endAngle);
        m_line->setLine(QLineF(m_start, e));
        m_reference->setLine(QLineF(m_start, r));
        const double half = d / 4.0;
        m_arc->setRect(QRectF(m_start.x() - half, m_start.y() - half, 2 * half, 2 * half));
        m_arc->setStartAngle(int(referenceAngle * 16));
        m_arc->setSpanAngle(int(angle * 16));
        m_text->setHtml(QStringLiteral("<div style='background-color: white;'>") + QStringLiteral("dx: ") +
                        QString::number(dx, 'g', 6) + QStringLiteral("<br>dy: ") + QString::number(-dy, 'g', 6) +
                        QStringLiteral("<br>d: ") + QString::number(d, 'f', 2) + QStringLiteral("<br>angle: ") +
                        QString::number(angle, 'f', 2) + QStringLiteral("</div>"));
        m_text->setPos(e);
    }
    Tool::mouseMoveEvent(event);
}

} // namespace pxm
