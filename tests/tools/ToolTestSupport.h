// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/Tool.h"
#include "tools/View.h"

#include <QApplication>
#include <QGraphicsItem>
#include <QGraphicsRectItem>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMouseEvent>
#include <QStringList>
#include <QUndoStack>
#include <QWheelEvent>
#include <gtest/gtest.h>
#include <memory>

namespace pxmtest {

/// A shown View of fixed size at a fixed zoom over a 200 x 200 image with two labels, and
/// helpers that send the events a user makes to its viewport.
class ToolFixture : public ::testing::Test {
public:
    void SetUp() override {
        window = std::make_unique<QMainWindow>();
        image = new pxm::LabeledImage(&project);
        image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(200, 200, 1)), true);
        project.addImage(image);
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

    void TearDown() override {
        window.reset();
    }

    pxm::Scene* scene() const { return project.currentScene(); }
    QUndoStack* stack() const { return project.undoStack(); }

    /// Identity transform scaled by `factor`, the scene centred.
    void setZoom(double factor) {
        view->resetTransform();
        view->scale(factor, factor);
        view->centerOn(100, 100);
        QApplication::processEvents();
    }

    QPoint at(const QPointF& scenePoint) const { return view->mapFromScene(scenePoint); }

    void mouse(QEvent::Type type, const QPointF& scenePoint, Qt::MouseButton button, Qt::MouseButtons buttons,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        const QPoint p = at(scenePoint);
        QMouseEvent event(type, p, view->viewport()->mapToGlobal(p), button, buttons, modifiers);
        QApplication::sendEvent(view->viewport(), &event);
    }
    void press(const QPointF& p, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = Qt::NoModifier) {
        mouse(QEvent::MouseButtonPress, p, b, b, m);
    }
    void move(const QPointF& p, Qt::MouseButtons held = Qt::NoButton, Qt::KeyboardModifiers m = Qt::NoModifier) {
        mouse(QEvent::MouseMove, p, Qt::NoButton, held, m);
    }
    void release(const QPointF& p, Qt::MouseButton b = Qt::LeftButton, Qt::KeyboardModifiers m = Qt::NoModifier) {
        mouse(QEvent::MouseButtonRelease, p, b, Qt::NoButton, m);
    }
    void doubleClick(const QPointF& p) { mouse(QEvent::MouseButtonDblClick, p, Qt::LeftButton, Qt::LeftButton); }
    /// Press, moves in steps with the button held, release.
    void drag(const QPointF& from, const QPointF& to, Qt::MouseButton b = Qt::LeftButton, int steps = 4,
              Qt::KeyboardModifiers m = Qt::NoModifier) {
        press(from, b, m);
        for (int i = 1; i <= steps; ++i)
            move(from + (to - from) * (double(i) / steps), b, m);
        release(to, b, m);
    }
    void click(const QPointF& p, Qt::MouseButton b = Qt::LeftButton) {
        press(p, b);
        release(p, b);
    }
    void key(QEvent::Type type, int k, Qt::KeyboardModifiers m = Qt::NoModifier) {
        QKeyEvent event(type, k, m);
        QApplication::sendEvent(view, &event);
    }
    /// A key pressed and released, as the tools act on the release.
    void typeKey(int k, Qt::KeyboardModifiers m = Qt::NoModifier) {
        key(QEvent::KeyPress, k, m);
        key(QEvent::KeyRelease, k, m);
    }

    /// A label rectangle added straight to the scene.
    QGraphicsRectItem* addRect(const QRectF& r, const pxm::Label* l) {
        auto* item = new QGraphicsRectItem(r);
        scene()->addLabelItem(item, l);
        return item;
    }

    /// The label items of the scene, each as "type id geometry pos transform", sorted.
    QStringList snapshot() const { return describeItems(scene()); }

    static QStringList describeItems(const pxm::Scene* s);

    pxm::Project project;
    pxm::LabeledImage* image = nullptr;
    pxm::Label* label = nullptr;
    pxm::Label* other = nullptr;
    std::unique_ptr<QMainWindow> window;
    pxm::View* view = nullptr;
};

/// Numbers as snapshot() writes them: three decimals, joined by commas.
QString numbers(std::initializer_list<qreal> values);
/// An untransformed label item at the origin as snapshot() describes it, e.g. "rect 1,2,3,4".
QString plainShape(const QString& geometry, int id);

/// Checks that the stack's top command undoes to `before` and redoes to `after`, twice.
void expectUndoRedo(ToolFixture& f, const QStringList& before, const QStringList& after);

} // namespace pxmtest
