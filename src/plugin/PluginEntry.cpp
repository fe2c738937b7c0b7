// SPDX-License-Identifier: MIT
#include "plugin/PluginEntry.h"

#include "platform/CValueVector.h"
#include "plugin/PPixmarker.h"

#include <cstring>

namespace {
const char* const kNodeName = "Pixmarker";
}

extern "C" KYVO::CValueVector* ListPlugins() {
    auto* names = new KYVO::CValueVector;
    names->Append(new KYVO::CValueString(kNodeName));
    return names;
}

extern "C" KYVO::CPNode* CreatePluginInstanceEx(const char* name) {
    if (!name || std::strcmp(name, kNodeName) != 0)
        return nullptr;
    return new pxm::PPixmarker;
}
