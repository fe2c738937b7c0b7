// SPDX-License-Identifier: MIT
#include "persistence/ProjectPaths.h"

#include <QDir>
#include <QFileInfo>

namespace pxm {

QString ProjectPaths::stored(const QString& path, const QString& folder) {
    if (path.isEmpty())
        return path;
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (folder.isEmpty())
        return absolute;
    const QString relative = QDir(QFileInfo(folder).absoluteFilePath()).relativeFilePath(absolute);
    if (relative.isEmpty() || QDir::isAbsolutePath(relative) || relative == QLatin1String("..") ||
        relative.startsWith(QLatin1String("../")))
        return absolute;
    return relative;
}

QString ProjectPaths::resolved(const QString& path, const QString& folder, bool* fromCurrentDirectory) {
    if (fromCurrentDirectory)
        *fromCurrentDirectory = false;
    if (path.isEmpty() || folder.isEmpty() || QDir::isAbsolutePath(path))
        return path;
    const QString beside = QDir::cleanPath(QDir(folder).absoluteFilePath(path));
    if (QFileInfo::exists(beside))
        return beside;
    const QString current = QDir::cleanPath(QDir::current().absoluteFilePath(path));
    if (QFileInfo::exists(current)) {
        if (fromCurrentDirectory)
            *fromCurrentDirectory = true;
        return current;
    }
    // Missing either way: the project's folder is where it belongs, and where the user is
    // asked to look for it.
    return beside;
}

} // namespace pxm
