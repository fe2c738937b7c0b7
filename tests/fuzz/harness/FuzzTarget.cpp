// SPDX-License-Identifier: MIT
#include "fuzz/harness/FuzzTarget.h"

#include "platform/MemoryBudget.h"

#include <QDir>
#include <QFile>
#include <QtGlobal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace pxmfuzz {

namespace {

// Large enough for every seed, small enough that an input claiming more is refused in
// microseconds instead of being decoded for a tenth of a second: header parsing is where
// the faults are, and the fuzzer should spend its time there.
constexpr std::uint64_t kFuzzMemoryBudget = std::uint64_t(16) << 20;

std::string& scratch() {
    static std::string dir;
    return dir;
}

void removeScratch() {
    if (!scratch().empty())
        QDir(QString::fromStdString(scratch())).removeRecursively();
}

void dropMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

const std::vector<FuzzTarget>& fuzzTargets() {
    static const std::vector<FuzzTarget> targets = {
        {"project", fuzzProjectFile},
        {"project_gz", fuzzProjectGzFile},
        {"karo", fuzzKaroMark},
        {"voc", fuzzPascalVoc},
        {"labelme", fuzzLabelMe},
        {"registry", fuzzRegistry},
        {"netpbm", fuzzNetpbm},
        {"tiff", fuzzTiff},
        {"png", fuzzPng},
        {"jpeg", fuzzJpeg},
        {"bmp", fuzzBmp},
        {"gif", fuzzGif},
        {"ico", fuzzIco},
        {"jp2", fuzzJp2},
        {"j2k", fuzzJ2k},
        {"okav", fuzzOkav},
        {"okav_gz", fuzzOkavGz},
    };
    return targets;
}

const FuzzTarget* findFuzzTarget(const std::string& name) {
    for (const FuzzTarget& target : fuzzTargets())
        if (name == target.name)
            return &target;
    return nullptr;
}

void setUpFuzzing() {
    if (!scratch().empty())
        return;
    // Memory-backed when possible: every input is written to a file before it is read.
    const QString base = QDir("/dev/shm").isReadable() && access("/dev/shm", W_OK) == 0
                             ? QStringLiteral("/dev/shm")
                             : QDir::tempPath();
    QByteArray pattern = QFile::encodeName(base + "/pixmarker-fuzz-XXXXXX");
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("cannot create a scratch directory in " + base.toStdString());
    scratch() = pattern.toStdString();
    std::atexit(removeScratch);
    KYVO::MemoryBudget::setLimit(kFuzzMemoryBudget);
    // Readers report every fault they survive through Qt's log; millions of inputs would
    // bury the fuzzer's own output.
    qInstallMessageHandler(dropMessage);
}

std::string scratchDirectory() {
    return scratch();
}

std::string scratchFile(const char* name, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratch() + "/" + name;
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        throw std::runtime_error("cannot write the scratch file " + path);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, data + done, size - done);
        if (n <= 0) {
            ::close(fd);
            throw std::runtime_error("cannot write the scratch file " + path);
        }
        done += std::size_t(n);
    }
    ::close(fd);
    return path;
}

} // namespace pxmfuzz
