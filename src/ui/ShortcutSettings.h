// SPDX-License-Identifier: MIT
#pragma once

#include "ui/MainWindowActions.h"

#include <QKeySequence>
#include <QList>
#include <QString>

namespace pxm {

class MainWindow;

/// The user's own shortcuts for the main window's actions, kept in the per-user registry as
/// text under "main/Shortcuts/<action object name>" (several sequences separated by "; ", an
/// empty text for none). Actions without an entry have their default shortcuts.
class ShortcutSettings {
public:
    static const char* const registryGroup;

    /// The registry key of `row`'s shortcuts.
    static QString registryKey(const MainActionRow& row);
    /// The shortcuts of `row`: the stored ones, else the defaults.
    static QList<QKeySequence> shortcuts(const MainActionRow& row);
    /// Stores `keys` for `row`; its defaults are stored as no entry, so they keep following
    /// the platform's bindings.
    static void store(const MainActionRow& row, const QList<QKeySequence>& keys);
    /// Gives every action of `window` its shortcuts.
    static void apply(MainWindow& window);
    /// apply() for every main window of the program.
    static void applyToAllWindows();
};

} // namespace pxm
