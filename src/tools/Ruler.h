// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QPointF>

class QGraphicsEllipseItem;
class QGraphicsLineItem;
class QGraphicsTextItem;

namespace pxm {

/// Measures a distance and an angle without changing the project: a click sets the start,
/// moving shows a dashed line, a dashed reference line to the right on screen, an arc and a
/// read-out of dx, dy, length and angle; the next click removes it all.
class Ruler : public Tool {
    Q_OBJECT
public:
    explicit Ruler(View* view);
    ~Ruler() override;

    bool measuring() const { return m_measuring; }
    QPointF startPoint() const { return m_start; }
    QGraphicsTextItem* readout() const { return m_text; }
    QGraphicsLineItem* measuringLine() const { return m_line; }
    QGraphicsLineItem* referenceLine() const { return m_reference; }
    QGraphicsEllipseItem* arc() const { return m_arc; }

    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void stop();

    bool m_measuring = false;
    QPointF m_start;
    QGraphicsTextItem* m_text = nullptr;
    QGraphicsLineItem* m_line = nullptr;
    QGraphicsLineItem* m_reference = nullptr;
    QGraphicsEllipseItem* m_arc = nullptr;
    // The four items live and die together in one scene; this tells whether they still do.
    ItemWatch m_overlay;
};

} // namespace pxm
