// SPDX-License-Identifier: MIT
// Replays every committed seed and every saved crash input through the fuzz harnesses, so that
// the readers keep reading what the writers write and a fixed crash stays fixed. Any compiler:
// the sanitizers of the normal suite do the checking that libFuzzer would.
#include "fuzz/harness/FuzzTarget.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

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
