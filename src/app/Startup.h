// SPDX-License-Identifier: MIT
#pragma once

namespace pxm {

/// The standalone program: starts the platform, opens the windows the command line
/// asks for, runs the event loop and returns the process's exit code.
int runStandalone(int argc, char** argv);

} // namespace pxm
