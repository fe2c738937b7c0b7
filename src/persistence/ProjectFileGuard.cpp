// SPDX-License-Identifier: MIT
#include "persistence/ProjectFileGuard.h"

#include "persistence/RecoveryFolder.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <sys/stat.h>
#include <unistd.h>

namespace pxm {

ProjectFileGuard::~ProjectFileGuard() {
    release();
}

void ProjectFileGuard::release() {
    if (m_lock >= 0)
        ::close(m_lock);
    m_lock = -1;
    m_path.clear();
    m_stamp = Stamp();
}

QString ProjectFileGuard::lockPath(const QString& projectPath) {
    const QByteArray key = QFile::encodeName(QDir::cleanPath(QFileInfo(projectPath).absoluteFilePath()));
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/open/") +
           QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex()) +
           QStringLiteral(".lock");
}

bool ProjectFileGuard::watch(const QString& path) {
    const QString absolute = path.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    // Following the same file again keeps what was remembered of it: a change made
    // elsewhere in between must still show.
    if (absolute == m_path && (m_lock >= 0 || absolute.isEmpty()))
        return true;
    release();
    m_path = absolute;
    if (m_path.isEmpty())
        return true;
    m_stamp = stampOf(m_path);
    const QString lock = lockPath(m_path);
    // Without a place for the lock nobody can be told; that is no reason to refuse the file.
    if (!QDir().mkpath(QFileInfo(lock).absolutePath()))
        return true;
    m_lock = RecoveryFolder::lockFile(lock, true);
    return m_lock >= 0;
}

bool ProjectFileGuard::changedOnDisk() const {
    if (m_path.isEmpty())
        return false;
    const Stamp now = stampOf(m_path);
    // A file removed since loses nobody's work when written again.
    return now.exists && !(now == m_stamp);
}

void ProjectFileGuard::saved() {
    m_stamp = stampOf(m_path);
}

ProjectFileGuard::Stamp ProjectFileGuard::stampOf(const QString& path) {
    Stamp stamp;
    struct stat st {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &st) != 0)
        return stamp;
    stamp.exists = true;
    stamp.device = std::uint64_t(st.st_dev);
    stamp.inode = std::uint64_t(st.st_ino);
    stamp.size = std::int64_t(st.st_size);
    stamp.seconds = std::int64_t(st.st_mtim.tv_sec);
    stamp.nanoseconds = std::int64_t(st.st_mtim.tv_nsec);
    return stamp;
}

} // namespace pxm
