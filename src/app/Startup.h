// SPDX-License-Identifier: MIT
#pragma once

namespace pxm {

/// The standalone program: starts the platform, opens the windows the command line asks
/// for, runs the event loop and returns the process's exit code. An exception escaping the
/// start or the tear-down ends it with one "ERROR: " line on standard error and exit code 1
/// (platform exception), 2 (other standard exception) or 3 (anything else).
int runStandalone(int argc, char** argv);

} // namespace pxm
