// SPDX-License-Identifier: MIT
#include "tools/EraseTool.h"

#include "model/Project.h"
#include "scene/GraticuleItem.h"
#include "scene/Scene.h"
#include "tools/Brush.h"
#include "tools/commands/Erase.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QUndoStack>

namespace pxm {

EraseTool::EraseTool(View* view)
    : Tool(view, ToolType::Eraser),
      m_brush(new Brush(this, QStringLiteral("EraserTool.brushWidth"), tr("Eraser settings"))) {}

EraseTool::~EraseTool() {
    endStroke();
}

int EraseTool::brushWidth() const {
    return m_brush->width();
}

QSpinBox* EraseTool::widthSpinBox() const {
    return m_brush->spinBox();
}

QComboBox* EraseTool::shapeComboBox() const {
    return m_brush->shapeBox();
}

GraticuleItem* EraseTool::brushCursor() const {
    return m_brush->cursor();
}

QToolBar* EraseTool::settingsToolBar() {
    return m_brush->toolBar();
}

void EraseTool::on_widthSpinBox_valueChanged(int value) {
    m_brush->on_widthSpinBox_valueChanged(value);
}

void EraseTool::endStroke() {
    if (m_erasing && m_macroStack)
        m_macroStack->endMacro();
    m_macroStack.clear();
    m_erasing = false;
    m_erased = QRegion();
}

void EraseTool::cleanUp() {
    endStroke();
    m_brush->deleteCursor();
    Tool::cleanUp();
}

void EraseTool::setScene(Scene* scene) {
    // A stroke ends with the scene it erased in.
    endStroke();
    m_brush->deleteCursor();
    m_brush->watchProject();
    Tool::setScene(scene);
}

void EraseTool::eraseAlong(const QPointF& from, const QPointF& to, bool pressed) {
    Scene* s = scene();
    if (!s)
        return;
    QVector<QRect> fresh;
    if (s->maskItem()) {
        QRegion swept;
        for (const QRect& r : m_brush->pixels(from, to, s->sceneRect(), Brush::Cover::Touched))
            swept += r;
        // Each mask pixel is counted once per stroke, so that the overlay's count cannot
        // wrap however long the brush lingers.
        const QRegion unerased = swept.subtracted(m_erased);
        fresh = QVector<QRect>(unerased.begin(), unerased.end());
        m_erased += swept;
    }
    auto* command = new commands::Erase(s);
    if (pressed && m_brush->shape() == Brush::Shape::Square)
        command->apply(m_brush->square(to));
    else
        command->apply(m_brush->sweptArea(from, to), fresh);
    push(command);
}

void EraseTool::mousePressEvent(QMouseEvent* event) {
    Project* p = project();
    if (event->button() == Qt::LeftButton && scene() && p && !m_erasing) {
        const QPointF at = scenePos(event);
        m_brush->placeCursor(at);
        m_erasing = true;
        m_macroStack = p->undoStack();
        m_macroStack->beginMacro(tr("erase"));
        m_last = at;
        eraseAlong(at, at, true);
    }
    Tool::mousePressEvent(event);
}

void EraseTool::mouseMoveEvent(QMouseEvent* event) {
    if (scene()) {
        const QPointF at = scenePos(event);
        m_brush->placeCursor(at);
        if (m_erasing) {
            eraseAlong(m_last, at, false);
            m_last = at;
        }
    }
    Tool::mouseMoveEvent(event);
}

void EraseTool::mouseReleaseEvent(QMouseEvent* event) {
    endStroke();
    Tool::mouseReleaseEvent(event);
}

void EraseTool::keyReleaseEvent(QKeyEvent* event) {
    if (!m_brush->keyRelease(event) && event->key() == Qt::Key_Escape)
        m_brush->deleteCursor();
    Tool::keyReleaseEvent(event);
}

} // namespace pxm
