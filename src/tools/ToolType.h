// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <cstdint>

namespace pxm {

// The enumerators live in a namespace of their own so that names such as Polygon and Ruler
// stay free for the tool classes; write them as ToolType::Polygon.
namespace tooltypes {
/// Identifies a tool. The numbers are stable: actions and settings carry them raw, and the
/// gaps (1, 2, 12, 13) name no tool.
enum ToolType : int32_t {
    None = 0,
    Ellipse = 3,
    Eraser = 4,
    Freehand = 5,
    NewLine = 6,
    EditLine = 7,
    Line = 8,
    NewPolygon = 9,
    EditPolygon = 10,
    Polygon = 11,
    Rectangle = 14,
    Reassign = 15,
    Ruler = 16,
    Transformation = 17,
    Reserved = 18,
    Wand = 19,
    Scissors = 20,
    Seeds = 21,
    Box = 22,
};
} // namespace tooltypes
using tooltypes::ToolType;

} // namespace pxm

Q_DECLARE_METATYPE(pxm::ToolType)
