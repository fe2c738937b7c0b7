// SPDX-License-Identifier: MIT
#pragma once

namespace KYVO {
class CPNode;
class CValueVector;
} // namespace KYVO

// The entry points a pipeline framework looks up by name after loading the library, hence
// plain C names. Both hand the caller a new object it must delete.
extern "C" {

/// The names of the nodes this library offers: a vector holding the one string "Pixmarker".
KYVO::CValueVector* ListPlugins();

/// A new node (a pxm::PPixmarker) when `name` is exactly "Pixmarker"; null for any other
/// name, including null.
KYVO::CPNode* CreatePluginInstanceEx(const char* name);

} // extern "C"
