// SPDX-License-Identifier: MIT
#include "platform/CRegistry.h"
#include "platform/CValueVector.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

using namespace KYVO;

namespace {

// Points the process-wide registry at a fresh directory for one test and restores it afterwards.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        CRegistry::SetStorageDirectory(dir.path("store"));
        CRegistry::Obj().Clear();
    }
    void TearDown() override {
        CRegistry::Obj().Clear();
        CRegistry::SetStorageDirectory(QString());
    }
    QStringList storedFiles() const { return QDir(dir.path("store")).entryList(QDir::Files | QDir::Hidden); }

    pxmtest::TempDir dir;
};

} // namespace

TEST_F(RegistryTest, RoundTripOfEveryType) {
    CRegistry& registry = CRegistry::Obj();
    EXPECT_EQ(registry.StoragePath("Lumarka"), dir.path("store/Lumarka.json"));
    EXPECT_TRUE(registry.FromStorage("Lumarka")) << "a first start has no file yet";
    EXPECT_EQ(registry.size(), 0u);

    registry.SetStringVector("main/RecentProjects", {"/data/b.json", "/data/a b/ä.json.gz"});
    registry.SetString("main/Settings/View/CameraMode", "perImage");
    registry.SetLong("main/Settings/View/ViewRadius", 200);
    registry.SetDouble("main/Settings/View/ViewZoom", 2.0);
    registry.SetDouble("main/Settings/Label/PenWidth", 0.1);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.SetLong("limits/max", std::numeric_limits<int64_t>::max());
    registry.SetLong("limits/min", std::numeric_limits<int64_t>::min());
    registry.Set("limits/empty", new CValueMap);
    std::unique_ptr<CValue> saved(registry.Clone());
    ASSERT_TRUE(registry.ToStorage("Lumarka"));
    EXPECT_EQ(storedFiles(), QStringList{"Lumarka.json"}) << "no temporary file is left behind";

    registry.Clear();
    registry.SetLong("stale", 1);
    ASSERT_TRUE(registry.FromStorage("Lumarka"));
    EXPECT_FALSE(registry.Has("stale")) << "loading replaces the content";
    EXPECT_TRUE(registry.Equals(*saved));
    EXPECT_EQ(registry.GetStringVector("main/RecentProjects"),
              (std::vector<std::string>{"/data/b.json", "/data/a b/ä.json.gz"}));
    EXPECT_EQ(registry.GetLong("limits/min"), std::numeric_limits<int64_t>::min());
    CValue::EnErrType err;
    registry.GetLong("main/Settings/View/ViewZoom", 0, &err);
    EXPECT_EQ(err, CValue::ERR_WRONG_TYPE);
    EXPECT_EQ(registry.GetDouble("main/Settings/View/ViewZoom"), 2.0);

    EXPECT_FALSE(registry.ToStorage("../escape"));
    EXPECT_FALSE(registry.FromStorage(""));
}

TEST_F(RegistryTest, CorruptStoreIsMovedAsideAndStartsEmpty) {
    CRegistry& registry = CRegistry::Obj();
    const QByteArray damaged[] = {"{\"main\": {\"RecentProjects\": [\"/a.json\"", "[1, 2]",
                                  "\x00\x01garbage"};
    for (const QByteArray& content : damaged) {
        SCOPED_TRACE(content.toStdString());
        QDir(dir.path("store")).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(dir.path("store")));
        ASSERT_TRUE(pxmtest::writeFile(registry.StoragePath("Lumarka"), content));
        registry.SetLong("before", 1);

        EXPECT_FALSE(registry.FromStorage("Lumarka"));
        EXPECT_EQ(registry.size(), 0u);
        const QStringList files = storedFiles();
        ASSERT_EQ(files.size(), 1);
        EXPECT_TRUE(files[0].startsWith("Lumarka.json.corrupt-")) << files[0].toStdString();
        EXPECT_EQ(pxmtest::readFile(dir.path("store/" + files[0])), content) << "the damaged file is kept";

        registry.SetStringVector("main/RecentProjects", {"/b.json"});
        ASSERT_TRUE(registry.ToStorage("Lumarka"));
        registry.Clear();
        ASSERT_TRUE(registry.FromStorage("Lumarka"));
        EXPECT_EQ(registry.GetStringVector("main/RecentProjects"), std::vector<std::string>{"/b.json"});
        EXPECT_EQ(storedFiles().size(), 2);
    }
}

TEST_F(RegistryTest, UnwritableStoreFailsAndKeepsTheOldFile) {
    CRegistry& registry = CRegistry::Obj();
    // A plain file where the directory should be cannot hold a store.
    ASSERT_TRUE(pxmtest::writeFile(dir.path("blocked"), "x"));
    CRegistry::SetStorageDirectory(dir.path("blocked"));
    registry.SetLong("a", 1);
    EXPECT_FALSE(registry.ToStorage("Lumarka"));

    // A directory where the file should be: the save fails and nothing is left around it.
    CRegistry::SetStorageDirectory(dir.path("store"));
    ASSERT_TRUE(QDir().mkpath(dir.path("store/Lumarka.json")));
    EXPECT_FALSE(registry.ToStorage("Lumarka"));
    EXPECT_TRUE(storedFiles().isEmpty());
    EXPECT_TRUE(QFileInfo(dir.path("store/Lumarka.json")).isDir());
}
