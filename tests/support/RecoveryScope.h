// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/RecoveryFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace pxmtest {

/// A recovery folder of this process's own while it lives (tests run side by side), empty at both ends.
class RecoveryScope {
public:
    RecoveryScope() : m_name(QCoreApplication::applicationName()) {
        QCoreApplication::setApplicationName(m_name + "-" +
                                             QString::number(QCoreApplication::applicationPid()));
        QDir(pxm::RecoveryFolder::root()).removeRecursively();
    }
    ~RecoveryScope() {
        QDir(pxm::RecoveryFolder::root()).removeRecursively();
        QFile::remove(pxm::RecoveryFolder::root());
        QDir().rmdir(QFileInfo(pxm::RecoveryFolder::root()).absolutePath());
        QCoreApplication::setApplicationName(m_name);
    }

private:
    QString m_name;
};

} // namespace pxmtest
