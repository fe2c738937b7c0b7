// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/ReadMessage.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>

namespace pxm {

class Project;

/// Base of the importers of foreign annotation files. read() runs the format's readFile()
/// over a list of files, wraps each file's changes to the project in one undo macro
/// ("Import " and the path), turns every failure into a recorded error instead of an abort,
/// and reports the file being read and every message through signals.
///
/// A reader lives for one import: created, read() once, messages shown, destroyed. The
/// messages are never cleared by read().
class BaseReader : public QObject {
    Q_OBJECT
public:
    explicit BaseReader(QObject* parent = nullptr);
    ~BaseReader() override;

    /// Reads one file into project(), through undoable commands only. Faults the reader
    /// survives become addError()/addWarning() records; a fault that ends the file is thrown,
    /// preferably as CriticalReadError.
    virtual void readFile(const QString& path) = 0;
    /// Reads every path in order into the project. No exception leaves this function: each
    /// file's failure becomes one error record and the next file is read.
    virtual void read(pxm::Project* project, const QStringList& paths);

    /// Every error and warning raised during the reader's life, in the order raised.
    QList<ReadMessage> messages() const { return m_messages; }
    /// The import target while read() runs, null otherwise.
    Project* project() const { return m_project; }
    /// The file being read; empty outside read().
    QString currentPath() const { return m_currentPath; }

    /// The pause before each file, so the progress shown per file is visible (default 100 ms).
    int pauseMilliseconds() const { return m_pauseMilliseconds; }
    void setPauseMilliseconds(int milliseconds);

    void addError(const QString& text, int line = -1);
    void addWarning(const QString& text, int line = -1);

    /// Largest width or height accepted from a file; larger values are treated as unknown, so a
    /// hostile header cannot make later mask exports allocate absurd volumes.
    static constexpr uint32_t maxImageExtent = 1u << 20;
    /// Coordinates read from files are kept within this magnitude, so extents computed from
    /// them stay finite; NaN becomes 0.
    static constexpr double maxCoordinate = 1.0e9;
    static double clampedCoordinate(double value);

signals:
    void pathChanged(QString path);
    void errorAdded(QString error);
    void warningAdded(QString warning);

private:
    void readOneFile(const QString& path);

    Project* m_project = nullptr;
    QString m_currentPath;
    QList<ReadMessage> m_messages;
    int m_pauseMilliseconds = 100;
};

} // namespace pxm
