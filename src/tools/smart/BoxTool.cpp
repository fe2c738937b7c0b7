// SPDX-License-Identifier: MIT
#include "tools/smart/BoxTool.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/BoxCut.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"
#include "tools/Brush.h"
#include "tools/smart/MaskPreviewItem.h"
#include "tools/smart/SmartOptions.h"
#include "tools/smart/SmartResult.h"

#include <QCheckBox>
#include <QGraphicsRectItem>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPen>
#include <QSignalBlocker>
#include <QToolBar>

#include <cmath>

namespace pxm {

namespace {
const QString AllPartsKey = QStringLiteral("BoxTool.keepAllParts");
} // namespace

BoxTool::BoxTool(View* view)
    : Tool(view, ToolType::Box), m_brush(new Brush(this, QStringLiteral("BoxTool.brushWidth"), tr("Box settings"))),
      m_options(new SmartOptions(this)) {
    QToolBar* bar = m_brush->toolBar();
    m_allParts = new QCheckBox(tr("Keep all parts"), bar);
    m_allParts->setObjectName("allPartsCheckBox");
    m_allParts->setToolTip(tr("Keep every part found in the box, not only the largest."));
    bar->addWidget(m_allParts);
    m_options->addTo(bar);
    connect(m_allParts, &QCheckBox::toggled, this, [this](bool on) {
        if (Project* p = project())
            p->setSetting(AllPartsKey, on);
        if (m_state == State::Shown)
            showResult();
    });
}

BoxTool::~BoxTool() {
    drop();
}

bool BoxTool::keepAllParts() const {
    const Project* p = project();
    return p && p->setting(AllPartsKey, false).toBool();
}

QToolBar* BoxTool::settingsToolBar() {
    const QSignalBlocker block(m_allParts);
    m_allParts->setChecked(keepAllParts());
    m_options->showSettings();
    return m_brush->toolBar();
}

void BoxTool::drop() {
    for (ItemWatch* watch : {&m_frame, &m_preview}) {
        QGraphicsItem* item = watch->get();
        watch->reset();
        delete item;
    }
    m_cut.reset();
    m_stroke.release();
    m_state = State::Idle;
}

void BoxTool::cleanUp() {
    drop();
    m_brush->deleteCursor();
    Tool::cleanUp();
}

void BoxTool::setScene(Scene* scene) {
    drop();
    m_brush->deleteCursor();
    m_brush->watchProject();
    Tool::setScene(scene);
}

void BoxTool::showResult() {
    auto* preview = static_cast<MaskPreviewItem*>(m_preview.get());
    const Label* label = currentLabel();
    if (!preview || !m_cut)
        return;
    cv::Mat object = m_cut->foreground(keepAllParts());
    Scene* s = scene();
    if (m_options->keepOtherLabels() && s && s->image())
        if (const cv::Mat others = SmartResult::otherLabels(*s->image(), s->zLayer(), label); !others.empty())
            object.setTo(0, others);
    preview->setMask(object, label ? label->color() : QColor(Qt::red));
}

void BoxTool::commit() {
    auto* preview = static_cast<MaskPreviewItem*>(m_preview.get());
    Scene* s = scene();
    const Label* label = currentLabel();
    if (!preview || !s || !label || !s->image()) {
        drop();
        return;
    }
    std::vector<cv::Mat> layers(std::size_t(s->zLayer()) + 1);
    layers.back() = preview->mask().clone();
    drop();
    if (QUndoCommand* command = SmartResult::apply(s->image(), label, layers, SmartResult::Mode::New, QPointF(),
                                                   SmartOptions::shapeFor(project()), tr("Box")))
        push(command);
}

void BoxTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    if (s && currentLabel() && event->button() == Qt::LeftButton && s->image() && s->image()->image()) {
        const QPointF at = scenePos(event);
        const bool stroke = event->modifiers() & (Qt::ShiftModifier | Qt::AltModifier);
        if (stroke && m_state == State::Shown) {
            m_state = State::Stroking;
            m_strokeForeground = event->modifiers() & Qt::ShiftModifier;
            m_stroke = cv::Mat::zeros(int(s->image()->height()), int(s->image()->width()), CV_8UC1);
            segment::fillRects(m_stroke, m_brush->pixels(at, at, s->sceneRect(), Brush::Cover::Nearest), 255);
            m_last = at;
        } else if (!stroke) {
            drop();
            m_state = State::Boxing;
            m_start = at;
            auto* frame = new QGraphicsRectItem(QRectF(at, at));
            QPen pen(Qt::white, 0, Qt::DashLine);
            frame->setPen(pen);
            frame->setZValue(0.95e6);
            s->addItem(frame);
            m_frame.reset(frame);
        }
    }
    Tool::mousePressEvent(event);
}

void BoxTool::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = scenePos(event);
    if (scene())
        m_brush->placeCursor(at);
    if (m_state == State::Boxing) {
        if (auto* frame = static_cast<QGraphicsRectItem*>(m_frame.get()))
            frame->setRect(QRectF(m_start, at).normalized());
    } else if (m_state == State::Stroking && scene()) {
        segment::fillRects(m_stroke, m_brush->pixels(m_last, at, scene()->sceneRect(), Brush::Cover::Nearest), 255);
        m_last = at;
    }
    Tool::mouseMoveEvent(event);
}

void BoxTool::mouseReleaseEvent(QMouseEvent* event) {
    Scene* s = scene();
    if (event->button() == Qt::LeftButton && s && s->image() && s->image()->image()) {
        if (m_state == State::Boxing) {
            const QRectF box = QRectF(m_start, scenePos(event)).normalized();
            QGraphicsItem* frame = m_frame.get();
            m_frame.reset();
            delete frame;
            const cv::Rect pixels(int(std::floor(box.left())), int(std::floor(box.top())),
                                  int(std::ceil(box.right())) - int(std::floor(box.left())),
                                  int(std::ceil(box.bottom())) - int(std::floor(box.top())));
            m_cut = std::make_unique<segment::BoxCut>(segment::layerMat(*s->image()->image(), s->zLayer()), pixels);
            if (m_cut->valid()) {
                auto* preview = new MaskPreviewItem;
                s->addItem(preview);
                m_preview.reset(preview);
                m_state = State::Shown;
                showResult();
            } else {
                drop();
            }
        } else if (m_state == State::Stroking) {
            m_cut->refine(m_stroke, m_strokeForeground);
            m_stroke.release();
            m_state = State::Shown;
            showResult();
        }
    }
    Tool::mouseReleaseEvent(event);
}

void BoxTool::keyReleaseEvent(QKeyEvent* event) {
    if (!m_brush->keyRelease(event)) {
        if (event->key() == Qt::Key_Escape)
            drop();
        else if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && m_state == State::Shown)
            commit();
    }
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
