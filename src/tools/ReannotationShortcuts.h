// SPDX-License-Identifier: MIT
#pragma once

#include "model/ReannotationRules.h"

#include <QObject>
#include <QPoint>
#include <QPointF>
#include <QPointer>

class QGraphicsItem;
class QKeyEvent;

namespace pxm {

class Label;
class Project;
class Scene;
class View;

/// Applies the project's reannotation rules by keyboard: releasing a rule's key moves the
/// shape under the pointer from the rule's label to its target label, as one undo step.
///
/// Built on a View it watches the View's key releases and the pointer over its viewport by
/// itself (an event filter; a release that applied a rule goes no further, so the active tool
/// does not act on the same key). The feed functions do the same for a caller that routes
/// events itself. The rules are read from the project each time, so edits in the settings
/// take effect at once.
class ReannotationShortcuts : public QObject {
    Q_OBJECT
public:
    explicit ReannotationShortcuts(View* view);

    /// The View, or null once it is being destroyed.
    View* view() const;
    /// The last pointer position seen over the viewport, in view coordinates.
    QPoint pointer() const { return m_pointer; }

    /// Remembers the pointer position (view coordinates).
    void pointerMoved(const QPoint& viewPos);
    /// Applies the rule bound to the released key to the shape under `viewPos`; true when a
    /// shape was moved. Auto-repeated releases are ignored.
    bool keyReleased(const QKeyEvent* event, const QPoint& viewPos);
    /// The same with the key as portable text ("1", "Shift+Q") and a scene position.
    bool applyKey(const QString& key, const QPointF& scenePos);

    /// The topmost label item of `scene` whose shape contains `scenePos` and to which one of
    /// `rules` bound to `key` applies; its rule is stored in `rule`.
    static QGraphicsItem* shapeFor(const Scene* scene, const ReannotationRules& rules, const QString& key,
                                   const QPointF& scenePos, ReannotationRule* rule = nullptr);
    /// Pushes one SetItemLabelId moving `item` to `target`; false when there is nothing to do.
    static bool relabel(Project* project, QGraphicsItem* item, const Label* target);
    /// The key of a key event as portable text, keypad keys counting as their main keys.
    static QString keyText(const QKeyEvent* event);

signals:
    /// A rule moved a shape.
    void applied(const QString& key, const QString& from, const QString& to);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Held as a plain object: while the View is torn down its events still reach the filter,
    // and only qobject_cast tells then that it is no View any more.
    QPointer<QObject> m_view;
    QPoint m_pointer;
};

} // namespace pxm
