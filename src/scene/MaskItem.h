// SPDX-License-Identifier: MIT
#pragma once

#include "scene/MaskFlood.h"

#include <QGraphicsItem>
#include <QPoint>
#include <cstdint>
#include <vector>

namespace pxm {

class LabeledImage;
class Project;

/// Shows one layer of a labeled image's loaded mask: each voxel of the effective mask in
/// its label's colour at the label's primary opacity, values no label uses grey-hatched at
/// half opacity, nothing for 0 or erased voxels. It reads the mask and erase overlay at
/// paint time and keeps no pixel copy. It also erases, un-erases and flood-fills the mask.
class MaskItem : public QGraphicsItem {
public:
    MaskItem(LabeledImage* image, uint32_t zLayer, QGraphicsItem* parent = nullptr);

    QRectF boundingRect() const override;
    /// Paints the exposed part in one image per paint (hatched values through a clip),
    /// not one rectangle per voxel.
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    /// The mask value at a point of this layer, 0 where erased or outside the image.
    uint8_t value(const QPoint& point) const;
    /// Adds one to the erase overlay over the rectangle in this layer.
    void erase(const QRectF& rect);
    /// Subtracts one over the rectangle: the exact inverse of erase.
    void unerase(const QRectF& rect);
    /// Reassigns the 8-connected region of the start's value in this layer to a new value,
    /// bounded by erased pixels; appends the pixels it changed to `filled` when given.
    void flood(const QPoint& start, uint8_t newValue, std::vector<maskflood::Run>* filled = nullptr);
    /// Writes a value into the runs of this layer: redoes or undoes a flood exactly.
    void fill(const std::vector<maskflood::Run>& runs, uint8_t value);

    LabeledImage* image() const { return m_image; }
    uint32_t zLayer() const { return m_zLayer; }

private:
    /// Clamps a rectangle to whole pixels: [x0, x1) × [y0, y1).
    bool pixelRange(const QRectF& rect, int* x0, int* y0, int* x1, int* y1) const;
    void changeOverlay(const QRectF& rect, int delta);

    Project* m_project = nullptr;
    LabeledImage* m_image = nullptr;
    uint32_t m_zLayer = 0;
};

} // namespace pxm
