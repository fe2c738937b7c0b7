// SPDX-License-Identifier: MIT
// Project files that declare more than this machine could ever hold are refused by the reader,
// with its message, before the scenes or volumes behind the numbers exist.
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "platform/MemoryBudget.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace pxm;

namespace {

struct Declared {
    double width, height;
    int depth;
    int channels = 1;
};

/// A project of images with the declared sizes, each with `depth` empty scenes.
QByteArray document(const QList<Declared>& images) {
    QByteArray text = R"({"$type":"pxm::Project","labels":[],"currentImageIndex":0,"images":[)";
    for (int i = 0; i < images.size(); ++i) {
        const Declared& d = images[i];
        text += QString(R"(%1{"$type":"pxm::LabeledImage","width":%2,"height":%3,"depth":%4,)"
                        R"("colorChannels":%5,"imagePath":"i%6.png","scenes":[)")
                    .arg(i ? "," : "")
                    .arg(d.width, 0, 'g', 17)
                    .arg(d.height, 0, 'g', 17)
                    .arg(d.depth)
                    .arg(d.channels)
                    .arg(i)
                    .toUtf8();
        for (int z = 0; z < d.depth; ++z)
            text += QString(R"(%1{"$type":"pxm::Scene","zLayer":%2,"labelItems":[]})")
                        .arg(z ? "," : "")
                        .arg(z)
                        .toUtf8();
        text += "]}";
    }
    return text + "]}";
}

/// The reader's message, or "read" with the number of images.
QString readBack(const QByteArray& text) {
    pxmtest::TempDir dir;
    const QString path = dir.path("p.json");
    pxmtest::writeFile(path, text);
    Project project;
    try {
        ProjectReader::read(path, &project);
        return QString("read %1").arg(project.images().size());
    } catch (const DeserializationError& e) {
        return e.message();
    }
}

struct BudgetScope {
    explicit BudgetScope(std::uint64_t bytes) { KYVO::MemoryBudget::setLimit(bytes); }
    ~BudgetScope() { KYVO::MemoryBudget::setLimit(0); }
};

} // namespace

TEST(ProjectLimits, AbsurdSizesAreRefusedOnAnyMachine) {
    EXPECT_EQ(
        readBack(document({{4294967295.0, 4294967295.0, 1}})),
        "Image: The declared size 4294967295 x 4294967295 x 1 does not fit in the memory of this machine.");
    EXPECT_EQ(readBack(document({{1 << 20, 1 << 20, 3, 3}})),
              "Image: The declared size 1048576 x 1048576 x 3 does not fit in the memory of this machine.");
    EXPECT_EQ(readBack(document({{2048, 2048, 3, 3}, {0, 0, 2}})), "read 2")
        << "real sizes and unknown ones pass";
}

TEST(ProjectLimits, TheBudgetBoundsEachImageAndAllLayersTogether) {
    // 1 MiB: an image holds its pixels, a mask and an erase overlay (channels + 2 bytes per
    // voxel) and every layer costs 4 KiB of scene.
    const BudgetScope budget(1 << 20);
    struct Case {
        QList<Declared> images;
        QString outcome;
    };
    const QList<Case> cases = {
        {{{512, 400, 1, 3}}, "read 1"},
        {{{512, 512, 1, 3}},
         "Image: The declared size 512 x 512 x 1 does not fit in the memory of this machine."},
        {{{256, 256, 6, 1}},
         "Image: The declared size 256 x 256 x 6 does not fit in the memory of this machine."},
        {{{1, 1, 200}, {1, 1, 50}}, "read 2"},
        {{{1, 1, 300}}, "Image: The declared size 1 x 1 x 300 does not fit in the memory of this machine."},
        // Each image fits alone; their scenes together do not.
        {{{1, 1, 200}, {1, 1, 56}, {1, 1, 1}},
         "Project: The images declare 257 z-layers or more, more than the memory of this machine can hold."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.outcome.toStdString());
        EXPECT_EQ(readBack(document(c.images)), c.outcome);
    }
}
