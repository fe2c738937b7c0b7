// SPDX-License-Identifier: MIT
#include "platform/CPNode.h"
#include "platform/CValueVector.h"
#include "plugin/PluginEntry.h"

#include <gtest/gtest.h>
#include <memory>

// The host's test loads the built library as a framework would: its describe run finds both entry points
// by their plain C names, lists "Pixmarker" alone and describes the node made under that name. What else
// they promise is checked here.
TEST(EntryPoints, EachListIsTheCallersOwnAndOnlyTheExactNameCreatesANode) {
    const std::unique_ptr<KYVO::CValueVector> names(ListPlugins()), again(ListPlugins());
    EXPECT_TRUE(names && again && names.get() != again.get()) << "each call hands out a vector of its own";
    // Names the framework might pass that are not exactly the one the host's test creates its node by.
    for (const char* name : {"pixmarker", "PIXMARKER", "Pixmarkers", "Pixmarker ", "Pixmarke", "",
                             static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(name ? name : "(null)");
        EXPECT_FALSE(std::unique_ptr<KYVO::CPNode>(CreatePluginInstanceEx(name)));
    }
}
