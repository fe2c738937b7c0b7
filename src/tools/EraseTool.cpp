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

void EraseTool::eraseAt(const QPointF& scenePos) {
    Scene* s = scene();
    if (!s)
        return;
    auto* command = new commands::Erase(s);
    command->apply(m_brush->square(scenePos));
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
        eraseAt(at);
    }
    Tool::mousePressEvent(event);
}

void EraseTool::mouseMoveEvent(QMouseEvent* event) {
    if (scene()) {
        const QPointF at = scenePos(event);
        m_brush->placeCursor(at);
        if (m_erasing)
            eraseAt(at);
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
