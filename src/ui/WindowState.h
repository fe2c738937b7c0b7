// SPDX-License-Identifier: MIT
#pragma once

class QMainWindow;

namespace pxm {

/// Where the user last left a main window: its geometry and the arrangement of its tool bars
/// and docks, kept in the per-user registry as base64 text under "main/Window/Geometry" and
/// "main/Window/State". Every tool bar and dock needs an object name to be restored.
class WindowState {
public:
    static const char* const geometryKey;
    static const char* const stateKey;

    /// Stores `window`'s geometry and arrangement (the last window closed wins).
    static void save(const QMainWindow& window);
    /// Puts `window` where save() left the last one; without a stored geometry (a first start)
    /// the window covers 80% of the available screen, centred.
    static void restore(QMainWindow& window);
};

} // namespace pxm
