// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

class QComboBox;
class QGraphicsPathItem;
class QSpinBox;

namespace pxm {

class Brush;
class FreehandRegion;
class GraticuleItem;

/// Paints regions pixelwise: every left-button stroke stamps the brush (square or round)
/// all along the pointer's way, clipped to the scene and aligned to pixels, into one path
/// item of the current label, pushed as one undo step on the release. Escape drops the
/// stroke.
class FreehandTool : public Tool {
    Q_OBJECT
public:
    explicit FreehandTool(View* view);
    ~FreehandTool() override;

    int brushWidth() const;
    QSpinBox* widthSpinBox() const;
    QComboBox* shapeComboBox() const;
    GraticuleItem* brushCursor() const;
    /// The region of the stroke under way, or null.
    QGraphicsPathItem* region() const;

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
    /// Stamps the stroke from one scene point to another into the region under way.
    void stamp(const QPointF& from, const QPointF& to);
    void deleteRegion();

    Brush* m_brush;
    // The region being painted, owned by the tool until the release. Watched, because a
    // scene that dies mid-stroke takes it along.
    ItemWatch m_region;
    QPointF m_last; // where the pointer was at the last stamp
};

} // namespace pxm
