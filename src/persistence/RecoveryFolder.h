// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <vector>

namespace pxm {

class Project;

/// The per-user folder of recovery snapshots and the one snapshot folder a window owns.
///
/// Each snapshot lives in a folder of its own under root(): a "lock" file naming the
/// process that writes it (which holds an advisory lock on it for as long as it runs), the
/// description "snapshot.json", the project file and the changed masks and erase overlays.
/// A snapshot whose lock no running process holds is orphaned: its program ended without
/// saving or discarding the work, and the snapshot is offered for recovery.
class RecoveryFolder {
public:
    static const QString kLockFile;
    static const QString kDescriptionFile;

    struct VolumeEntry {
        int image = -1;       ///< index of the image in the project
        bool overlay = false; ///< an erase overlay, else a mask
        QString file;         ///< file name in the snapshot folder
    };
    /// What "snapshot.json" says.
    struct Description {
        QString projectPath; ///< where the project is saved; empty for a project never saved
        QDateTime time;      ///< when the snapshot was taken
        qint64 pid = 0;      ///< the process that wrote it
        QString projectFile; ///< file name of the project in the snapshot folder
        std::vector<VolumeEntry> volumes;
    };
    /// A snapshot on disk.
    struct Entry {
        QString folder;
        Description description;
    };

    /// AppLocalDataLocation + "/recovery".
    static QString root();
    /// Opens the file (creating it when asked), takes its advisory lock without waiting and
    /// writes this process's id into it. The descriptor holds the lock until it is closed;
    /// -1 when it cannot be opened or another descriptor holds the lock.
    static int lockFile(const QString& path, bool create);
    /// Replaces the folder's description atomically. Throws SerializationError.
    static void writeDescription(const QString& folder, const Description& description);
    /// False when the folder has no readable description (a snapshot never completed).
    static bool readDescription(const QString& folder, Description* description);
    /// Complete snapshots that no running process holds, oldest first.
    static QList<Entry> orphaned();
    /// Deletes an orphaned snapshot; false when a running process holds it or it stays.
    static bool discard(const QString& folder);
    /// Reads the snapshot into an empty project, which then has the snapshot's path and
    /// counts as unsaved. Returns the indices of the images that were given a recovered mask
    /// or overlay: the caller keeps those in memory, since their files lack the changes.
    /// Throws DeserializationError or KYVO::CException.
    static QList<int> restore(const Entry& entry, Project* project);

    RecoveryFolder();
    /// Lets go of the folder; its files stay.
    ~RecoveryFolder();
    RecoveryFolder(const RecoveryFolder&) = delete;
    RecoveryFolder& operator=(const RecoveryFolder&) = delete;

    /// Makes a new locked snapshot folder under root(). False, with a reason, on failure.
    bool create(QString* error);
    /// Takes over an orphaned snapshot folder; false when another process holds it.
    bool adopt(const QString& folder);
    /// Deletes the folder and lets go of it.
    void remove();
    bool isOpen() const { return m_fd >= 0; }
    QString path() const { return m_folder; }

private:
    bool lock(const QString& folder, bool createLock);
    void release();

    QString m_folder;
    int m_fd = -1;
};

} // namespace pxm
