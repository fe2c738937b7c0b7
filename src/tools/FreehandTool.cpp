// SPDX-License-Identifier: MIT
#include "tools/FreehandTool.h"

#include "scene/GraticuleItem.h"
#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/Brush.h"
#include "tools/FreehandRegion.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace pxm {

FreehandTool::FreehandTool(View* view)
    : Tool(view, ToolType::Freehand),
      m_brush(new Brush(this, QStringLiteral("FreehandTool.brushWidth"), tr("Freehand settings"))) {}

FreehandTool::~FreehandTool() {
    deleteRegion();
}

int FreehandTool::brushWidth() const {
    return m_brush->width();
}

QSpinBox* FreehandTool::widthSpinBox() const {
    return m_brush->spinBox();
}

QComboBox* FreehandTool::shapeComboBox() const {
    return m_brush->shapeBox();
}

GraticuleItem* FreehandTool::brushCursor() const {
    return m_brush->cursor();
}

QGraphicsPathItem* FreehandTool::region() const {
    return static_cast<QGraphicsPathItem*>(m_region.get());
}

QToolBar* FreehandTool::settingsToolBar() {
    return m_brush->toolBar();
}

void FreehandTool::on_widthSpinBox_valueChanged(int value) {
    m_brush->on_widthSpinBox_valueChanged(value);
}

void FreehandTool::deleteRegion() {
    QGraphicsItem* item = m_region.get();
    m_region.reset();
    delete item;
}

void FreehandTool::cleanUp() {
    deleteRegion();
    m_brush->deleteCursor();
    Tool::cleanUp();
}

void FreehandTool::setScene(Scene* scene) {
    // An unfinished stroke and the cursor belong to the scene that leaves.
    deleteRegion();
    m_brush->deleteCursor();
    m_brush->watchProject();
    Tool::setScene(scene);
}

void FreehandTool::stamp(const QPointF& from, const QPointF& to) {
    auto* region = static_cast<FreehandRegion*>(m_region.get());
    Scene* s = scene();
    if (!region || !s)
        return;
    region->addRects(m_brush->pixels(from, to, s->sceneRect(), Brush::Cover::Nearest));
}

void FreehandTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    const Label* label = currentLabel();
    if (s && label && event->button() == Qt::LeftButton) {
        const QPointF at = scenePos(event);
        m_brush->placeCursor(at);
        if (!m_region) {
            auto* region = new FreehandRegion;
            // Shown while painted, but no part of the annotation until the release.
            setUnfinished(region, true);
            s->addLabelItem(region, label);
            m_region.reset(region);
        }
        stamp(at, at);
        m_last = at;
    }
    Tool::mousePressEvent(event);
}

void FreehandTool::mouseMoveEvent(QMouseEvent* event) {
    if (scene()) {
        const QPointF at = scenePos(event);
        m_brush->placeCursor(at);
        // Along the whole way from the last position: a fast stroke leaves no gaps.
        stamp(m_last, at);
        m_last = at;
    }
    Tool::mouseMoveEvent(event);
}

void FreehandTool::mouseReleaseEvent(QMouseEvent* event) {
    QGraphicsItem* region = m_region.get();
    Scene* s = scene();
    if (region && s && region->scene() == s) {
        m_region.reset();
        setUnfinished(region, false);
        push(new commands::AddItemToScene(s, region));
    } else {
        deleteRegion();
    }
    Tool::mouseReleaseEvent(event);
}

void FreehandTool::keyReleaseEvent(QKeyEvent* event) {
    if (!m_brush->keyRelease(event) && event->key() == Qt::Key_Escape) {
        m_brush->deleteCursor();
        deleteRegion();
    }
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
