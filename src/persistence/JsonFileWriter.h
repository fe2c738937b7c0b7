// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pxm {

/// Replaces a file atomically with text that arrives in pieces, plain or gzip-compressed.
///
/// The text goes to a new temporary file in the target's directory, written on a background
/// thread while the caller produces the next pieces. commit() waits for the writes, flushes the
/// file to disk and renames it over the target. Until then the old file is untouched; a failure
/// or an abandoned writer removes the temporary file.
class JsonFileWriter {
public:
    /// Creates the temporary file. Throws SerializationError "Could not write '<fileName>'.".
    JsonFileWriter(const QString& fileName, bool compress);
    ~JsonFileWriter();
    JsonFileWriter(const JsonFileWriter&) = delete;
    JsonFileWriter& operator=(const JsonFileWriter&) = delete;

    /// Queues the piece's text and leaves an empty buffer in its place. Blocks while several
    /// pieces still wait to be written.
    void write(std::string& piece);
    /// Finishes the file and puts it in place. Throws SerializationError.
    void commit();

    /// The number of bytes given to write(), before compression.
    qint64 bytesQueued() const { return m_bytesQueued; }

private:
    void run();
    bool writeAll(int fd, const std::string& text);
    void stop();
    [[noreturn]] void fail() const;

    QString m_fileName;
    QString m_target;
    QString m_temporary;
    bool m_compress;
    int m_fd = -1;
    qint64 m_bytesQueued = 0;

    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_queue;
    std::vector<std::string> m_spare;
    bool m_closing = false;
    bool m_ok = true;
    int m_errno = 0; ///< the first failure's error number, for its reason
    bool m_finished = false;
};

} // namespace pxm
