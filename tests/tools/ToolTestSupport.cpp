// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

namespace pxmtest {

QString numbers(std::initializer_list<qreal> values) {
    QStringList parts;
    for (qreal v : values)
        parts << QString::number(v, 'f', 3);
    return parts.join(',');
}

QString plainShape(const QString& geometry, int id) {
    return QString("%1 id=%2 pos=0.000,0.000 t=1.000,0.000,0.000,1.000,0.000,0.000").arg(geometry).arg(id);
}

namespace {

QString geometry(const QGraphicsItem* item) {
    switch (item->type()) {
    case QGraphicsRectItem::Type: {
        const QRectF r = static_cast<const QGraphicsRectItem*>(item)->rect();
        return "rect " + numbers({r.x(), r.y(), r.width(), r.height()});
    }
    case QGraphicsEllipseItem::Type: {
        const QRectF r = static_cast<const QGraphicsEllipseItem*>(item)->rect();
        return "ellipse " + numbers({r.x(), r.y(), r.width(), r.height()});
    }
    case QGraphicsLineItem::Type: {
        const QLineF l = static_cast<const QGraphicsLineItem*>(item)->line();
        return "line " + numbers({l.x1(), l.y1(), l.x2(), l.y2()});
    }
    case QGraphicsPolygonItem::Type: {
        QStringList points;
        for (const QPointF& p : static_cast<const QGraphicsPolygonItem*>(item)->polygon())
            points << numbers({p.x(), p.y()});
        return "polygon " + points.join(' ');
    }
    case QGraphicsPathItem::Type: {
        const QRectF r = static_cast<const QGraphicsPathItem*>(item)->path().boundingRect();
        return "path " + numbers({r.x(), r.y(), r.width(), r.height()});
    }
    default:
        return "other";
    }
}

} // namespace

QStringList ToolFixture::describeItems(const pxm::Scene* s) {
    QStringList result;
    if (!s)
        return result;
    for (const QGraphicsItem* item : s->items()) {
        if (!pxm::isLabelItem(item))
            continue;
        const QTransform t = item->transform();
        result << QString("%1 id=%2 pos=%3 t=%4")
                      .arg(geometry(item))
                      .arg(pxm::labelIdOf(item))
                      .arg(numbers({item->pos().x(), item->pos().y()}))
                      .arg(numbers({t.m11(), t.m12(), t.m21(), t.m22(), t.dx(), t.dy()}));
    }
    result.sort();
    return result;
}

void expectUndoRedo(ToolFixture& f, const QStringList& before, const QStringList& after) {
    const int index = f.stack()->index();
    ASSERT_GT(index, 0);
    for (int round = 0; round < 2; ++round) {
        f.stack()->undo();
        EXPECT_EQ(f.snapshot(), before) << "after undo, round " << round;
        f.stack()->redo();
        EXPECT_EQ(f.snapshot(), after) << "after redo, round " << round;
    }
    EXPECT_EQ(f.stack()->index(), index);
}

} // namespace pxmtest
