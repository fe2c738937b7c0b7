// SPDX-License-Identifier: MIT
#include "tools/ReannotationShortcuts.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/View.h"

#include <QCursor>
#include <QGraphicsItem>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMouseEvent>
#include <QUndoStack>

namespace pxm {

ReannotationShortcuts::ReannotationShortcuts(View* view) : QObject(view), m_view(view) {
    if (!view)
        return;
    view->installEventFilter(this);
    view->viewport()->installEventFilter(this);
}

View* ReannotationShortcuts::view() const {
    return qobject_cast<View*>(m_view.data());
}

void ReannotationShortcuts::pointerMoved(const QPoint& viewPos) {
    m_pointer = viewPos;
}

QString ReannotationShortcuts::keyText(const QKeyEvent* event) {
    const int key = event->key();
    if (key == 0 || key == Qt::Key_unknown || key == Qt::Key_Shift || key == Qt::Key_Control ||
        key == Qt::Key_Alt || key == Qt::Key_Meta)
        return {};
    const int modifiers = int(event->modifiers() & ~Qt::KeypadModifier);
    return QKeySequence(key | modifiers).toString(QKeySequence::PortableText);
}

bool ReannotationShortcuts::keyReleased(const QKeyEvent* event, const QPoint& viewPos) {
    m_pointer = viewPos;
    View* v = view();
    if (!event || event->isAutoRepeat() || !v)
        return false;
    const QString key = keyText(event);
    return !key.isEmpty() && applyKey(key, v->mapToScene(viewPos));
}

QGraphicsItem* ReannotationShortcuts::shapeFor(const Scene* scene, const ReannotationRules& rules,
                                               const QString& key, const QPointF& scenePos,
                                               ReannotationRule* rule) {
    const Project* project = scene && scene->image() ? scene->image()->project() : nullptr;
    if (!project)
        return nullptr;
    for (QGraphicsItem* item : scene->items(scenePos, Qt::IntersectsItemShape, Qt::DescendingOrder)) {
        if (!isLabelItem(item))
            continue;
        const Label* label = project->labelById(labelIdOf(item));
        const ReannotationRule* found = rules.ruleFor(key, label);
        if (!found || !ReannotationRules::targetOf(*found, project))
            continue;
        if (rule)
            *rule = *found;
        return item;
    }
    return nullptr;
}

bool ReannotationShortcuts::relabel(Project* project, QGraphicsItem* item, const Label* target) {
    if (!project || !item || !target || labelIdOf(item) == target->id())
        return false;
    auto* command = new commands::SetItemLabelId(item, target);
    command->setText(tr("Move a shape to '%1'").arg(target->name()));
    project->undoStack()->push(command);
    return true;
}

bool ReannotationShortcuts::applyKey(const QString& key, const QPointF& scenePos) {
    View* v = view();
    Project* project = v ? v->project() : nullptr;
    Scene* scene = v ? v->currentScene() : nullptr;
    if (!project || !scene)
        return false;
    const ReannotationRules rules = ReannotationRules::fromProject(project);
    ReannotationRule rule;
    QGraphicsItem* item = shapeFor(scene, rules, key, scenePos, &rule);
    if (!item || !relabel(project, item, ReannotationRules::targetOf(rule, project)))
        return false;
    emit applied(rule.key, rule.from, rule.to);
    return true;
}

bool ReannotationShortcuts::eventFilter(QObject* watched, QEvent* event) {
    View* v = view();
    if (!v)
        return false;
    if (watched == v->viewport()) {
        // A key release carries no position; the pointer is followed over the viewport.
        if (event->type() == QEvent::MouseMove)
            m_pointer = static_cast<QMouseEvent*>(event)->pos();
        else if (event->type() == QEvent::Enter)
            m_pointer = v->viewport()->mapFromGlobal(QCursor::pos());
        return false;
    }
    if (watched == v && event->type() == QEvent::KeyRelease) {
        if (keyReleased(static_cast<QKeyEvent*>(event), m_pointer)) {
            event->accept();
            return true;
        }
    }
    return false;
}

} // namespace pxm
