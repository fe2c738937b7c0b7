// SPDX-License-Identifier: MIT
#include "tools/smart/ScissorsTool.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/Colour8.h"
#include "segment/RegionShapes.h"
#include "segment/Scissors.h"
#include "tools/View.h"
#include "tools/smart/SmartOptions.h"
#include "tools/smart/SmartResult.h"

#include <QGraphicsPathItem>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPen>
#include <QToolBar>

#include <cmath>

namespace pxm {

namespace {
/// A click this close to the first anchor (screen pixels) closes the outline.
constexpr double CloseDistance = 6;

cv::Point pixelAt(const QPointF& p) {
    return {int(std::floor(p.x())), int(std::floor(p.y()))};
}
} // namespace

ScissorsTool::ScissorsTool(View* view) : Tool(view, ToolType::Scissors), m_options(new SmartOptions(this)) {}

ScissorsTool::~ScissorsTool() {
    drop();
    if (m_toolBar)
        m_toolBar->deleteLater();
}

QToolBar* ScissorsTool::settingsToolBar() {
    if (!m_toolBar) {
        m_toolBar = new QToolBar(tr("Scissors settings"));
        m_toolBar->setObjectName("ScissorsToolSettingsToolBar");
        m_options->addTo(m_toolBar);
    }
    m_options->showSettings();
    return m_toolBar;
}

void ScissorsTool::drop() {
    QGraphicsItem* item = m_outline.get();
    m_outline.reset();
    delete item;
    m_anchors.clear();
    m_segments.clear();
}

void ScissorsTool::cleanUp() {
    drop();
    m_scissors.reset();
    Tool::cleanUp();
}

void ScissorsTool::setScene(Scene* scene) {
    // The edge costs belong to the image that leaves.
    drop();
    m_scissors.reset();
    Tool::setScene(scene);
}

std::vector<cv::Point> ScissorsTool::livePathTo(const cv::Point& target) const {
    return m_scissors && !m_anchors.empty() ? m_scissors->pathTo(target) : std::vector<cv::Point>();
}

void ScissorsTool::showOutline(const std::vector<cv::Point>& live) {
    auto* outline = static_cast<QGraphicsPathItem*>(m_outline.get());
    if (!outline)
        return;
    QPainterPath path;
    bool first = true;
    auto follow = [&](const std::vector<cv::Point>& points) {
        for (const cv::Point& p : points) {
            const QPointF centre(p.x + 0.5, p.y + 0.5);
            if (first)
                path.moveTo(centre);
            else
                path.lineTo(centre);
            first = false;
        }
    };
    if (m_segments.empty() && !m_anchors.empty())
        follow({m_anchors.front()});
    for (const auto& segment : m_segments)
        follow(segment);
    follow(live);
    outline->setPath(path);
}

void ScissorsTool::addAnchor(const cv::Point& p) {
    if (!m_anchors.empty())
        m_segments.push_back(m_scissors->pathTo(p));
    m_anchors.push_back(p);
    m_scissors->setAnchor(p);
    showOutline({});
}

void ScissorsTool::removeAnchor() {
    if (m_anchors.size() <= 1) {
        drop();
        return;
    }
    m_anchors.pop_back();
    m_segments.pop_back();
    m_scissors->setAnchor(m_anchors.back());
    showOutline({});
}

void ScissorsTool::close(Qt::KeyboardModifiers modifiers) {
    Scene* s = scene();
    const Label* label = currentLabel();
    if (!s || !label || m_anchors.size() < 3) {
        drop();
        return;
    }
    QPolygonF polygon;
    auto follow = [&](const std::vector<cv::Point>& points) {
        for (const cv::Point& p : points)
            polygon.append(QPointF(p.x + 0.5, p.y + 0.5));
    };
    for (const auto& segment : m_segments)
        follow(segment);
    follow(m_scissors->pathTo(m_anchors.front()));
    const int width = int(s->image()->width());
    const int height = int(s->image()->height());
    // The outline runs through pixel centres: the pixels it passes belong to the object too.
    cv::Mat pixels = segment::polygonMask(polygon, width, height);
    for (const QPointF& p : polygon)
        pixels.at<uint8_t>(int(p.y()), int(p.x())) = 255;
    if (m_options->keepOtherLabels())
        if (const cv::Mat others = SmartResult::otherLabels(*s->image(), s->zLayer(), label); !others.empty())
            pixels.setTo(0, others);
    std::vector<cv::Mat> layers(std::size_t(s->zLayer()) + 1);
    layers.back() = pixels;
    const QPointF at(m_anchors.front().x + 0.5, m_anchors.front().y + 0.5);
    drop();
    SmartResult::Shape shape = SmartOptions::shapeFor(project());
    shape.polygon = true;
    const SmartResult::Mode mode = modifiers & Qt::ShiftModifier ? SmartResult::Mode::Add
                                   : modifiers & Qt::AltModifier ? SmartResult::Mode::Subtract
                                                                 : SmartResult::Mode::New;
    if (QUndoCommand* command = SmartResult::apply(s->image(), label, layers, mode, at, shape, tr("Scissors")))
        push(command);
}

void ScissorsTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    if (s && currentLabel() && event->button() == Qt::LeftButton && s->image() && s->image()->image()) {
        if (!m_scissors)
            m_scissors = std::make_unique<segment::Scissors>(segment::colour8(*s->image()->image(), s->zLayer()));
        const cv::Point p = pixelAt(scenePos(event));
        if (m_anchors.size() >= 3) {
            const QPoint first = view()->mapFromScene(QPointF(m_anchors.front().x + 0.5, m_anchors.front().y + 0.5));
            if (std::hypot(first.x() - event->pos().x(), first.y() - event->pos().y()) <= CloseDistance) {
                close(event->modifiers());
                Tool::mousePressEvent(event);
                return;
            }
        }
        if (m_scissors->valid() && p.x >= 0 && p.y >= 0 && p.x < int(s->image()->width()) &&
            p.y < int(s->image()->height())) {
            if (!m_outline) {
                auto* outline = new QGraphicsPathItem;
                QPen pen(currentLabel()->color(), 0);
                pen.setCosmetic(true);
                outline->setPen(pen);
                outline->setZValue(0.95e6);
                s->addItem(outline);
                m_outline.reset(outline);
            }
            addAnchor(p);
        }
    }
    Tool::mousePressEvent(event);
}

void ScissorsTool::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && m_anchors.size() >= 3)
        close(event->modifiers());
    Tool::mouseDoubleClickEvent(event);
}

void ScissorsTool::mouseMoveEvent(QMouseEvent* event) {
    if (!m_anchors.empty())
        showOutline(livePathTo(pixelAt(scenePos(event))));
    Tool::mouseMoveEvent(event);
}

void ScissorsTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        drop();
    else if (event->key() == Qt::Key_Backspace && !m_anchors.empty())
        removeAnchor();
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
