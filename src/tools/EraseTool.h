// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Tool.h"

#include <QPointer>
#include <QRegion>
#include <QUndoStack>

class QComboBox;
class QSpinBox;

namespace pxm {

class Brush;
class GraticuleItem;

/// Erases with the brush, square or round, all along the pointer's way: painted regions
/// lose the area the brush sweeps, every other shape it touches goes whole, and mask
/// pixels under it are hidden. A stroke, from the left press to the release, is one undo
/// step named "erase", made of one command for the press and one per move.
class EraseTool : public Tool {
    Q_OBJECT
public:
    explicit EraseTool(View* view);
    ~EraseTool() override;

    int brushWidth() const;
    QSpinBox* widthSpinBox() const;
    QComboBox* shapeComboBox() const;
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
    /// Erases the brush's way between two scene points; a square brush's press keeps to
    /// the brush rectangle alone.
    void eraseAlong(const QPointF& from, const QPointF& to, bool pressed);
    void endStroke();

    Brush* m_brush;
    bool m_erasing = false;
    // The stack whose macro the stroke opened; the project may change mid-stroke.
    QPointer<QUndoStack> m_macroStack;
    QPointF m_last;   // where the pointer was at the last erase of the stroke
    QRegion m_erased; // the mask pixels the stroke has erased
};

} // namespace pxm
