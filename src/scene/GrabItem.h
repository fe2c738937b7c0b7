// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QGraphicsObject>

namespace pxm {

/// A round handle the editing tools put on a shape for the user to drag. It keeps its
/// screen size at every zoom and sits above the label items.
class GrabItem : public QGraphicsObject {
    Q_OBJECT
public:
    explicit GrabItem(QGraphicsItem* parent = nullptr);

    QColor color() const { return m_color; }
    void setColor(const QColor& color);

    QRectF boundingRect() const override { return m_boundingRect; }
    bool contains(const QPointF& point) const override { return m_shapeRect.contains(point); }
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

signals:
    void posChanged();
    void colorChanged();

private:
    QColor m_color = Qt::white;
    QRectF m_shapeRect{-8, -8, 16, 16};
    QRectF m_boundingRect{-8.5, -8.5, 17, 17};
};

} // namespace pxm
