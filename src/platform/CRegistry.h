// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValueMap.h"

#include <QString>

namespace KYVO {

/// The per-user settings store: one process-wide map with keys such as "main/RecentProjects".
///
/// FromStorage() and ToStorage() load and save it as an indented JSON file
/// "<directory>/<name>.json" (see CValueJson for the text form). The directory is
/// "<user configuration directory>/pixmarker" unless SetStorageDirectory() chose another.
///
/// A missing file is a first start and loads as an empty registry. A file that cannot be read
/// or parsed also leaves the registry empty, but is renamed to "<name>.json.corrupt-<time>"
/// so that the next save cannot overwrite what the user may still want to recover.
class CRegistry : public CValueMap {
public:
    /// The one registry of the process.
    static CRegistry& Obj();

    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;

    /// A copy of the content as a plain CValueMap.
    CValue* Clone() const override;

    /// Replaces the content by the stored registry `name` (such as "Lumarka"). True when the
    /// file was read or does not exist yet; false (content empty, file moved aside) when it is
    /// unreadable or corrupt, or the name is not a plain file name.
    bool FromStorage(const char* name);
    /// Writes the content to the store `name`, atomically. False when the directory or the file
    /// cannot be written; the previous file is then left as it was. Values without a text form
    /// (images, pointers) are left out with a warning.
    bool ToStorage(const char* name) const;

    /// Chooses the directory that holds the stored registries; an empty path restores the default.
    static void SetStorageDirectory(const QString& dir);
    /// The directory in use.
    static QString StorageDirectory();
    /// The file that stores the registry `name`.
    QString StoragePath(const char* name) const;

    /// Largest registry file FromStorage() accepts.
    static constexpr qint64 MaxFileSize = 64 * 1024 * 1024;

private:
    CRegistry() = default;
    ~CRegistry() override = default;
};

} // namespace KYVO
