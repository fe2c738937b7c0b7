// SPDX-License-Identifier: MIT
// Replays every committed seed and every saved crash input through the fuzz harnesses, so that
// the readers keep reading what the writers write and a fixed crash stays fixed. Any compiler:
// the sanitizers of the normal suite do the checking that libFuzzer would.
#include "fuzz/harness/FuzzTarget.h"
#include "platform/MemoryBudget.h"
#include "platform/io/TiffReader.h"

#include <QDir>
#include <QFile>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QStringList filesIn(const QString& dir) {
    QStringList paths;
    for (const QFileInfo& info : QDir(dir).entryInfoList(QDir::Files, QDir::Name))
        paths << info.absoluteFilePath();
    return paths;
}

int runOn(const pxmfuzz::FuzzTarget& target, const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray bytes = file.readAll();
    return target.run(reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size()));
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

TEST_F(FuzzReplay, EverySeedOfOurWritersIsRead) {
    ASSERT_EQ(pxmfuzz::fuzzTargets().size(), 17u);
    for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets()) {
        SCOPED_TRACE(target.name);
        const QStringList seeds = filesIn(QStringLiteral(PXM_FUZZ_DIR "/seeds/") + target.name);
        EXPECT_FALSE(seeds.isEmpty()) << "every target starts from seeds";
        for (const QString& seed : seeds)
            EXPECT_EQ(runOn(target, seed), pxmfuzz::Read) << seed.toStdString();
    }
}

TEST_F(FuzzReplay, SavedCrashInputsEndInAnOutcome) {
    int replayed = 0;
    for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets()) {
        SCOPED_TRACE(target.name);
        for (const QString& input : filesIn(QStringLiteral(PXM_FUZZ_DIR "/crashes/") + target.name)) {
            const int outcome = runOn(target, input);
            EXPECT_TRUE(outcome == pxmfuzz::Read || outcome == pxmfuzz::Refused) << input.toStdString();
            ++replayed;
        }
    }
    EXPECT_GT(replayed, 0) << "the known crash inputs are kept under tests/fuzz/crashes";
}

TEST_F(FuzzReplay, TruncatedSeedsAreRefusedOrRead) {
    // Every prefix of a seed is what a cut-off copy of a real file looks like: each of the first
    // few dozen lengths and then every 97th is tried.
    for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets()) {
        SCOPED_TRACE(target.name);
        const QStringList seeds = filesIn(QStringLiteral(PXM_FUZZ_DIR "/seeds/") + target.name);
        ASSERT_FALSE(seeds.isEmpty());
        QFile file(seeds.first());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.constData());
        // Line-based imports take an empty file as one without annotations; nothing else is empty.
        const bool emptyIsValid = target.name == std::string("karo") || target.name == std::string("voc");
        EXPECT_EQ(target.run(data, 0), emptyIsValid ? pxmfuzz::Read : pxmfuzz::Refused);
        for (int n = 1; n < bytes.size(); n += n < 48 ? 1 : 97) {
            const int outcome = target.run(data, std::size_t(n));
            EXPECT_TRUE(outcome == pxmfuzz::Read || outcome == pxmfuzz::Refused) << n;
        }
    }
}

TEST_F(FuzzReplay, AHeaderFullOfSamplesIsRefusedQuicklyWithoutTheMemoryItPromises) {
    // 331 bytes declaring 7173 x 3 pixels of 64767 float samples in strips of three rows: once
    // a 5.2 GiB strip buffer. Read in a child, so that its peak resident size is its own.
    const std::string path = PXM_FUZZ_DIR "/crashes/tiff/64767-samples-per-pixel-in-3-row-strips.tif";
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const std::uint64_t before = residentBytes();
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(channel[0]);
        // The machine's budget, not the fuzzers' small one, which would hide the fault.
        KYVO::MemoryBudget::setLimit(0);
        std::string message = "read";
        try {
            KYVO::io::TiffReader::read(path);
        } catch (const std::exception& e) {
            message = e.what();
        }
        const bool sent = write(channel[1], message.data(), message.size()) == ssize_t(message.size());
        _exit(sent ? 0 : 1);
    }
    close(channel[1]);
    std::string message;
    char buffer[512];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;)
        message.append(buffer, std::size_t(n));
    close(channel[0]);
    int status = 0;
    rusage usage{};
    ASSERT_EQ(wait4(child, &status, 0, &usage), child);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_NE(message.find("unsupported TIFF content: 64767 samples per pixel"), std::string::npos)
        << message;
    // The child starts with the pages it shares with us; what it adds is the reader's, plus
    // AddressSanitizer's shadow (an eighth of what it touches) and its allocator's first chunks.
    const std::uint64_t peak = std::uint64_t(usage.ru_maxrss) * 1024;
    const std::uint64_t growth = peak > before ? peak - before : 0;
    EXPECT_LT(growth, std::uint64_t(32) << 20) << "peak " << peak << " bytes, " << before << " before";
    EXPECT_LT(seconds, 2.0);
    RecordProperty("peak_growth_bytes", std::to_string(growth));
}
