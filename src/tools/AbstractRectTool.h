// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <QPointer>
#include <QRectF>

class QAbstractGraphicsShapeItem;
class QCheckBox;
class QLabel;
class QSpinBox;

namespace pxm {

class Transformation;

/// Draws axis-parallel shapes of one kind in the current label's style: dragged from corner
/// to corner, or placed at a default size centred on a click in one-click mode. A finished
/// or clicked shape goes to the transformation sub-tool, so it can be adjusted at once.
/// Subclasses only say which item kind they make.
class AbstractRectTool : public Tool {
    Q_OBJECT
public:
    enum class State { Idle, Drawing, Transforming };

    AbstractRectTool(View* view, ToolType type, QString settingsPrefix);
    ~AbstractRectTool() override;

    QString settingsPrefix() const { return m_settingsPrefix; }
    bool oneClick() const;
    int defaultWidth() const;
    int defaultHeight() const;
    State state() const;
    Transformation* transformation() const { return m_transformation; }
    /// The shape being dragged out, or null.
    QAbstractGraphicsShapeItem* drawnItem() const;

    QToolBar* settingsToolBar() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

    /// A new shape of this tool's kind, without parent.
    virtual QAbstractGraphicsShapeItem* createItem() = 0;
    /// Sets the rectangle of a shape of this tool's kind (others are left alone).
    virtual void setItemRect(QAbstractGraphicsShapeItem* item, const QRectF& rect) = 0;
    /// The rectangle of a shape of this tool's kind (empty for others).
    virtual QRectF itemRect(QAbstractGraphicsShapeItem* item) = 0;
    /// True for a non-null item of this tool's kind.
    virtual bool isOwnItem(QGraphicsItem* item) = 0;

public slots:
    void on_widthSpinBox_valueChanged(int value);
    void on_heightSpinBox_valueChanged(int value);
    void on_oneClickModeCheckBox_toggled(bool checked);

private slots:
    void on_project_settingsChanged(const QString& key);

private:
    QString key(const char* field) const { return m_settingsPrefix + field; }
    /// The project's value of the field, or its default.
    QVariant setting(const char* field) const;
    void writeSetting(const char* field, const QVariant& value);
    void buildToolBar();
    void watchProject();
    void abort();
    void setHovered(QGraphicsItem* item);
    void deleteDrawn();

    QString m_settingsPrefix;
    QPointer<QToolBar> m_toolBar;
    QCheckBox* m_oneClick = nullptr;
    QLabel* m_widthLabel = nullptr;
    QSpinBox* m_width = nullptr;
    QLabel* m_heightLabel = nullptr;
    QSpinBox* m_height = nullptr;
    ItemWatch m_hovered;
    // The shape being dragged out, owned by the tool until the release. Watched, because a
    // scene that dies mid-drag takes it along.
    ItemWatch m_drawn;
    Transformation* m_transformation = nullptr;
    QMetaObject::Connection m_settingsConnection;
};

} // namespace pxm
