// SPDX-License-Identifier: MIT
#include "tools/ToolFactory.h"

#include "tools/View.h"

#include <functional>
#include <map>

namespace pxm {

namespace {

using Maker = std::function<Tool*(View*)>;

const std::map<int, Maker>& makers() {
    static const std::map<int, Maker> table = {
    };
    return table;
}

} // namespace

Tool* createTool(View* view, ToolType type) {
    const auto it = makers().find(int(type));
    return it == makers().end() ? nullptr : it->second(view);
}

} // namespace pxm
