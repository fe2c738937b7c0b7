// SPDX-License-Identifier: MIT
#include "tools/ToolFactory.h"

#include "tools/EllipseTool.h"
#include "tools/LineTool.h"
#include "tools/Polygon.h"
#include "tools/RectTool.h"
#include "tools/Ruler.h"
#include "tools/Transformation.h"
#include "tools/View.h"

#include <functional>
#include <map>

namespace pxm {

namespace {

using Maker = std::function<Tool*(View*)>;

template <typename T> Maker maker() {
    return [](View* view) -> Tool* { return new T(view); };
}

const std::map<int, Maker>& makers() {
    static const std::map<int, Maker> table = {
        {ToolType::Ellipse, maker<EllipseTool>()},
        {ToolType::Line, maker<LineTool>()},
        {ToolType::Polygon, maker<Polygon>()},
        {ToolType::Rectangle, maker<RectTool>()},
        {ToolType::Ruler, maker<Ruler>()},
        {ToolType::Transformation, maker<Transformation>()},
    };
    return table;
}

} // namespace

Tool* createTool(View* view, ToolType type) {
    const auto it = makers().find(int(type));
    return it == makers().end() ? nullptr : it->second(view);
}

} // namespace pxm
