// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Tool.h"

#include <QPointer>
#include <QUndoStack>

class QSpinBox;

namespace pxm {

class Brush;
class GraticuleItem;

/// Erases with a square brush: painted regions lose the brush squares, every other shape
/// the brush touches goes whole, and mask pixels under it are hidden. A stroke, from the
/// left press to the release, is one undo step named "erase".
class EraseTool : public Tool {
    Q_OBJECT
public:
    explicit EraseTool(View* view);
    ~EraseTool() override;

    int brushWidth() const;
    QSpinBox* widthSpinBox() const;
    GraticuleItem* brushCursor() const;
    /// True between a left press and the next release.
    bool erasing() const { return m_erasing; }

    QToolBar* settingsToolBar() override;
    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

public slots:
    void on_widthSpinBox_valueChanged(int value);

private:
    void eraseAt(const QPointF& scenePos);
    void endStroke();

    Brush* m_brush;
    bool m_erasing = false;
    // The stack whose macro the stroke opened; the project may change mid-stroke.
    QPointer<QUndoStack> m_macroStack;
};

} // namespace pxm
