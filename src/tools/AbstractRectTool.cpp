// SPDX-License-Identifier: MIT
#include "tools/AbstractRectTool.h"

#include "model/Project.h"
#include "model/SettingsKeys.h"
#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "tools/Transformation.h"
#include "tools/View.h"

#include <QCheckBox>
#include <QAbstractGraphicsShapeItem>
#include <QKeyEvent>
#include <QLabel>
#include <QCursor>
#include <QMouseEvent>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolBar>
#include <algorithm>
#include <climits>

namespace pxm {

AbstractRectTool::AbstractRectTool(View* view, ToolType type, QString settingsPrefix)
    : Tool(view, type), m_settingsPrefix(std::move(settingsPrefix)) {
    m_transformation = new Transformation(this);
    buildToolBar();
    watchProject();
    // The tool outlives project switches; it follows the one the view shows.
    if (view)
        connect(view, &View::destroyed, this, [this]() { disconnect(m_settingsConnection); });
}

AbstractRectTool::~AbstractRectTool() {
    deleteDrawn();
    if (m_toolBar)
        m_toolBar->deleteLater();
}

void AbstractRectTool::watchProject() {
    disconnect(m_settingsConnection);
    if (Project* p = project())
        m_settingsConnection = connect(p, &Project::settingsChanged, this, &AbstractRectTool::on_project_settingsChanged);
}

QVariant AbstractRectTool::setting(const char* field) const {
    // Where the project has no value the settings table's default holds, as in the
    // settings dialog; the two must never show different values.
    const QString name = key(field);
    QVariant fallback;
    for (const SettingKey& k : settingKeys())
        if (name == QLatin1String(k.projectKey))
            fallback = k.defaultValue;
    Project* p = project();
    return p ? p->setting(name, fallback) : fallback;
}

bool AbstractRectTool::oneClick() const {
    return setting(".oneClick").toBool();
}

int AbstractRectTool::defaultWidth() const {
    return std::max(1, setting(".defaultWidth").toInt());
}

int AbstractRectTool::defaultHeight() const {
    return std::max(1, setting(".defaultHeight").toInt());
}

QAbstractGraphicsShapeItem* AbstractRectTool::drawnItem() const {
    return static_cast<QAbstractGraphicsShapeItem*>(m_drawn.get());
}

void AbstractRectTool::deleteDrawn() {
    QGraphicsItem* item = m_drawn.get();
    m_drawn.reset();
    delete item;
}

AbstractRectTool::State AbstractRectTool::state() const {
    if (m_drawn)
        return State::Drawing;
    return m_transformation->active() ? State::Transforming : State::Idle;
}

void AbstractRectTool::buildToolBar() {
    m_toolBar = new QToolBar(m_settingsPrefix == "EllipseTool" ? tr("Ellipse settings") : tr("Rectangle settings"));
    m_toolBar->setObjectName(m_settingsPrefix + "SettingsToolBar");
    m_oneClick = new QCheckBox(tr("One click"), m_toolBar);
    m_oneClick->setObjectName("oneClickModeCheckBox");
    m_widthLabel = new QLabel(tr("Width"), m_toolBar);
    m_width = new QSpinBox(m_toolBar);
    m_width->setObjectName("widthSpinBox");
    m_heightLabel = new QLabel(tr("Height"), m_toolBar);
    m_height = new QSpinBox(m_toolBar);
    m_height->setObjectName("heightSpinBox");
    for (QSpinBox* box : {m_width, m_height}) {
        box->setFixedWidth(64);
        box->setRange(1, INT_MAX);
    }
    m_widthLabel->setBuddy(m_width);
    m_heightLabel->setBuddy(m_height);
    m_width->setValue(defaultWidth());
    m_height->setValue(defaultHeight());
    const bool on = oneClick();
    m_oneClick->setChecked(on);
    for (QWidget* w : {static_cast<QWidget*>(m_widthLabel), static_cast<QWidget*>(m_width),
                       static_cast<QWidget*>(m_heightLabel), static_cast<QWidget*>(m_height)})
        w->setEnabled(on);
    m_toolBar->addWidget(m_oneClick);
    m_toolBar->addWidget(m_widthLabel);
    m_toolBar->addWidget(m_width);
    m_toolBar->addWidget(m_heightLabel);
    m_toolBar->addWidget(m_height);
    connect(m_width, qOverload<int>(&QSpinBox::valueChanged), this, &AbstractRectTool::on_widthSpinBox_valueChanged);
    connect(m_height, qOverload<int>(&QSpinBox::valueChanged), this, &AbstractRectTool::on_heightSpinBox_valueChanged);
    connect(m_oneClick, &QCheckBox::toggled, this, &AbstractRectTool::on_oneClickModeCheckBox_toggled);
}

QToolBar* AbstractRectTool::settingsToolBar() {
    return m_toolBar;
}

void AbstractRectTool::writeSetting(const char* field, const QVariant& value) {
    Project* p = project();
    if (p && p->setting(key(field)) != value)
        p->setSetting(key(field), value);
}

void AbstractRectTool::on_widthSpinBox_valueChanged(int value) {
    writeSetting(".defaultWidth", std::max(1, value));
}

void AbstractRectTool::on_heightSpinBox_valueChanged(int value) {
    writeSetting(".defaultHeight", std::max(1, value));
}

void AbstractRectTool::on_oneClickModeCheckBox_toggled(bool checked) {
    writeSetting(".oneClick", checked);
}

void AbstractRectTool::on_project_settingsChanged(const QString& changed) {
    if (changed == key(".defaultWidth")) {
        const QSignalBlocker block(m_width);
        m_width->setValue(defaultWidth());
    } else if (changed == key(".defaultHeight")) {
        const QSignalBlocker block(m_height);
        m_height->setValue(defaultHeight());
    } else if (changed == key(".oneClick")) {
        const bool on = oneClick();
        const QSignalBlocker block(m_oneClick);
        m_oneClick->setChecked(on);
        m_widthLabel->setEnabled(on);
        m_width->setEnabled(on);
        m_heightLabel->setEnabled(on);
        m_height->setEnabled(on);
    }
}

void AbstractRectTool::setHovered(QGraphicsItem* item) {
    if (QGraphicsItem* old = m_hovered.get())
        old->setCursor(Qt::ArrowCursor);
    m_hovered.reset(item);
    if (item)
        item->setCursor(Qt::PointingHandCursor);
}

void AbstractRectTool::abort() {
    setHovered(nullptr);
    deleteDrawn();
    if (m_transformation->active())
        m_transformation->detach();
}

void AbstractRectTool::setScene(Scene* scene) {
    abort();
    // A scene change may come with another project.
    watchProject();
    Tool::setScene(scene);
}

void AbstractRectTool::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        abort();
    Tool::keyReleaseEvent(event);
}

void AbstractRectTool::mousePressEvent(QMouseEvent* event) {
    Scene* s = scene();
    Label* label = currentLabel();
    if (s && label && !isOwnItem(itemAt(event)) && !m_drawn) {
        const QPointF p = scenePos(event);
        QAbstractGraphicsShapeItem* item = createItem();
        if (oneClick()) {
            QRectF r(0, 0, defaultWidth(), defaultHeight());
            r.moveCenter(p);
            setItemRect(item, r.normalized());
            s->addLabelItem(item, label);
            push(new commands::AddItemToScene(s, item));
        } else {
            setItemRect(item, QRectF(p, p));
            s->addLabelItem(item, label);
            setUnfinished(item, true);
            m_drawn.reset(item);
        }
    }
    Tool::mousePressEvent(event);
}

void AbstractRectTool::mouseMoveEvent(QMouseEvent* event) {
    setHovered(nullptr);
    if (scene()) {
        QGraphicsItem* under = itemAt(event);
        if (!activeChild() && isOwnItem(under))
            setHovered(under);
        if (m_transformation->isTransforming())
            deleteDrawn();
        else if (QAbstractGraphicsShapeItem* drawn = drawnItem())
            setItemRect(drawn, QRectF(itemRect(drawn).topLeft(), scenePos(event)));
    }
    Tool::mouseMoveEvent(event);
}

void AbstractRectTool::mouseReleaseEvent(QMouseEvent* event) {
    Scene* s = scene();
    QGraphicsItem* item = s ? itemAt(event) : nullptr;
    bool own = isOwnItem(item);
    if (QAbstractGraphicsShapeItem* drawn = s ? drawnItem() : nullptr) {
        m_drawn.reset();
        setItemRect(drawn, QRectF(itemRect(drawn).topLeft(), scenePos(event)).normalized());
        setUnfinished(drawn, false);
        push(new commands::AddItemToScene(s, drawn));
        item = drawn;
        own = true;
    }
    if (!activeChild() && own && item)
        m_transformation->attach(item);
    Tool::mouseReleaseEvent(event);
}

} // namespace pxm
