// SPDX-License-Identifier: MIT
#pragma once

/// Starts the platform library. The argument is the number of worker threads it may
/// use; -1 lets it choose. Calls nest: every VanduInit is matched by one VanduExit.
void VanduInit(int threads);
/// Shuts the platform library down again.
void VanduExit();

namespace KYVO {
/// True between the first VanduInit and its matching VanduExit.
bool VanduIsInitialised();
/// The thread count chosen by VanduInit (at least 1).
int VanduThreadCount();
} // namespace KYVO
