// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ToolType.h"

#include <functional>

namespace pxm {

class Tool;
class View;

/// Makes a top-level tool working in a view.
using ToolMaker = std::function<Tool*(View*)>;

/// A new top-level tool of the given type working in `view`, or null for a type that names
/// no tool of the View.
Tool* createTool(View* view, ToolType type);

/// Registers the maker of a further tool (a type without a built-in tool, such as the
/// reserved one); a null maker removes it again. Built-in types cannot be replaced.
bool registerToolMaker(ToolType type, ToolMaker maker);

} // namespace pxm
