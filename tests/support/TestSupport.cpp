// SPDX-License-Identifier: MIT
#include "support/TestSupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>

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

QProcessEnvironment childEnvironment(const TempDir& dir) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_CONFIG_HOME", dir.path("config"));
    // Qt's offscreen plugin keeps its screens until exit; that is not the program's leak.
    const QString suppressions = dir.path("lsan.supp");
    writeFile(suppressions, "leak:libqoffscreen.so\nleak:libfontconfig.so\n");
    env.insert("LSAN_OPTIONS", "print_suppressions=0:suppressions=" + suppressions);
    return env;
}

ChildProgram::ChildProgram(QString binary) : m_binary(std::move(binary)) {
    QProcessEnvironment env = childEnvironment(dir);
    env.insert("QT_QPA_PLATFORM", "offscreen");
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(dir.path());
}

ChildProgram::~ChildProgram() {
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(10000);
    }
}

int ChildProgram::run(const QStringList& arguments) {
    process.start(m_binary, arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
        return -1;
    out = QString::fromLocal8Bit(process.readAllStandardOutput());
    err = QString::fromLocal8Bit(process.readAllStandardError());
    return process.exitCode();
}

QJsonObject withSortedItems(const QByteArray& projectJson) {
    QJsonObject document = QJsonDocument::fromJson(projectJson).object();
    QJsonArray images;
    for (const QJsonValue& imageValue : document["images"].toArray()) {
        QJsonObject image = imageValue.toObject();
        QJsonArray scenes;
        for (const QJsonValue& sceneValue : image["scenes"].toArray()) {
            QJsonObject scene = sceneValue.toObject();
            QVariantList items = scene["labelItems"].toArray().toVariantList();
            std::sort(items.begin(), items.end(), [](const QVariant& a, const QVariant& b) {
                return QJsonDocument::fromVariant(a).toJson() < QJsonDocument::fromVariant(b).toJson();
            });
            scene["labelItems"] = QJsonArray::fromVariantList(items);
            scenes.append(scene);
        }
        image["scenes"] = scenes;
        images.append(image);
    }
    document["images"] = images;
    return document;
}

} // namespace pxmtest
