// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <atomic>

class QThread;

namespace pxm {

/// Builds the overview levels of a large TIFF on a thread of its own, so that the window stays
/// responsive, and reports the progress. Destroying the builder stops the work and waits for it;
/// a stopped build leaves no files behind.
class OverviewBuilder : public QObject {
    Q_OBJECT
public:
    /// The folder the levels are kept in: "overviews" in the user's cache folder.
    static QString cacheFolder();

    OverviewBuilder(const QString& source, QObject* parent = nullptr);
    ~OverviewBuilder() override;

    void start();
    /// Percent done so far.
    int percent() const { return m_percent.load(); }

signals:
    void progressChanged(int percent);
    /// The level files, finest first, or an empty list and the reason.
    void finished(const QStringList& files, const QString& error);

private:
    QString m_source;
    QThread* m_thread = nullptr;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_percent{0};
};

} // namespace pxm
