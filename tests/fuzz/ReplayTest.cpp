// SPDX-License-Identifier: MIT
// Replays every seed and saved crash input through the fuzz harnesses; the suite's sanitizers do the
// checking.
#include "fuzz/harness/FuzzTarget.h"
#include "platform/MemoryBudget.h"
#include "platform/io/TiffReader.h"
#include "support/TestSupport.h"

#include <QDir>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The contents of the files in a folder, by path.
QList<QPair<QString, QByteArray>> filesIn(const QString& dir) {
    QList<QPair<QString, QByteArray>> files;
    for (const QFileInfo& info : QDir(dir).entryInfoList(QDir::Files, QDir::Name))
        files.append({info.absoluteFilePath(), pxmtest::readFile(info.absoluteFilePath())});
    return files;
}

int runOn(const pxmfuzz::FuzzTarget& target, const QByteArray& bytes, int size = -1) {
    return target.run(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                      std::size_t(size < 0 ? bytes.size() : size));
}

/// Whether the target read the first `size` bytes (all by default) or refused them.
bool readsOrRefuses(const pxmfuzz::FuzzTarget& target, const QByteArray& bytes, int size = -1) {
    const int outcome = runOn(target, bytes, size);
    return outcome == pxmfuzz::Read || outcome == pxmfuzz::Refused;
}

std::uint64_t residentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::uint64_t size = 0, resident = 0;
    statm >> size >> resident;
    return resident * std::uint64_t(sysconf(_SC_PAGESIZE));
}

class FuzzReplay : public ::testing::Test {
protected:
    static void SetUpTestSuite() { pxmfuzz::setUpFuzzing(); }
};

} // namespace

TEST_F(FuzzReplay, SeedsAreReadTheirPrefixesAndSavedCrashInputsEndInAnOutcome) {
    ASSERT_EQ(pxmfuzz::fuzzTargets().size(), 21u);
    int replayed = 0;
    for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets()) {
        SCOPED_TRACE(target.name);
        EXPECT_EQ(pxmfuzz::findFuzzTarget(target.name), &target);
        const auto seeds = filesIn(QStringLiteral(PXM_FUZZ_DIR "/seeds/") + target.name);
        ASSERT_FALSE(seeds.isEmpty()) << "every target starts from seeds";
        for (const auto& seed : seeds)
            EXPECT_EQ(runOn(target, seed.second), pxmfuzz::Read) << seed.first.toStdString();
        // Prefixes are cut-off files (the first few dozen lengths, then every 97th); only line-based formats
        // read "".
        const QByteArray& bytes = seeds.first().second;
        const bool emptyIsValid = QStringList{"karo", "voc", "yolo_lines"}.contains(target.name);
        EXPECT_EQ(runOn(target, bytes, 0), emptyIsValid ? pxmfuzz::Read : pxmfuzz::Refused);
        for (int n = 1; n < bytes.size(); n += n < 48 ? 1 : 97)
            EXPECT_TRUE(readsOrRefuses(target, bytes, n)) << n;
        for (const auto& input : filesIn(QStringLiteral(PXM_FUZZ_DIR "/crashes/") + target.name)) {
            EXPECT_TRUE(readsOrRefuses(target, input.second)) << input.first.toStdString();
            ++replayed;
        }
    }
    EXPECT_GT(replayed, 0) << "the known crash inputs are kept under tests/fuzz/crashes";
    EXPECT_EQ(pxmfuzz::findFuzzTarget("none"), nullptr);
}

TEST_F(FuzzReplay, AHeaderFullOfSamplesIsRefusedQuicklyWithoutTheMemoryItPromises) {
    // 331 bytes declaring 7173 x 3 pixels of 64767 float samples in strips of three rows: once
    // a 5.2 GiB strip buffer. Read in a child, so that its peak resident size is its own.
    const std::string path = PXM_FUZZ_DIR "/crashes/tiff/64767-samples-per-pixel-in-3-row-strips.tif";
    const std::uint64_t before = residentBytes();
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The machine's budget, not the fuzzers' small one, which would hide the fault.
        KYVO::MemoryBudget::setLimit(0);
        const std::string message = pxmtest::thrownMessage([&] { KYVO::io::TiffReader::read(path); });
        // The child ends well only with the refusal; any other outcome goes to standard error.
        const bool refused =
            message.find("unsupported TIFF content: 64767 samples per pixel") != std::string::npos;
        if (!refused)
            std::fprintf(stderr, "not the refusal: '%s'\n", message.c_str());
        _exit(refused ? 0 : 1);
    }
    int status = 0;
    rusage usage{};
    ASSERT_EQ(wait4(child, &status, 0, &usage), child);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child's refusal, status " << status;
    // What the child adds is the reader's, AddressSanitizer's shadow and its allocator's first chunks.
    const std::uint64_t peak = std::uint64_t(usage.ru_maxrss) * 1024;
    const std::uint64_t growth = peak > before ? peak - before : 0;
    EXPECT_LT(growth, std::uint64_t(32) << 20) << "peak " << peak << " bytes, " << before << " before";
    EXPECT_LT(seconds, 2.0);
    RecordProperty("peak_growth_bytes", std::to_string(growth));
}
