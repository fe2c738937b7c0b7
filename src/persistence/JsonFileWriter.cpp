// SPDX-License-Identifier: MIT
#include "persistence/JsonFileWriter.h"

#include "persistence/SerializationError.h"
#include "platform/GzStream.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace pxm {

namespace {

constexpr std::size_t kMaxQueued = 4;
// Indented JSON is mostly white space: the fastest level saves large projects several times
// faster than the default, for files about a third larger.
constexpr int kGzipLevel = 1;

/// Flushes a file (or directory) to the disk, so that a rename never publishes a file whose
/// content is still only in the page cache.
bool syncToDisk(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

} // namespace

JsonFileWriter::JsonFileWriter(const QString& fileName, bool compress)
    : m_fileName(fileName), m_compress(compress) {
    QFileInfo target(fileName);
    // A link stays a link: the file it points to is the one replaced.
    if (target.isSymLink())
        target = QFileInfo(target.symLinkTarget());
    if (fileName.isEmpty() || target.isDir())
        fail();
    m_target = target.absoluteFilePath();
    for (int attempt = 0; attempt < 4 && m_fd < 0; ++attempt) {
        m_temporary = QStringLiteral("%1/.%2.%3.tmp")
                          .arg(target.absolutePath(), target.fileName())
                          .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
        // O_EXCL: never take over a file somebody else created under the same name.
        m_fd =
            ::open(QFile::encodeName(m_temporary).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_fd < 0 && errno != EEXIST)
            break;
    }
    if (m_fd < 0) {
        m_errno = errno;
        fail();
    }
    if (m_compress) {
        // The gzip stream opens the file by its name; the exclusive creation above reserved it.
        ::close(m_fd);
        m_fd = -1;
    }
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        if (m_fd >= 0)
            ::close(m_fd);
        QFile::remove(m_temporary);
        fail();
    }
}

JsonFileWriter::~JsonFileWriter() {
    stop();
    if (!m_finished)
        QFile::remove(m_temporary);
}

void JsonFileWriter::fail() const {
    throw SerializationError(QStringLiteral("Could not write '%1'.").arg(m_fileName),
                             m_errno ? QString::fromLocal8Bit(std::strerror(m_errno)) : QString());
}

void JsonFileWriter::write(std::string& piece) {
    m_bytesQueued += qint64(piece.size());
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_queue.size() < kMaxQueued; });
    m_queue.push_back(std::move(piece));
    if (!m_spare.empty()) {
        piece = std::move(m_spare.back());
        m_spare.pop_back();
    }
    piece.clear();
    m_changed.notify_all();
}

bool JsonFileWriter::writeAll(int fd, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        written += std::size_t(n);
    }
    return true;
}

void JsonFileWriter::run() {
    std::unique_ptr<KYVO::gzofstream> gzip;
    bool ok = true;
    int error = 0;
    if (m_compress) {
        errno = 0;
        gzip = std::make_unique<KYVO::gzofstream>(QFile::encodeName(m_temporary).constData(), kGzipLevel);
        ok = gzip->is_open();
        if (!ok)
            error = errno ? errno : EIO;
    }
    for (;;) {
        std::string piece;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return !m_queue.empty() || m_closing; });
            if (m_queue.empty())
                break;
            piece = std::move(m_queue.front());
            m_queue.pop_front();
            m_changed.notify_all();
        }
        // After a failure the rest is drained unwritten, so the producer never waits forever.
        if (ok && gzip) {
            gzip->write(piece.data(), std::streamsize(piece.size()));
            ok = bool(*gzip);
        } else if (ok) {
            ok = writeAll(m_fd, piece);
        }
        if (!ok && !error)
            error = errno ? errno : EIO;
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_spare.size() < kMaxQueued)
            m_spare.push_back(std::move(piece));
    }
    // A full disk often shows only when the data is flushed: keep the first reason seen.
    errno = 0;
    if (gzip) {
        gzip->close();
        ok = ok && !gzip->fail() && syncToDisk(m_temporary);
    } else {
        ok = ok && ::fsync(m_fd) == 0;
        ok = ::close(m_fd) == 0 && ok;
        m_fd = -1;
    }
    if (!ok && !error)
        error = errno ? errno : EIO;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ok = ok;
    m_errno = error;
}

void JsonFileWriter::stop() {
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void JsonFileWriter::commit() {
    stop();
    if (!m_ok)
        fail();
    const QFileInfo old(m_target);
    if (old.exists())
        QFile::setPermissions(m_temporary, old.permissions());
    // rename replaces the old file in one step: readers see either the old or the new file.
    if (std::rename(QFile::encodeName(m_temporary).constData(), QFile::encodeName(m_target).constData()) !=
        0) {
        m_errno = errno;
        qWarning().noquote() << "Could not replace" << m_target << ":" << std::strerror(errno);
        fail();
    }
    m_finished = true;
    syncToDisk(QFileInfo(m_target).absolutePath());
}

} // namespace pxm
