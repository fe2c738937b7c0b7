// SPDX-License-Identifier: MIT
#include "exchange/MaskImport.h"

#include "exchange/ExchangeTestSupport.h"

using namespace pxm;
using pxmtest::TempDir;

namespace {

/// Writes an 8-bit mask of the given size whose voxel i holds values[i % values.size()].
QString writeMask(const TempDir& dir, const QString& name, KYVO::CSize size, std::vector<uint8_t> values,
                  KYVO::EnImageType type = KYVO::IMAGE_GREY_8) {
    KYVO::CImage mask(type, size);
    for (std::size_t i = 0; i < size.Elements(); ++i)
        mask.data()[i * mask.bytesPerVoxel()] = values[i % values.size()];
    KYVO::CImageIo2::Save(dir.localPath(name), mask);
    return dir.path(name);
}

/// Each label's name, mask id and colour, and each image's path, mask path and first mask values.
QStringList state(const Project& project) {
    QStringList lines;
    for (const Label* label : project.labels())
        lines << QString("%1 mask=%2 %3").arg(label->name()).arg(label->maskId()).arg(label->color().name());
    for (const LabeledImage* image : project.images()) {
        QStringList values;
        for (std::size_t i = 0; image->mask() && i < std::min<std::size_t>(image->mask()->byteCount(), 16);
             ++i)
            values << QString::number(image->mask()->data()[i]);
        lines << QString("%1 mask=%2 [%3]").arg(image->imagePath(), image->maskPath(), values.join(' '));
    }
    return lines;
}

class MaskImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        a = pxmtest::addMemoryImage(project, 4, 4, 1, "a.png");
        b = pxmtest::addMemoryImage(project, 4, 4, 1, "b.png");
        pxmtest::addLabel(project, "cell", 11, 1);
        pxmtest::addLabel(project, "nucleus", 12, 2);
        project.undoStack()->clear();
    }
    Project project;
    LabeledImage* a = nullptr;
    LabeledImage* b = nullptr;
    TempDir dir;
};

} // namespace

TEST_F(MaskImportTest, MasksGoToTheCurrentImageOrInSortedOrderToAllAsOneUndoStep) {
    const QString one = writeMask(dir, "m.pgm", {4, 4, 1}, {0, 1, 2, 1});
    const QString second = writeMask(dir, "mask_b.pgm", {4, 4, 1}, {2});
    const QString first = writeMask(dir, "mask_a.pgm", {4, 4, 1}, {1});
    const QString unknown = writeMask(dir, "u.pgm", {4, 4, 1}, {0, 1, 7, 9, 7});
    const QString ones = QString("1 ").repeated(16).trimmed(), twos = QString("2 ").repeated(16).trimmed();
    const struct {
        int current;
        QStringList paths;
        QVector<int> unknownValues;
        QStringList after; // the new labels and images as state() gives them after the import
    } cases[] = {
        {1,
         {one},
         {},
         {"a.png mask= []", "b.png mask=" + one + " [" + QString("0 1 2 1 ").repeated(4).trimmed() + "]"}},
        // Chosen in reverse: the sorted paths meet the images in project order.
        {0,
         {second, first},
         {},
         {"a.png mask=" + first + " [" + ones + "]", "b.png mask=" + second + " [" + twos + "]"}},
        // Values no label has become labels named after them, with the palette's colours, in the same step.
        {1,
         {unknown},
         {7, 9},
         {"Label 7 mask=7 #800000", "Label 9 mask=9 #000080", "a.png mask= []",
          "b.png mask=" + unknown + " [" + QString("0 1 7 9 7 ").repeated(3) + "0]"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.paths.join(' ').toStdString());
        project.setCurrentImageIndex(c.current);
        const QStringList before = state(project);
        const MaskImport::Plan plan = MaskImport::plan(&project, c.paths);
        ASSERT_TRUE(plan.ok()) << plan.errors.join('\n').toStdString();
        EXPECT_EQ(plan.unknownValues, c.unknownValues);
        EXPECT_EQ(state(project), before) << "planning changes nothing";
        ASSERT_TRUE(MaskImport::apply(&project, plan, c.current == 1));
        EXPECT_EQ(project.undoStack()->count(), 1);
        const QStringList after = state(project);
        EXPECT_EQ(after, QStringList({"cell mask=1 #ff0000", "nucleus mask=2 #ff0000"}) + c.after)
            << "the labels stay as they were";
        EXPECT_EQ(b->maskState(), LabeledImage::MaskState::Ok);
        project.undoStack()->undo();
        EXPECT_EQ(state(project), before);
        project.undoStack()->redo();
        EXPECT_EQ(state(project), after);
        project.undoStack()->undo();
        project.undoStack()->clear();
    }
}

TEST_F(MaskImportTest, RefusalsLeaveTheProjectUnchanged) {
    const QString good = writeMask(dir, "good.pgm", {4, 4, 1}, {1});
    const QString small = writeMask(dir, "small.pgm", {3, 4, 1}, {1});
    const QString deep = writeMask(dir, "deep.okav", {4, 4, 2}, {1});
    const QString rgb = writeMask(dir, "rgb.ppm", {4, 4, 1}, {1}, KYVO::IMAGE_RGB_8I);
    const QString bits = writeMask(dir, "bits.pbm", {4, 4, 1}, {1}, KYVO::IMAGE_BOOL);
    pxmtest::writeFile(dir.path("broken.pgm"), "P5\n4 4\n255\nxx");
    struct Case {
        QStringList paths;
        MaskImport::Status status;
        QString message; // a part of the one error line
    } cases[] = {
        {{small}, MaskImport::Status::Invalid, "'small.pgm' is 3 x 4 pixels, but the image 'a.png' is 4 x 4"},
        {{deep}, MaskImport::Status::Invalid, "'deep.okav' is 4 x 4 x 2 pixels"},
        {{rgb}, MaskImport::Status::Invalid, "'rgb.ppm' has pixels of type IMAGE_RGB_8I"},
        {{bits}, MaskImport::Status::Invalid, "'bits.pbm' has pixels of type IMAGE_BOOL"},
        {{dir.path("broken.pgm")}, MaskImport::Status::Invalid, "could not be read"},
        {{good, good, good}, MaskImport::Status::InvalidCount, ""},
        // One bad mask of two refuses both.
        {{good, small}, MaskImport::Status::Invalid, "'small.pgm' is 3 x 4 pixels, but the image 'b.png'"},
    };
    const QStringList before = state(project);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.paths.join(' ').toStdString());
        const MaskImport::Plan plan = MaskImport::plan(&project, c.paths);
        EXPECT_EQ(plan.status, c.status);
        EXPECT_FALSE(MaskImport::apply(&project, plan, true));
        if (!c.message.isEmpty()) {
            ASSERT_EQ(plan.errors.size(), 1);
            EXPECT_TRUE(plan.errors[0].contains(c.message)) << plan.errors[0].toStdString();
        }
        EXPECT_TRUE(state(project) == before && project.undoStack()->count() == 0);
    }
    project.setCurrentImageIndex(-1);
    EXPECT_EQ(MaskImport::plan(&project, {good}).status, MaskImport::Status::NoImage);
}

TEST_F(MaskImportTest, ReplacingAMaskClearsErasuresAndUndoRestoresMaskAndErasures) {
    // A mask from a file, as after opening a project; one voxel erased and one reassigned in memory.
    const QString old = writeMask(dir, "old.pgm", {4, 4, 1}, {1});
    a->setMaskPath(old);
    a->loadMask(true, false);
    ASSERT_NE(a->mask(), nullptr);
    a->eraseOverlay()->data()[0] = 1;
    a->mask()->data()[5] = 2;
    const QString path = writeMask(dir, "new.pgm", {4, 4, 1}, {2});
    ASSERT_TRUE(MaskImport::apply(&project, MaskImport::plan(&project, {path}), false));
    EXPECT_TRUE(a->eraseOverlay()->data()[0] == 0 && a->mask()->data()[0] == 2)
        << "the old erasures do not apply to the new mask";

    // Unmodified and known by its file, the imported mask may be swapped out and read again.
    EXPECT_TRUE(a->maskPath() == path && !a->maskModified());

    project.undoStack()->undo();
    EXPECT_EQ(a->maskPath(), old);
    ASSERT_NE(a->mask(), nullptr);
    EXPECT_TRUE(a->mask()->data()[5] == 2 && a->mask()->data()[4] == 1) << "the edit made in memory is back";
    a->ensureEraseOverlay();
    EXPECT_EQ(a->eraseOverlay()->data()[0], 1);
}

TEST_F(MaskImportTest, AnImageNeverLoadedIsLoadedToCheckTheMask) {
    const QString imagePath = dir.path("img.pgm");
    KYVO::CImageIo2::Save(dir.localPath("img.pgm"), KYVO::CImage(KYVO::IMAGE_GREY_8, {5, 3, 1}));
    auto* lazy = new LabeledImage(&project);
    lazy->setImagePath(imagePath);
    project.addImage(lazy);
    project.setCurrentImageIndex(2);
    EXPECT_FALSE(MaskImport::plan(&project, {writeMask(dir, "m4.pgm", {4, 4, 1}, {1})}).ok());
    const MaskImport::Plan plan = MaskImport::plan(&project, {writeMask(dir, "m5.pgm", {5, 3, 1}, {1})});
    ASSERT_TRUE(plan.ok());
    EXPECT_EQ(lazy->image(), nullptr) << "the image is not kept in memory for the check";
    EXPECT_TRUE(MaskImport::apply(&project, plan, false) && lazy->maskPath() == dir.path("m5.pgm"));

    auto* missing = new LabeledImage(&project);
    missing->setImagePath(dir.path("nowhere.pgm"));
    project.addImage(missing);
    project.setCurrentImageIndex(3);
    const MaskImport::Plan refused = MaskImport::plan(&project, {dir.path("m5.pgm")});
    ASSERT_EQ(refused.errors.size(), 1);
    EXPECT_TRUE(refused.errors[0].contains("could not be loaded")) << refused.errors[0].toStdString();
}
