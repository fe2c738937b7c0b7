// SPDX-License-Identifier: MIT
#include "scene/OverviewBuilder.h"

#include "platform/CException.h"
#include "platform/io/TiffOverviews.h"

#include <QDir>
#include <QStandardPaths>
#include <QThread>

namespace pxm {

QString OverviewBuilder::cacheFolder() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::CacheLocation)).filePath("overviews");
}

OverviewBuilder::OverviewBuilder(const QString& source, QObject* parent) : QObject(parent), m_source(source) {}

OverviewBuilder::~OverviewBuilder() {
    m_stop = true;
    if (m_thread) {
        m_thread->wait();
        delete m_thread;
    }
}

void OverviewBuilder::start() {
    if (m_thread)
        return;
    m_thread = QThread::create([this] {
        QStringList files;
        QString error;
        try {
            const auto built = KYVO::io::TiffOverviews::build(
                m_source.toLocal8Bit().toStdString(), cacheFolder().toLocal8Bit().toStdString(), [this](double done) {
                    const int percent = int(done * 100.0);
                    if (m_percent.exchange(percent) != percent)
                        emit progressChanged(percent);
                    return !m_stop.load();
                });
            for (const std::string& file : built)
                files << QString::fromLocal8Bit(file.c_str());
        } catch (const KYVO::CException& e) {
            error = QString::fromLocal8Bit(e.what());
        }
        if (!m_stop)
            emit finished(files, error);
    });
    m_thread->start(QThread::LowPriority);
}

} // namespace pxm
