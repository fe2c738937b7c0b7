// SPDX-License-Identifier: MIT
#include "persistence/RecoveryFolder.h"

#include "model/Project.h"
#include "persistence/DeserializationError.h"
#include "persistence/JsonFileWriter.h"
#include "persistence/ProjectReader.h"
#include "persistence/SerializationError.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QUndoStack>
#include <QUuid>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <unistd.h>

namespace pxm {

const QString RecoveryFolder::kLockFile = QStringLiteral("lock");
const QString RecoveryFolder::kDescriptionFile = QStringLiteral("snapshot.json");

namespace {

int openLock(const QString& path, bool create) {
    const QByteArray name = QFile::encodeName(path);
    return ::open(name.constData(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0644);
}

/// True when no running process holds the folder's lock (a missing lock counts as free).
bool isOrphaned(const QString& folder) {
    const int fd = openLock(QDir(folder).filePath(RecoveryFolder::kLockFile), false);
    if (fd < 0)
        return errno == ENOENT;
    const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    return free;
}

} // namespace

QString RecoveryFolder::root() {
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) +
           QStringLiteral("/recovery");
}

void RecoveryFolder::writeDescription(const QString& folder, const Description& description) {
    QJsonArray volumes;
    for (const VolumeEntry& volume : description.volumes)
        volumes.append(QJsonObject{
            {"image", volume.image}, {"kind", volume.overlay ? "overlay" : "mask"}, {"file", volume.file}});
    const QJsonObject object{{"projectPath", description.projectPath},
                             {"time", description.time.toString(Qt::ISODateWithMs)},
                             {"pid", description.pid},
                             {"projectFile", description.projectFile},
                             {"volumes", volumes}};
    std::string text = QJsonDocument(object).toJson(QJsonDocument::Indented).toStdString();
    JsonFileWriter file(QDir(folder).filePath(kDescriptionFile), false);
    file.write(text);
    file.commit();
}

bool RecoveryFolder::readDescription(const QString& folder, Description* description) {
    QFile file(QDir(folder).filePath(kDescriptionFile));
    // Descriptions are a few hundred bytes; anything far larger is not one of ours.
    if (!file.open(QIODevice::ReadOnly) || file.size() > (qint64(1) << 24))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    const QJsonObject object = document.object();
    if (!object.value("projectFile").isString() || !object.value("time").isString())
        return false;
    description->projectPath = object.value("projectPath").toString();
    description->time = QDateTime::fromString(object.value("time").toString(), Qt::ISODateWithMs);
    description->pid = qint64(object.value("pid").toDouble());
    description->projectFile = object.value("projectFile").toString();
    description->volumes.clear();
    for (const QJsonValue& value : object.value("volumes").toArray()) {
        const QJsonObject volume = value.toObject();
        const QString name = volume.value("file").toString();
        // Only plain names inside the folder.
        if (name.isEmpty() || name.contains('/') || name.startsWith('.'))
            return false;
        description->volumes.push_back(
            {volume.value("image").toInt(-1), volume.value("kind").toString() == "overlay", name});
    }
    return !description->projectFile.contains('/') &&
           QFile::exists(QDir(folder).filePath(description->projectFile));
}

QList<RecoveryFolder::Entry> RecoveryFolder::orphaned() {
    QList<Entry> entries;
    const QDir dir(root());
    for (const QString& name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        Entry entry;
        entry.folder = dir.filePath(name);
        if (isOrphaned(entry.folder) && readDescription(entry.folder, &entry.description))
            entries << entry;
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.description.time < b.description.time; });
    return entries;
}

bool RecoveryFolder::discard(const QString& folder) {
    RecoveryFolder owner;
    if (!owner.adopt(folder))
        return false;
    owner.remove();
    return !QFileInfo::exists(folder);
}

QList<int> RecoveryFolder::restore(const Entry& entry, Project* project) {
    const QDir dir(entry.folder);
    // Paths in the snapshot are written as the project's own file holds them.
    const QString projectPath = entry.description.projectPath;
    ProjectReader::read(dir.filePath(entry.description.projectFile), project,
                        projectPath.isEmpty() ? QString() : QFileInfo(projectPath).absolutePath());
    project->setPath(projectPath);
    QList<int> restored;
    // Masks first: taking a mask makes a fresh overlay, which the recovered one then fills.
    for (const bool overlay : {false, true}) {
        for (const VolumeEntry& volume : entry.description.volumes) {
            LabeledImage* image = project->images().value(volume.image);
            if (volume.overlay != overlay || !image)
                continue;
            std::unique_ptr<KYVO::CImage> data(
                KYVO::CImageIo2::Load(dir.filePath(volume.file).toLocal8Bit().toStdString()));
            if (!data)
                throw DeserializationError(
                    QStringLiteral("Could not open '%1'.").arg(dir.filePath(volume.file)));
            // Neither is in the mask's file yet: the next save writes them.
            if (!overlay) {
                image->setMask(data.release(), true, false);
                image->setMaskModified(true);
            } else {
                image->ensureEraseOverlay();
                KYVO::CImage* live = image->eraseOverlay();
                if (live && live->size() == data->size() && live->type() == data->type())
                    std::memcpy(live->data(), data->data(), live->byteCount());
                image->setOverlayModified(true);
            }
            if (!restored.contains(volume.image))
                restored << volume.image;
        }
    }
    // Nothing of this is in the project's file yet.
    project->undoStack()->resetClean();
    return restored;
}

RecoveryFolder::RecoveryFolder() = default;

RecoveryFolder::~RecoveryFolder() {
    release();
}

int RecoveryFolder::lockFile(const QString& path, bool create) {
    const int fd = openLock(path, create);
    if (fd < 0)
        return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    // The lock names its holder for people looking at the folder.
    const QByteArray pid = QByteArray::number(QCoreApplication::applicationPid()) + '\n';
    if (::ftruncate(fd, 0) != 0 || ::write(fd, pid.constData(), size_t(pid.size())) != pid.size()) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool RecoveryFolder::lock(const QString& folder, bool createLock) {
    const int fd = lockFile(QDir(folder).filePath(kLockFile), createLock);
    if (fd < 0)
        return false;
    release();
    m_fd = fd;
    m_folder = folder;
    return true;
}

void RecoveryFolder::release() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_folder.clear();
}

bool RecoveryFolder::create(QString* error) {
    const QString base = root();
    if (!QDir().mkpath(base)) {
        *error = QCoreApplication::translate("pxm::RecoveryFolder", "cannot create '%1'").arg(base);
        return false;
    }
    const QString name = QStringLiteral("%1-%2")
                             .arg(QCoreApplication::applicationPid())
                             .arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
    const QString folder = QDir(base).filePath(name);
    if (!QDir(base).mkdir(name) || !lock(folder, true)) {
        QDir(folder).removeRecursively();
        *error = QCoreApplication::translate("pxm::RecoveryFolder", "cannot write in '%1'").arg(base);
        return false;
    }
    return true;
}

bool RecoveryFolder::adopt(const QString& folder) {
    return QFileInfo(folder).isDir() && lock(folder, true);
}

void RecoveryFolder::remove() {
    if (m_folder.isEmpty())
        return;
    // Everything but the lock first, so a crash half-way leaves no snapshot that looks whole.
    const QString folder = m_folder;
    QFile::remove(QDir(folder).filePath(kDescriptionFile));
    QDir(folder).removeRecursively();
    release();
}

} // namespace pxm
