// SPDX-License-Identifier: MIT
// Each reader runs through the entry point the program uses for a file the user hands it.
#include "exchange/BaseReader.h"
#include "exchange/CocoReader.h"
#include "exchange/KAROMarkReader.h"
#include "exchange/LabelMeReader.h"
#include "exchange/VOCReader.h"
#include "exchange/dataset/DatasetExport.h"
#include "exchange/dataset/YoloFormat.h"
#include "fuzz/harness/FuzzTarget.h"
#include "model/Project.h"
#include "persistence/DeserializationError.h"
#include "persistence/ProjectReader.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "platform/MemoryBudget.h"
#include "platform/io/TiffPyramid.h"

#include <QDir>
#include <QFile>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <unistd.h>

namespace pxmfuzz {

namespace {

// Enough for every seed; larger claims are refused at once, so the fuzzer's time goes to header parsing.
constexpr std::uint64_t kFuzzMemoryBudget = std::uint64_t(16) << 20;

std::string& scratch() {
    static std::string dir;
    return dir;
}

/// Writes data to a file of that name in the scratch directory and returns its path.
std::string scratchFile(const std::string& name, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratch() + "/" + name;
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::size_t done = 0;
    for (ssize_t n = 0; fd >= 0 && done < size && (n = ::write(fd, data + done, size - done)) > 0;)
        done += std::size_t(n);
    if (fd >= 0)
        ::close(fd);
    if (fd < 0 || done < size)
        throw std::runtime_error("cannot write the scratch file " + path);
    return path;
}

/// Mutes standard error, where tearing down a project always reports, while a target runs.
struct QuietStandardError {
    std::streambuf* previous = std::cerr.rdbuf(nullptr);
    std::ios_base::iostate state = std::cerr.rdstate();
    ~QuietStandardError() {
        std::cerr.rdbuf(previous);
        std::cerr.clear(state);
    }
};

int loadImage(const char* file, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchFile(file, data, size);
    try {
        const std::unique_ptr<KYVO::CImage> image(KYVO::CImageIo2::Load(path));
        if (!image)
            return Refused;
        // A loaded image must hold as many bytes as its size says; the sanitizer checks the last.
        if (image->byteCount() > 0) {
            volatile std::uint8_t last = image->data()[image->byteCount() - 1];
            (void)last;
        }
        return Read;
    } catch (const KYVO::CException&) {
        return Refused;
    }
}

/// A TIFF read on demand, as huge images are: every level's first and last corner.
int readPyramid(const char* file, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchFile(file, data, size);
    try {
        const KYVO::io::TiffPyramid pyramid(path);
        for (int i = 0; i < pyramid.levelCount(); ++i) {
            const auto& level = pyramid.level(i);
            pyramid.read(i, 0, 0, 64, 64);
            pyramid.read(i, level.width > 64 ? level.width - 64 : 0,
                         level.height > 64 ? level.height - 64 : 0, 64, 64);
        }
        return Read;
    } catch (const KYVO::CException&) {
        return Refused;
    }
}

int readProject(const char* file, const std::uint8_t* data, std::size_t size) {
    const QString path = QString::fromStdString(scratchFile(file, data, size));
    const QuietStandardError quiet;
    pxm::Project project;
    try {
        pxm::ProjectReader::read(path, &project);
        return Read;
    } catch (const pxm::DeserializationError&) {
        return Refused;
    }
}

template <class Reader> int import(const char* file, const std::uint8_t* data, std::size_t size) {
    const QString path = QString::fromStdString(scratchFile(file, data, size));
    const QuietStandardError quiet;
    pxm::Project project;
    Reader reader;
    reader.setPauseMilliseconds(0);
    // read() turns every failure into a message; none may escape it.
    reader.read(&project, QStringList{path});
    for (const pxm::ReadMessage& message : reader.messages())
        if (message.kind == pxm::ReadMessage::Error)
            return Refused;
    return Read;
}

/// The dataset checks as pixmarker-export --check runs them on a file anyone wrote.
int checkDataset(const char* file, const std::uint8_t* data, std::size_t size) {
    const QString path = QString::fromStdString(scratchFile(file, data, size));
    return pxm::checkDataset(path).isEmpty() ? Read : Refused;
}

/// One YOLO label file, as the checks read each file of a folder anyone wrote.
int checkYoloLines(const char*, const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), int(size));
    return pxm::yolo::checkLines(text, 80, "labels/input.txt").isEmpty() ? Read : Refused;
}

int readRegistry(const char* file, const std::uint8_t* data, std::size_t size) {
    const QString dir = QString::fromStdString(scratch()) + "/registry";
    QDir().mkpath(dir);
    KYVO::CRegistry::SetStorageDirectory(dir);
    scratchFile(file, data, size);
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    const bool read = registry.FromStorage("Fuzz");
    registry.Clear();
    // A refused store is moved aside under a new name; those would pile up run after run.
    QDir(dir).removeRecursively();
    KYVO::CRegistry::SetStorageDirectory(QString());
    return read ? Read : Refused;
}

void dropMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

const std::vector<FuzzTarget>& fuzzTargets() {
    // clang-format off
    static const std::vector<FuzzTarget> targets = {
        {"project", "input.json", readProject}, {"project_gz", "input.json.gz", readProject},
        {"karo", "input.mark", import<pxm::KAROMarkReader>}, {"voc", "input.voc", import<pxm::VOCReader>},
        {"labelme", "input.json", import<pxm::LabelMeReader>}, {"coco", "input.json", import<pxm::CocoReader>},
        {"coco_check", "input.json", checkDataset}, {"yolo_lines", "input.txt", checkYoloLines},
        {"registry", "registry/Fuzz.json", readRegistry},
        {"netpbm", "input.pgm", loadImage}, {"tiff", "input.tif", loadImage},
        {"tiff_pyramid", "input.tif", readPyramid}, {"png", "input.png", loadImage},
        {"jpeg", "input.jpg", loadImage}, {"bmp", "input.bmp", loadImage}, {"gif", "input.gif", loadImage},
        {"ico", "input.ico", loadImage}, {"jp2", "input.jp2", loadImage}, {"j2k", "input.j2k", loadImage},
        {"okav", "input.okav", loadImage}, {"okav_gz", "input.okav.gz", loadImage}};
    // clang-format on
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
    const QString base = access("/dev/shm", W_OK) == 0 ? QStringLiteral("/dev/shm") : QDir::tempPath();
    QByteArray pattern = QFile::encodeName(base + "/pixmarker-fuzz-XXXXXX");
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("cannot create a scratch directory in " + base.toStdString());
    scratch() = pattern.toStdString();
    std::atexit([] { QDir(QString::fromStdString(scratch())).removeRecursively(); });
    KYVO::MemoryBudget::setLimit(kFuzzMemoryBudget);
    // Readers log every fault they survive; millions of inputs would bury the fuzzer's own output.
    qInstallMessageHandler(dropMessage);
}

} // namespace pxmfuzz
