// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <cstdint>

namespace pxm {

/// Watches over the project file a window saves to, so that two windows or two programs on
/// one project never silently drop each other's work. It holds a lock for the file (of the
/// kind that marks a recovery snapshot as taken), so that a second window or program
/// opening the project learns that it is open already, and it remembers how the file looked
/// when it was read or last saved here, so that a save can tell whether somebody else wrote
/// the file since.
class ProjectFileGuard {
public:
    ProjectFileGuard() = default;
    ~ProjectFileGuard();
    ProjectFileGuard(const ProjectFileGuard&) = delete;
    ProjectFileGuard& operator=(const ProjectFileGuard&) = delete;

    /// Follows the file at `path` (made absolute), lets go of the one followed before and
    /// remembers the file as it is now. False when another window or program holds the
    /// file's lock; it is followed all the same. An empty path follows nothing.
    bool watch(const QString& path);
    /// The file followed, absolute; empty when none.
    QString path() const { return m_path; }
    /// True when the file is there and is not the one read or last saved here.
    bool changedOnDisk() const;
    /// Remembers the file as it is now, after this window wrote it.
    void saved();
    /// Where the lock of a project file lives.
    static QString lockPath(const QString& projectPath);

private:
    struct Stamp {
        bool exists = false;
        std::uint64_t device = 0, inode = 0;
        std::int64_t size = 0, seconds = 0, nanoseconds = 0;
        bool operator==(const Stamp& o) const {
            return exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
                   seconds == o.seconds && nanoseconds == o.nanoseconds;
        }
    };
    static Stamp stampOf(const QString& path);
    void release();

    QString m_path;
    Stamp m_stamp;
    int m_lock = -1;
};

} // namespace pxm
