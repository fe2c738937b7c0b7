// SPDX-License-Identifier: MIT
#include "tools/ToolFactory.h"

#include "tools/EllipseTool.h"
#include "tools/EraseTool.h"
#include "tools/FastReassignTool.h"
#include "tools/FreehandTool.h"
#include "tools/LineTool.h"
#include "tools/Polygon.h"
#include "tools/RectTool.h"
#include "tools/Ruler.h"
#include "tools/Transformation.h"
#include "tools/View.h"
#include "tools/smart/BoxTool.h"
#include "tools/smart/ScissorsTool.h"
#include "tools/smart/SeedsTool.h"
#include "tools/smart/WandTool.h"

#include <functional>
#include <map>

namespace pxm {

namespace {

using Maker = ToolMaker;

template <typename T> Maker maker() {
    return [](View* view) -> Tool* { return new T(view); };
}

const std::map<int, Maker>& makers() {
    static const std::map<int, Maker> table = {
        {ToolType::Ellipse, maker<EllipseTool>()},
        {ToolType::Eraser, maker<EraseTool>()},
        {ToolType::Freehand, maker<FreehandTool>()},
        {ToolType::Reassign, maker<FastReassignTool>()},
        {ToolType::Line, maker<LineTool>()},
        {ToolType::Polygon, maker<Polygon>()},
        {ToolType::Rectangle, maker<RectTool>()},
        {ToolType::Ruler, maker<Ruler>()},
        {ToolType::Transformation, maker<Transformation>()},
        {ToolType::Wand, maker<WandTool>()},
        {ToolType::Scissors, maker<ScissorsTool>()},
        {ToolType::Seeds, maker<SeedsTool>()},
        {ToolType::Box, maker<BoxTool>()},
    };
    return table;
}

std::map<int, Maker>& extraMakers() {
    static std::map<int, Maker> table;
    return table;
}

} // namespace

Tool* createTool(View* view, ToolType type) {
    if (const auto it = makers().find(int(type)); it != makers().end())
        return it->second(view);
    if (const auto it = extraMakers().find(int(type)); it != extraMakers().end())
        return it->second(view);
    return nullptr;
}

bool registerToolMaker(ToolType type, ToolMaker maker) {
    if (makers().count(int(type)) || type == ToolType::None)
        return false;
    if (maker)
        extraMakers()[int(type)] = std::move(maker);
    else
        extraMakers().erase(int(type));
    return true;
}

} // namespace pxm
