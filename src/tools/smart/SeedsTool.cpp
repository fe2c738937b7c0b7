// SPDX-License-Identifier: MIT
#include "tools/smart/SeedsTool.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/BoxCut.h"
#include "segment/Colour8.h"
#include "segment/RegionShapes.h"
#include "tools/Brush.h"
#include "tools/smart/MaskPreviewItem.h"
#include "tools/smart/SmartOptions.h"
#include "tools/smart/SmartResult.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QToolBar>
#include <QUndoCommand>

namespace pxm {

SeedsTool::SeedsTool(View* view)
    : Tool(view, ToolType::Seeds),
      m_brush(new Brush(this, QStringLiteral("SeedsTool.brushWidth"), tr("Seeds settings"))),
      m_options(new SmartOptions(this)) {
    m_options->addTo(m_brush->toolBar());
}

SeedsTool::~SeedsTool() {
    drop();
}

QToolBar* SeedsTool::settingsToolBar() {
    m_options->showSettings();
    return m_brush->toolBar();
}

void SeedsTool::drop() {
    QGraphicsItem* item = m_preview.get();
    m_preview.reset();
    delete item;
    m_seeds.release();
    m_labels.clear();
    m_regions.clear();
    m_state = State::Idle;
}

void SeedsTool::cleanUp() {
    drop();
    m_brush->deleteCursor();
    Tool::cleanUp();
}

void SeedsTool::setScene(Scene* scene) {
    drop();
    m_brush->deleteCursor();
    m_brush->watchProject();
    Tool::setScene(scene);
}

void SeedsTool::stamp(const QPointF& from, const QPointF& to) {
    if (Scene* s = scene())
        segment::fillRects(m_seeds, m_brush->pixels(from, to, s->sceneRect(), Brush::Cover::Nearest), m_strokeIndex);
}

void SeedsTool::showResult() {
    auto* preview = static_cast<MaskPreviewItem*>(m_preview.get());
    Scene* s = scene();
    if (!preview || !s || !s->image() || !s->image()->image())
        return;
    QVector<QColor> colours(m_labels.size() + 1);
    for (int i = 0; i < m_labels.size(); ++i)
        colours[i + 1] = m_labels[i]->color();
    cv::Mat numbers;
    m_regions.clear();
    if (m_labels.size() >= 2) {
        m_regions = segment::growSeeds(segment::colour8(*s->image()->image(), s->zLayer()), m_seeds,
                                       int(m_labels.size()));
        numbers = cv::Mat::zeros(m_seeds.size(), CV_8UC1);
        for (std::size_t i = 0; i < m_regions.size() && i < 255; ++i)
            numbers.setTo(int(i) + 1, m_regions[i]);
    } else {
        m_seeds.convertTo(numbers, CV_8U);
    }
    preview->setRegions(numbers, colours);
}

void SeedsTool::commit() {
    Scene* s = scene();
    if (!s || !s->image() || m_regions.empty() || m_regions.size() != std::size_t(m_labels.size())) {
        drop();
        return;
    }
    // Other labels' pixels are taken before any new item joins the scene; the seeded labels'
    // own regions never overlap.
    std::vector<cv::Mat> regions = m_regions;
    if (m_options->keepOtherLabels())
        for (int i = 0; i < m_labels.size(); ++i)
            if (cv::Mat others = SmartResult::otherLabels(*s->image(), s->zLayer(), m_labels[i]); !others.empty())
                regions[std::size_t(i)].setTo(0, others);
    const QList<const Label*> labels = m_labels;
    drop();
    auto* command = new QUndoCommand(tr("Seeds"));
    const SmartResult::Shape shape = SmartOptions::shapeFor(project());
    for (int i = 0; i < labels.size(); ++i)
        if (cv::countNonZero(regions[std::size_t(i)]))
            SmartResult::addItems(s, labels[i], regions[std::size_t(i)], shape, command);
    if (command->childCount() > 0)
        push(command);
    else
        delete command;
}

void SeedsTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    const Label* label = currentLabel();
    if (s && label && event->button() == Qt::LeftButton && s->image() && s->image()->image() &&
        m_labels.size() < 255) {
        if (m_seeds.empty())
            m_seeds = cv::Mat::zeros(int(s->image()->height()), int(s->image()->width()), CV_32SC1);
        if (!m_preview) {
            auto* preview = new MaskPreviewItem;
            s->addItem(preview);
            m_preview.reset(preview);
        }
        if (!m_labels.contains(label))
            m_labels.append(label);
        m_strokeIndex = int(m_labels.indexOf(label)) + 1;
        m_state = State::Stroking;
        const QPointF at = scenePos(event);
        stamp(at, at);
        m_last = at;
    }
    Tool::mousePressEvent(event);
}

void SeedsTool::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = scenePos(event);
    if (scene())
        m_brush->placeCursor(at);
    if (m_state == State::Stroking) {
        stamp(m_last, at);
        m_last = at;
    }
    Tool::mouseMoveEvent(event);
}

void SeedsTool::mouseReleaseEvent(QMouseEvent* event) {
    if (m_state == State::Stroking && event->button() == Qt::LeftButton) {
        m_state = State::Idle;
        showResult();
    }
    Tool::mouseReleaseEvent(event);
}

void SeedsTool::keyReleaseEvent(QKeyEvent* event) {
    if (!m_brush->keyRelease(event)) {
        if (event->key() == Qt::Key_Escape)
            drop();
        else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
            commit();
    }
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
