// SPDX-License-Identifier: MIT
#pragma once

#include "tools/smart/SmartResult.h"

#include <QList>

class QGraphicsItem;
class QUndoCommand;

namespace pxm {

class Label;
class Project;
class Scene;

/// Turns label items of one layer into one another: each conversion is one undo command
/// (null when there is nothing to convert), applied by pushing it.
namespace conversions {

/// The items a conversion works on: the selected label items of the scene, or else every item
/// of the current label.
QList<QGraphicsItem*> targets(const Scene& scene, const Label* current);

/// Merges the shapes of each label among `items` into one painted region of that label
/// (lines are left alone).
QUndoCommand* shapesToRegion(Scene* scene, const Project& project, const QList<QGraphicsItem*>& items);

/// Traces each painted region among `items` into polygons of its label (a part with holes
/// stays a painted region).
QUndoCommand* regionToPolygons(Scene* scene, const Project& project, const QList<QGraphicsItem*>& items,
                               double simplify);

/// Turns the layer's loaded mask values into items of the labels whose mask ids they hold:
/// painted regions, or polygons with `shape.polygon`. The mask itself stays as it is.
QUndoCommand* maskToShapes(Scene* scene, const Project& project, const SmartResult::Shape& shape);

/// Copies `items` (label items of `from`) into the scene `to` (another layer of the same image)
/// with their geometry, placement and labels, as "Copy to next layer" or "Copy to previous
/// layer" (`text`). Null when there is nothing to copy or no such layer.
QUndoCommand* copyToLayer(Scene* from, Scene* to, const Project& project, const QList<QGraphicsItem*>& items,
                          const QString& text);

} // namespace conversions

} // namespace pxm
