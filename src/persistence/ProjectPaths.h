// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace pxm {

/// How image and mask paths are kept in a project file: relative to the project file's folder
/// when they lie inside it, absolute otherwise. A project folder copied or moved elsewhere
/// then still finds its own files, and a Save As to another folder still finds every image.
class ProjectPaths {
public:
    /// The path as a file in `folder` stores it: relative when inside the folder, else
    /// absolute. A relative `path` is taken from the current directory; with no folder the
    /// result is absolute. Empty stays empty.
    static QString stored(const QString& path, const QString& folder);
    /// A stored path made absolute against `folder`. Files written before paths followed the
    /// project were relative to the current directory: when the file is missing beside the
    /// project but exists there, that one is taken and `fromCurrentDirectory` set. With no
    /// folder, or for an absolute or empty path, the path is returned as it is.
    static QString resolved(const QString& path, const QString& folder, bool* fromCurrentDirectory = nullptr);
};

} // namespace pxm
