// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"
#include "scene/LabelItems.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "tools/Tool.h"
#include "tools/View.h"

#include <QtWidgets>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace pxmtest {

/// Numbers as snapshot() writes them: three decimals, joined by commas.
inline QString numbers(std::initializer_list<qreal> values) {
    QStringList parts;
    for (qreal v : values)
        parts << QString::number(v, 'f', 3);
    return parts.join(',');
}

/// An untransformed label item at the origin as snapshot() describes it, e.g. "rect 1,2,3,4".
inline QString plainShape(const QString& geometry, int id) {
    return QString("%1 id=%2 pos=0.000,0.000 t=1.000,0.000,0.000,1.000,0.000,0.000").arg(geometry).arg(id);
}

/// A hash of what `value` writes to a data stream, to compare large values in a snapshot.
template <typename T> QString digest(const T& value) {
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return QString::number(qHash(bytes), 16);
}

inline QString geometryOf(const QGraphicsItem* item) {
    const auto box = [](const QRectF& r) { return numbers({r.x(), r.y(), r.width(), r.height()}); };
    if (auto* rect = qgraphicsitem_cast<const QGraphicsRectItem*>(item))
        return "rect " + box(rect->rect());
    if (auto* ellipse = qgraphicsitem_cast<const QGraphicsEllipseItem*>(item))
        return "ellipse " + box(ellipse->rect());
    if (auto* path = qgraphicsitem_cast<const QGraphicsPathItem*>(item))
        return "path " + box(path->path().boundingRect()) + " " + digest(path->path());
    if (auto* line = qgraphicsitem_cast<const QGraphicsLineItem*>(item))
        return "line " +
               numbers({line->line().x1(), line->line().y1(), line->line().x2(), line->line().y2()});
    QStringList points;
    if (auto* polygon = qgraphicsitem_cast<const QGraphicsPolygonItem*>(item))
        for (const QPointF& p : polygon->polygon())
            points << numbers({p.x(), p.y()});
    return item->type() == QGraphicsPolygonItem::Type ? "polygon " + points.join(' ') : "other";
}

/// A shown View at a fixed zoom over a 200 x 200 image with two labels, and a user's events for it.
class ToolFixture : public ::testing::Test {
public:
    void SetUp() override {
        window = std::make_unique<QMainWindow>();
        image = addImage(project, 200, 200);
        label = project.createLabel();
        other = project.createLabel();
        project.setCurrentLabel(label);
        view = new pxm::View(window.get());
        window->setCentralWidget(view);
        view->setProject(&project);
        window->resize(500, 460);
        window->show();
        view->setFixedSize(420, 420);
        QApplication::processEvents();
        setZoom(1.0);
    }

    pxm::Scene* scene() const { return project.currentScene(); }
    QUndoStack* stack() const { return project.undoStack(); }
    template <typename T = pxm::Tool> T* tool() const { return static_cast<T*>(view->tool()); }

    /// Identity transform scaled by `factor`, the scene centred.
    void setZoom(double factor) {
        view->resetTransform();
        view->scale(factor, factor);
        view->centerOn(100, 100);
        QApplication::processEvents();
    }

    using Button = Qt::MouseButton;
    using Mods = Qt::KeyboardModifiers;
    QPoint at(const QPointF& scenePoint) const { return view->mapFromScene(scenePoint); }
    void mouseAt(QEvent::Type type, const QPoint& p, Button button, Qt::MouseButtons buttons, Mods m = {}) {
        QMouseEvent event(type, p, view->viewport()->mapToGlobal(p), button, buttons, m);
        QApplication::sendEvent(view->viewport(), &event);
    }
    void press(const QPointF& p, Button b = Qt::LeftButton, Mods m = {}) {
        mouseAt(QEvent::MouseButtonPress, at(p), b, b, m);
    }
    void move(const QPointF& p, Qt::MouseButtons held = {}, Mods m = {}) {
        mouseAt(QEvent::MouseMove, at(p), Qt::NoButton, held, m);
    }
    void release(const QPointF& p, Button b = Qt::LeftButton, Mods m = {}) {
        mouseAt(QEvent::MouseButtonRelease, at(p), b, {}, m);
    }
    void doubleClick(const QPointF& p) {
        mouseAt(QEvent::MouseButtonDblClick, at(p), Qt::LeftButton, Qt::LeftButton);
    }
    /// Press, moves in steps with the button held, release.
    void drag(const QPointF& from, const QPointF& to, Button b = Qt::LeftButton, int steps = 4, Mods m = {}) {
        press(from, b, m);
        for (int i = 1; i <= steps; ++i)
            move(from + (to - from) * (double(i) / steps), b, m);
        release(to, b, m);
    }
    void click(const QPointF& p, Button b = Qt::LeftButton, Mods m = {}) {
        press(p, b, m);
        release(p, b, m);
    }
    void key(QEvent::Type type, int k, Mods m = {}) {
        QKeyEvent event(type, k, m);
        QApplication::sendEvent(view, &event);
    }
    /// A key pressed and released, as the tools act on the release.
    void typeKey(int k, Mods m = {}) {
        key(QEvent::KeyPress, k, m);
        key(QEvent::KeyRelease, k, m);
    }

    /// A label item added straight to the scene.
    template <typename T = QGraphicsRectItem, typename... A> T* addShape(const pxm::Label* l, A... geometry) {
        auto* item = new T(geometry...);
        scene()->addLabelItem(item, l);
        return item;
    }
    QGraphicsRectItem* addRect(const QRectF& r, const pxm::Label* l) { return addShape(l, r); }

    /// The label items of the scene, each as "type id geometry pos transform", and the mask values it shows
    /// unless all are 0, sorted.
    QStringList snapshot() const {
        QStringList result;
        if (const pxm::MaskItem* mask = scene() ? scene()->maskItem() : nullptr) {
            QByteArray shown;
            for (int i = 0; i < 200 * 200; ++i) // the fixture's image
                shown += char(mask->value(QPoint(i % 200, i / 200)));
            if (shown.count('\0') < shown.size())
                result << "mask " + digest(shown);
        }
        for (const QGraphicsItem* item : scene() ? scene()->items() : QList<QGraphicsItem*>()) {
            if (!pxm::isLabelItem(item))
                continue;
            const QTransform t = item->transform();
            result << QString("%1 id=%2 pos=%3 t=%4")
                          .arg(geometryOf(item), QString::number(pxm::labelIdOf(item)),
                               numbers({item->pos().x(), item->pos().y()}),
                               numbers({t.m11(), t.m12(), t.m21(), t.m22(), t.dx(), t.dy()}));
        }
        result.sort();
        return result;
    }

    /// The label items as snapshot() lists them, and the number of undo steps.
    std::pair<QStringList, int> made() const { return {snapshot(), stack()->count()}; }
    using Made = std::pair<QStringList, int>;

    /// Checks that the stack's top command undoes to `before` and redoes to `after`, twice.
    void expectUndoRedo(const QStringList& before, const QStringList& after) {
        const int index = stack()->index();
        ASSERT_GT(index, 0);
        for (int round = 0; round < 2; ++round) {
            stack()->undo();
            EXPECT_EQ(snapshot(), before) << "after undo, round " << round;
            stack()->redo();
            EXPECT_EQ(snapshot(), after) << "after redo, round " << round;
        }
        EXPECT_EQ(stack()->index(), index);
    }
    /// Runs `action`, which must push one undo step named `name`, and checks that step as expectUndoRedo
    /// does.
    void expectStep(const QString& name, const std::function<void()>& action) {
        const QStringList before = snapshot();
        const int index = stack()->index();
        action();
        ASSERT_EQ(std::pair(stack()->index(), stack()->text(index)), std::pair(index + 1, name));
        expectUndoRedo(before, snapshot());
    }

    pxm::Project project;
    pxm::LabeledImage* image = nullptr;
    pxm::Label* label = nullptr;
    pxm::Label* other = nullptr;
    std::unique_ptr<QMainWindow> window;
    pxm::View* view = nullptr;
};

} // namespace pxmtest
