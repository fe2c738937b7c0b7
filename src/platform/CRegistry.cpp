// SPDX-License-Identifier: MIT
#include "platform/CRegistry.h"

#include "platform/CValueJson.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QtGlobal>

namespace KYVO {

namespace {

QString& storageDirectoryOverride() {
    static QString dir;
    return dir;
}

// Registry names become file names: anything that could leave the directory is refused.
bool validName(const char* name) {
    if (!name || !*name)
        return false;
    const QString n = QString::fromUtf8(name);
    return n != "." && n != ".." && !n.contains('/') && !n.contains('\\');
}

// Renames a damaged store out of the way; the suffix keeps earlier damaged copies too.
void moveAside(const QString& path) {
    const QString stamp = QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss-zzz");
    QString target = path + ".corrupt-" + stamp;
    for (int n = 1; QFileInfo::exists(target); ++n)
        target = path + ".corrupt-" + stamp + "-" + QString::number(n);
    if (QFile::rename(path, target))
        qWarning("Registry: moved the damaged file aside to \"%s\"", qUtf8Printable(target));
    else
        qWarning("Registry: could not move the damaged file \"%s\" aside", qUtf8Printable(path));
}

} // namespace

CRegistry& CRegistry::Obj() {
    static CRegistry registry;
    return registry;
}

CValue* CRegistry::Clone() const {
    return new CValueMap(*this);
}

void CRegistry::SetStorageDirectory(const QString& dir) {
    storageDirectoryOverride() = dir;
}

QString CRegistry::StorageDirectory() {
    if (!storageDirectoryOverride().isEmpty())
        return storageDirectoryOverride();
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/pixmarker";
}

QString CRegistry::StoragePath(const char* name) const {
    return StorageDirectory() + "/" + QString::fromUtf8(name ? name : "") + ".json";
}

bool CRegistry::FromStorage(const char* name) {
    Clear();
    if (!validName(name)) {
        qWarning("Registry: \"%s\" is not a valid registry name", name ? name : "");
        return false;
    }
    const QString path = StoragePath(name);
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return true;

    QString problem;
    QByteArray text;
    QFile file(path);
    if (!info.isFile())
        problem = "it is not a regular file";
    else if (info.size() > MaxFileSize)
        problem = QString("it is larger than %1 bytes").arg(MaxFileSize);
    else if (!file.open(QIODevice::ReadOnly))
        problem = file.errorString();
    else {
        // Sized by the file, not by the cap: QIODevice::read(n) reserves all n bytes up front,
        // on every start, for a file of a few hundred.
        text = file.readAll();
        if (file.error() != QFileDevice::NoError)
            problem = file.errorString();
        else if (text.size() > MaxFileSize)
            problem = QString("it is larger than %1 bytes").arg(MaxFileSize);
        file.close();
    }

    if (problem.isEmpty()) {
        std::string error;
        std::unique_ptr<CValue> value =
            CValueJson::Read(std::string_view(text.constData(), std::size_t(text.size())), &error);
        if (auto* map = dynamic_cast<CValueMap*>(value.get())) {
            Swap(*map);
            return true;
        }
        problem = value ? QString("its top level is not an object") : QString::fromStdString(error);
    }

    qWarning("Registry: cannot read \"%s\": %s; starting with empty settings", qUtf8Printable(path),
             qUtf8Printable(problem));
    moveAside(path);
    return false;
}

bool CRegistry::ToStorage(const char* name) const {
    if (!validName(name)) {
        qWarning("Registry: \"%s\" is not a valid registry name", name ? name : "");
        return false;
    }
    const QString path = StoragePath(name);
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        qWarning("Registry: cannot create the directory of \"%s\"", qUtf8Printable(path));
        return false;
    }

    std::vector<std::string> skipped;
    const std::string text = CValueJson::Write(*this, &skipped) + "\n";
    for (const std::string& key : skipped)
        qWarning("Registry: \"%s\" holds a value that cannot be stored; it is left out", key.c_str());

    // QSaveFile writes a temporary file beside the target and renames it only on success.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), qint64(text.size())) != qint64(text.size()) || !file.commit()) {
        qWarning("Registry: cannot write \"%s\": %s", qUtf8Printable(path),
                 qUtf8Printable(file.errorString()));
        file.cancelWriting();
        return false;
    }
    return true;
}

} // namespace KYVO
