// SPDX-License-Identifier: MIT
#include "tools/Brush.h"

#include "model/Project.h"
#include "scene/GraticuleItem.h"
#include "scene/Scene.h"
#include "tools/Tool.h"

#include <QComboBox>
#include <QGraphicsEllipseItem>
#include <QKeyEvent>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolBar>
#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace pxm {

namespace {
/// Above every shape, so the brush shows over what it paints.
constexpr qreal CursorZValue = 1.0e6;

/// The drawn circle of a round brush strays at most this far (in pixels) from the true one.
constexpr double CircleTolerance = 0.25;

// First and last column of a run of pixels in one row.
using Span = std::pair<int, int>;
using RowSpans = std::map<int, std::vector<Span>>;

QRectF squareAt(const QPointF& centre, int width) {
    QRectF r(0, 0, width, width);
    r.moveCenter(centre);
    return r;
}

QPoint pixelOf(const QPointF& p) {
    return {int(std::floor(p.x())), int(std::floor(p.y()))};
}

void addRect(RowSpans& rows, const QRect& r) {
    if (r.isEmpty())
        return;
    for (int y = r.top(); y <= r.bottom(); ++y)
        rows[y].emplace_back(r.left(), r.right());
}

QRect squarePixels(const QPointF& centre, int width, const QRectF& clip, Brush::Cover cover) {
    const QRectF square = squareAt(centre, width);
    if (cover == Brush::Cover::Nearest)
        return square.intersected(clip).toRect();
    const QRect touched(pixelOf(square.topLeft()), pixelOf(square.bottomRight()));
    return touched.intersected(clip.toRect());
}

void addDisc(RowSpans& rows, const QPointF& centre, int width, const QRect& clip) {
    const double radius = width / 2.0;
    // A hair of slack, so that centres exactly on the circle do not flicker in and out.
    const double reach = radius * radius + 1e-9;
    bool any = false;
    for (int y = int(std::floor(centre.y() - radius)); y <= int(std::floor(centre.y() + radius)); ++y) {
        const double dy = y + 0.5 - centre.y();
        if (dy * dy > reach)
            continue;
        const double half = std::sqrt(reach - dy * dy);
        const int first = int(std::ceil(centre.x() - 0.5 - half));
        const int last = int(std::floor(centre.x() - 0.5 + half));
        if (first > last)
            continue;
        any = true;
        addRect(rows, QRect(QPoint(first, y), QPoint(last, y)).intersected(clip));
    }
    // A disc too small to hold a pixel centre still paints the pixel under the pointer.
    if (!any)
        addRect(rows, QRect(pixelOf(centre), QSize(1, 1)).intersected(clip));
}

/// Joins overlapping and adjacent spans of each row, then stacks equal spans of
/// consecutive rows into one rectangle.
QVector<QRect> mergeRows(RowSpans& rows) {
    QVector<QRect> done;
    std::map<Span, QRect> open;
    for (auto& [y, spans] : rows) {
        std::sort(spans.begin(), spans.end());
        std::vector<Span> joined;
        for (const Span& s : spans) {
            if (!joined.empty() && s.first <= joined.back().second + 1)
                joined.back().second = std::max(joined.back().second, s.second);
            else
                joined.push_back(s);
        }
        std::map<Span, QRect> growing;
        for (const Span& s : joined) {
            const auto above = open.find(s);
            if (above != open.end() && above->second.bottom() == y - 1) {
                QRect r = above->second;
                r.setBottom(y);
                growing.emplace(s, r);
                open.erase(above);
            } else {
                growing.emplace(s, QRect(QPoint(s.first, y), QPoint(s.second, y)));
            }
        }
        for (const auto& ended : open)
            done << ended.second;
        open.swap(growing);
    }
    for (const auto& ended : open)
        done << ended.second;
    return done;
}

/// The convex hull (Andrew's monotone chain), closed.
QPolygonF convexHull(QVector<QPointF> points) {
    std::sort(points.begin(), points.end(), [](const QPointF& a, const QPointF& b) {
        return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
    });
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 3)
        return QPolygonF(points);
    const auto cross = [](const QPointF& o, const QPointF& a, const QPointF& b) {
        return (a.x() - o.x()) * (b.y() - o.y()) - (a.y() - o.y()) * (b.x() - o.x());
    };
    QVector<QPointF> hull(2 * points.size());
    int k = 0;
    for (int i = 0; i < points.size(); ++i) {
        while (k >= 2 && cross(hull[k - 2], hull[k - 1], points[i]) <= 0)
            --k;
        hull[k++] = points[i];
    }
    for (int i = points.size() - 2, lower = k + 1; i >= 0; --i) {
        while (k >= lower && cross(hull[k - 2], hull[k - 1], points[i]) <= 0)
            --k;
        hull[k++] = points[i];
    }
    hull.resize(k); // the last point repeats the first
    return QPolygonF(hull);
}
} // namespace

Brush::Brush(Tool* tool, QString settingsKey, const QString& toolBarTitle)
    : QObject(tool), m_tool(tool), m_key(std::move(settingsKey)) {
    m_toolBar = new QToolBar(toolBarTitle);
    m_toolBar->setObjectName(m_key.section('.', 0, 0) + "SettingsToolBar");
    auto* label = new QLabel(tr("Brush Width"), m_toolBar);
    m_spinBox = new QSpinBox(m_toolBar);
    m_spinBox->setObjectName("widthSpinBox");
    m_spinBox->setMinimum(1);
    m_spinBox->setMinimumWidth(64);
    label->setBuddy(m_spinBox);
    m_toolBar->addWidget(label);
    m_toolBar->addWidget(m_spinBox);
    auto* shapeLabel = new QLabel(tr("Shape"), m_toolBar);
    m_shapeBox = new QComboBox(m_toolBar);
    m_shapeBox->setObjectName("shapeComboBox");
    m_shapeBox->addItem(tr("Square"), shapeName(Shape::Square));
    m_shapeBox->addItem(tr("Round"), shapeName(Shape::Round));
    shapeLabel->setBuddy(m_shapeBox);
    m_toolBar->addWidget(shapeLabel);
    m_toolBar->addWidget(m_shapeBox);
    showSettings();
    connect(m_spinBox, qOverload<int>(&QSpinBox::valueChanged), this, &Brush::on_widthSpinBox_valueChanged);
    connect(m_shapeBox, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &Brush::on_shapeComboBox_currentIndexChanged);
    watchProject();
}

Brush::~Brush() {
    deleteCursor();
    if (m_toolBar)
        m_toolBar->deleteLater();
}

void Brush::watchProject() {
    disconnect(m_settingsConnection);
    if (Project* p = m_tool->project()) {
        m_settingsConnection =
            connect(p, &Project::settingsChanged, this, &Brush::on_project_settingsChanged);
        showSettings();
    }
}

void Brush::showSettings() {
    // Showing a setting must not write it back.
    const QSignalBlocker blockWidth(m_spinBox);
    const QSignalBlocker blockShape(m_shapeBox);
    m_spinBox->setValue(width());
    m_shapeBox->setCurrentIndex(m_shapeBox->findData(shapeName(shape())));
}

QString Brush::shapeKey() const {
    return m_key.section('.', 0, 0) + QStringLiteral(".brushShape");
}

int Brush::width() const {
    const Project* p = m_tool->project();
    return std::max(1, p ? p->setting(m_key).toInt() : 1);
}

void Brush::setWidth(int width) {
    Project* p = m_tool->project();
    const QVariant value(std::max(1, width));
    if (p && p->setting(m_key) != value)
        p->setSetting(m_key, value);
}

Brush::Shape Brush::shape() const {
    const Project* p = m_tool->project();
    return p && p->setting(shapeKey()).toString() == shapeName(Shape::Round) ? Shape::Round : Shape::Square;
}

void Brush::setShape(Shape shape) {
    Project* p = m_tool->project();
    const QVariant value(shapeName(shape));
    if (p && p->setting(shapeKey()) != value)
        p->setSetting(shapeKey(), value);
}

QString Brush::shapeName(Shape shape) {
    return shape == Shape::Round ? QStringLiteral("Round") : QStringLiteral("Square");
}

GraticuleItem* Brush::cursor() const {
    return static_cast<GraticuleItem*>(m_cursor.get());
}

QRectF Brush::square(const QPointF& centre) const {
    return squareAt(centre, width());
}

QVector<QRect> Brush::pixels(const QPointF& from, const QPointF& to, const QRectF& clip, Cover cover) const {
    return strokePixels(shape(), width(), from, to, clip, cover);
}

QVector<QRect> Brush::strokePixels(Shape shape, int width, const QPointF& from, const QPointF& to,
                                   const QRectF& clip, Cover cover) {
    RowSpans rows;
    const QRect pixelClip = clip.toRect();
    const auto stamp = [&](const QPointF& centre) {
        if (shape == Shape::Round)
            addDisc(rows, centre, width, pixelClip);
        else
            addRect(rows, squarePixels(centre, width, clip, cover));
    };
    // Every stamp holds the pixel under its centre, and neighbouring stamps are at most a
    // pixel apart; only a step to a diagonal pixel could leave them touching at a corner.
    const QPointF delta = to - from;
    const int steps = int(std::ceil(std::max(std::abs(delta.x()), std::abs(delta.y()))));
    QPointF last = from;
    stamp(from);
    for (int i = 1; i <= steps; ++i) {
        const QPointF next = i == steps ? to : from + delta * (double(i) / steps);
        const QPoint a = pixelOf(last);
        const QPoint b = pixelOf(next);
        if (a.x() != b.x() && a.y() != b.y())
            stamp(last + QPointF(b.x() - a.x(), 0));
        stamp(next);
        last = next;
    }
    return mergeRows(rows);
}

QPolygonF Brush::outline(const QPointF& centre) const {
    if (shape() == Shape::Square)
        return QPolygonF(square(centre));
    const double radius = width() / 2.0;
    // Enough corners for the tolerance; the corners lie outside the circle, so that the
    // polygon covers every point the disc does.
    const int corners = std::clamp(int(std::ceil(M_PI * std::sqrt(radius / (2 * CircleTolerance)))), 8, 64);
    const double reach = radius / std::cos(M_PI / corners);
    QPolygonF polygon;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2 * M_PI * i / corners;
        polygon << centre + QPointF(reach * std::cos(angle), reach * std::sin(angle));
    }
    polygon << polygon.first();
    return polygon;
}

QPolygonF Brush::sweptArea(const QPointF& from, const QPointF& to) const {
    return convexHull(outline(from) + outline(to));
}

void Brush::fitCursor(GraticuleItem* cursor, const QPointF& centre) const {
    const QRectF extent = square(centre);
    cursor->setRect(extent);
    QGraphicsEllipseItem* disc = nullptr;
    for (QGraphicsItem* child : cursor->childItems())
        if (auto* ellipse = qgraphicsitem_cast<QGraphicsEllipseItem*>(child))
            disc = ellipse;
    // A round brush hands the cursor's look to a disc inside it, and takes it back.
    if (shape() == Shape::Round) {
        if (!disc) {
            disc = new QGraphicsEllipseItem(cursor);
            disc->setAcceptedMouseButtons(Qt::NoButton);
            disc->setPen(cursor->pen());
            disc->setBrush(cursor->brush());
            cursor->setPen(Qt::NoPen);
            cursor->setBrush(Qt::NoBrush);
        }
        disc->setRect(extent);
    } else if (disc) {
        cursor->setPen(disc->pen());
        cursor->setBrush(disc->brush());
        delete disc;
    }
}

void Brush::placeCursor(const QPointF& scenePos) {
    Scene* s = m_tool->scene();
    if (!s)
        return;
    GraticuleItem* c = cursor();
    if (c && c->scene() != s) {
        deleteCursor();
        c = nullptr;
    }
    if (!c) {
        c = new GraticuleItem;
        c->setZValue(CursorZValue);
        c->setAcceptedMouseButtons(Qt::NoButton);
        s->addItem(c);
        m_cursor.reset(c);
    }
    fitCursor(c, scenePos);
}

void Brush::deleteCursor() {
    QGraphicsItem* c = m_cursor.get();
    m_cursor.reset();
    delete c;
}

bool Brush::keyRelease(QKeyEvent* event) {
    if (event->key() == Qt::Key_Plus) {
        setWidth(width() + 1);
        return true;
    }
    if (event->key() == Qt::Key_Minus) {
        setWidth(width() - 1);
        return true;
    }
    return false;
}

void Brush::on_widthSpinBox_valueChanged(int value) {
    setWidth(value);
}

void Brush::on_shapeComboBox_currentIndexChanged(int index) {
    setShape(m_shapeBox->itemData(index).toString() == shapeName(Shape::Round) ? Shape::Round
                                                                               : Shape::Square);
}

void Brush::on_project_settingsChanged(const QString& key) {
    if (key != m_key && key != shapeKey())
        return;
    // The box stops at its maximum while the setting may go beyond it.
    showSettings();
    if (GraticuleItem* c = cursor())
        fitCursor(c, c->rect().center());
}

} // namespace pxm
