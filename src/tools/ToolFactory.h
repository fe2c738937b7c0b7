// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ToolType.h"

namespace pxm {

class Tool;
class View;

/// A new top-level tool of the given type working in `view`, or null for a type that names
/// no tool of the View.
Tool* createTool(View* view, ToolType type);

} // namespace pxm
