// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <exception>
#include <ostream>
#include <string>

namespace pxmtest {

/// A temporary directory that lives as long as the test, with path helpers.
class TempDir {
public:
    TempDir();
    /// Absolute path of `name` inside the directory.
    QString path(const QString& name = {}) const;
    /// The same as local 8-bit text, as the platform's file functions take it.
    std::string localPath(const QString& name) const;

private:
    QTemporaryDir m_dir;
};

/// A project document with each scene's items sorted (a file read back stacks them the other way round).
QJsonObject withSortedItems(const QByteArray& projectJson);

/// This environment plus a private configuration folder in `dir` and leak suppressions for Qt.
QProcessEnvironment childEnvironment(const TempDir& dir);

/// A built program a test runs in a private folder, offscreen and with childEnvironment();
/// it is killed if it still runs when the test ends.
class ChildProgram {
public:
    explicit ChildProgram(QString binary);
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// Runs to the end, keeping out and err; the exit code, or -1 when it crashed or hung.
    int run(const QStringList& arguments);

    TempDir dir;
    QProcess process;
    QString out;
    QString err;

private:
    QString m_binary;
};

/// The whole content of a file; empty when it cannot be read.
QByteArray readFile(const QString& path);
/// Writes `data` to `path`, replacing it; false on failure.
bool writeFile(const QString& path, const QByteArray& data);

/// What `run` throws, or "" when it returns.
template <class F> std::string thrownMessage(const F& run) {
    try {
        run();
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

} // namespace pxmtest

/// Lets GoogleTest print Qt strings readably in failure messages.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QStringList& l, std::ostream* os) {
    *os << '[' << l.join(", ").toStdString() << ']';
}
