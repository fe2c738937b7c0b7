// SPDX-License-Identifier: MIT
#include "tools/Brush.h"

#include "model/Project.h"
#include "scene/GraticuleItem.h"
#include "scene/Scene.h"
#include "tools/Tool.h"

#include <QKeyEvent>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolBar>
#include <algorithm>

namespace pxm {

namespace {
/// Above every shape, so the brush shows over what it paints.
constexpr qreal CursorZValue = 1.0e6;
} // namespace

Brush::Brush(Tool* tool, QString settingsKey, const QString& toolBarTitle)
    : QObject(tool), m_tool(tool), m_key(std::move(settingsKey)) {
    m_toolBar = new QToolBar(toolBarTitle);
    m_toolBar->setObjectName(m_key.section('.', 0, 0) + "SettingsToolBar");
    auto* label = new QLabel(tr("Brush Width"), m_toolBar);
    m_spinBox = new QSpinBox(m_toolBar);
    m_spinBox->setObjectName("widthSpinBox");
    m_spinBox->setMinimum(1);
    m_spinBox->setMinimumWidth(64);
    m_spinBox->setValue(width());
    label->setBuddy(m_spinBox);
    m_toolBar->addWidget(label);
    m_toolBar->addWidget(m_spinBox);
    connect(m_spinBox, qOverload<int>(&QSpinBox::valueChanged), this, &Brush::on_widthSpinBox_valueChanged);
    watchProject();
}

Brush::~Brush() {
    deleteCursor();
    if (m_toolBar)
        m_toolBar->deleteLater();
}

void Brush::watchProject() {
    disconnect(m_settingsConnection);
    if (Project* p = m_tool->project()) {
        m_settingsConnection =
            connect(p, &Project::settingsChanged, this, &Brush::on_project_settingsChanged);
        const QSignalBlocker block(m_spinBox);
        m_spinBox->setValue(width());
    }
}

int Brush::width() const {
    const Project* p = m_tool->project();
    return std::max(1, p ? p->setting(m_key).toInt() : 1);
}

void Brush::setWidth(int width) {
    Project* p = m_tool->project();
    const QVariant value(std::max(1, width));
    if (p && p->setting(m_key) != value)
        p->setSetting(m_key, value);
}

GraticuleItem* Brush::cursor() const {
    return static_cast<GraticuleItem*>(m_cursor.get());
}

QRectF Brush::square(const QPointF& centre) const {
    const qreal side = width();
    QRectF r(0, 0, side, side);
    r.moveCenter(centre);
    return r;
}

void Brush::placeCursor(const QPointF& scenePos) {
    Scene* s = m_tool->scene();
    if (!s)
        return;
    GraticuleItem* c = cursor();
    if (c && c->scene() != s) {
        deleteCursor();
        c = nullptr;
    }
    if (!c) {
        c = new GraticuleItem;
        c->setZValue(CursorZValue);
        c->setAcceptedMouseButtons(Qt::NoButton);
        s->addItem(c);
        m_cursor.reset(c);
    }
    c->setRect(square(scenePos));
}

void Brush::deleteCursor() {
    QGraphicsItem* c = m_cursor.get();
    m_cursor.reset();
    delete c;
}

bool Brush::keyRelease(QKeyEvent* event) {
    if (event->key() == Qt::Key_Plus) {
        setWidth(width() + 1);
        return true;
    }
    if (event->key() == Qt::Key_Minus) {
        setWidth(width() - 1);
        return true;
    }
    return false;
}

void Brush::on_widthSpinBox_valueChanged(int value) {
    setWidth(value);
}

void Brush::on_project_settingsChanged(const QString& key) {
    if (key != m_key)
        return;
    {
        // The box stops at its maximum while the setting may go beyond it.
        const QSignalBlocker block(m_spinBox);
        m_spinBox->setValue(width());
    }
    if (GraticuleItem* c = cursor())
        c->setRect(square(c->rect().center()));
}

} // namespace pxm
