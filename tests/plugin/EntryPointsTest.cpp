// SPDX-License-Identifier: MIT
#include "platform/CPNode.h"
#include "platform/CValueVector.h"
#include "support/TestSupport.h"

#include <QFile>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>

namespace {

using ListFunction = KYVO::CValueVector* (*)();
using CreateFunction = KYVO::CPNode* (*)(const char*);

template <class To> To entryPoint(void* library, const char* name) {
    void* address = dlsym(library, name);
    To function = nullptr;
    if (address)
        std::memcpy(&function, &address, sizeof function);
    return function;
}

} // namespace

TEST(EntryPoints, BuiltLibraryOffersBothByTheirCNames) {
    // A private copy: the file stays mapped, and a rebuild rewriting it would pull the pages from under it.
    const pxmtest::TempDir dir;
    const QString copy = dir.path("libpixmarker_core.so");
    ASSERT_TRUE(QFile::copy(PXM_CORE_LIBRARY, copy));
    void* library = dlopen(copy.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    // dlsym finds them only under their plain, unmangled names.
    const auto list = entryPoint<ListFunction>(library, "ListPlugins");
    const auto create = entryPoint<CreateFunction>(library, "CreatePluginInstanceEx");
    ASSERT_TRUE(list && create);

    const std::unique_ptr<KYVO::CValueVector> names(list());
    ASSERT_TRUE(names && names->size() == 1u);
    const auto* name = dynamic_cast<const KYVO::CValueString*>(names->at(0));
    EXPECT_TRUE(name && name->Get() == "Pixmarker");
    // Each call hands out a vector of its own.
    const std::unique_ptr<KYVO::CValueVector> again(list());
    EXPECT_NE(again.get(), names.get());

    // Names the framework might pass; only the exact one creates a node.
    for (const char* name : {"pixmarker", "PIXMARKER", "Pixmarkers", "Pixmarker ", "Pixmarke", "",
                             static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(name ? name : "(null)");
        EXPECT_FALSE(std::unique_ptr<KYVO::CPNode>(create(name)));
    }
    const std::unique_ptr<KYVO::CPNode> node(create("Pixmarker"));
    ASSERT_NE(node, nullptr);
    KYVO::CValueMap description;
    node->Describe(&description);
    EXPECT_EQ(description.GetString("name"), "Lumarka") << "the node is the annotation node";
    // The library stays loaded: Qt keeps pointers into it (meta-objects, resources).
}
