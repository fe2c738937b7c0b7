// SPDX-License-Identifier: MIT
#include "support/TestSupport.h"

#include <QFile>

namespace pxmtest {

TempDir::TempDir() : m_dir(QDir::tempPath() + "/pxmtest-XXXXXX") {}

QString TempDir::path(const QString& name) const { return name.isEmpty() ? m_dir.path() : m_dir.filePath(name); }

std::string TempDir::localPath(const QString& name) const { return path(name).toLocal8Bit().toStdString(); }

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& data) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(data) == data.size();
}

} // namespace pxmtest
