// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"

#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QToolBar>

class QKeyEvent;
class QSpinBox;

namespace pxm {

class GraticuleItem;
class Tool;

/// The square brush of the pixel tools: its width setting in the project (read as an int
/// of at least 1), the settings tool bar with the width spin box, the plus and minus keys,
/// and the brush cursor item kept centred on the pointer.
class Brush : public QObject {
    Q_OBJECT
public:
    /// A brush of `tool`, its width stored under `settingsKey`.
    Brush(Tool* tool, QString settingsKey, const QString& toolBarTitle);
    ~Brush() override;

    QString settingsKey() const { return m_key; }
    /// The width setting, at least 1 (1 without a project or value).
    int width() const;
    /// Stores the width, raised to at least 1, when it differs from the stored one.
    void setWidth(int width);

    QToolBar* toolBar() const { return m_toolBar; }
    QSpinBox* spinBox() const { return m_spinBox; }
    /// The brush cursor, or null before the first move or after Escape.
    GraticuleItem* cursor() const;

    /// The brush square centred on a scene point.
    QRectF square(const QPointF& centre) const;
    /// Centres the cursor on a scene point, adding it to the tool's scene first; nothing
    /// without a scene.
    void placeCursor(const QPointF& scenePos);
    void deleteCursor();
    /// Acts on plus and minus; true when the key was one of them.
    bool keyRelease(QKeyEvent* event);
    /// Follows the settings of the project the tool works in now.
    void watchProject();

public slots:
    void on_widthSpinBox_valueChanged(int value);

private slots:
    void on_project_settingsChanged(const QString& key);

private:
    Tool* m_tool;
    QString m_key;
    QPointer<QToolBar> m_toolBar;
    QSpinBox* m_spinBox = nullptr;
    // Watched: a scene that dies takes the cursor along.
    ItemWatch m_cursor;
    QMetaObject::Connection m_settingsConnection;
};

} // namespace pxm
