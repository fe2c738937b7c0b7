// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

namespace pxm {

/// The list of recently opened projects in the per-user registry ("main/RecentProjects"),
/// most recent first.
class RecentProjects {
public:
    /// How many older entries survive when a path is added; the list holds one more.
    static constexpr int olderEntriesKept = 20;
    static const char* const registryKey;

    /// The stored paths, most recent first; entries that are not strings are skipped.
    static QStringList paths();
    /// Puts `path` first and keeps the first olderEntriesKept older entries other than it.
    /// The comparison is exact (case-sensitive). An empty path is not stored.
    static void add(const QString& path);
};

} // namespace pxm
