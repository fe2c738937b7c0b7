// SPDX-License-Identifier: MIT
#include "ui/ImageFilter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QGraphicsRectItem>
#include <gtest/gtest.h>

using pxm::ImageFilter;
using pxm::Label;
using pxm::LabeledImage;
using pxm::Project;

namespace {

LabeledImage* namedImage(Project& project, const QString& path, int w, int h, int d = 1) {
    LabeledImage* image = pxmtest::addImage(project, w, h, d);
    image->setImagePath(path);
    return image;
}

void addShape(LabeledImage* image, int z, const Label* label) {
    image->scene(z)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), label);
}

QStringList passing(ImageFilter filter, const Project& project) {
    filter.prepare(&project);
    QStringList names;
    for (const LabeledImage* image : project.images())
        if (filter.matches(image))
            names << image->imagePath().section('/', -1);
    return names;
}

} // namespace

TEST(ImageFilter, NamePatternsWildcardAndRegularExpression) {
    Project project;
    namedImage(project, "/data/day1/Cell_01.png", 4, 4);
    namedImage(project, "/data/day2/cell_02.tif", 4, 4);
    namedImage(project, "/data/day2/nuc_03.png", 4, 4);
    using S = ImageFilter::PatternSyntax;
    const struct {
        const char* pattern;
        S syntax;
        QStringList expected;
    } cases[] = {
        {"cell*", S::Wildcard, {"Cell_01.png", "cell_02.tif"}},
        {"*.PNG", S::Wildcard, {"Cell_01.png", "nuc_03.png"}},
        {"cell", S::Wildcard, {}}, // a wildcard must match the whole name
        {"?uc_0[0-9].png", S::Wildcard, {"nuc_03.png"}},
        {"[!c]*", S::Wildcard, {"nuc_03.png"}},
        {"cell_0[1.png", S::Wildcard, {}}, // an open bracket is a plain character
        {"_0[12]", S::RegularExpression, {"Cell_01.png", "cell_02.tif"}},
        {"^nuc", S::RegularExpression, {"nuc_03.png"}},
        {"day2", S::RegularExpression, {}},                              // names only ...
        {"/day2/", S::RegularExpression, {"cell_02.tif", "nuc_03.png"}}, // ... unless a / asks for the path
        {"*/day1/*", S::Wildcard, {"Cell_01.png"}},
        {"(", S::RegularExpression, {}}, // unusable: lets nothing through
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        filter.namePattern = c.pattern;
        filter.patternSyntax = c.syntax;
        EXPECT_TRUE(filter.isActive());
        EXPECT_EQ(passing(filter, project), c.expected) << c.pattern;
        EXPECT_EQ(filter.isPatternValid(), QString(c.pattern) != "(") << c.pattern;
    }
}

TEST(ImageFilter, SizeBoundsAreInclusiveAndUnknownSizesFail) {
    Project project;
    namedImage(project, "small.png", 10, 20);
    namedImage(project, "wide.png", 100, 20);
    namedImage(project, "big.png", 100, 200);
    auto* unknown = new LabeledImage(&project); // never loaded: size 0
    unknown->setImagePath("unknown.png");
    project.addImage(unknown);

    const struct {
        int minW, maxW, minH, maxH;
        QStringList expected;
    } cases[] = {
        {0, 0, 0, 0, {"small.png", "wide.png", "big.png", "unknown.png"}},
        {10, 10, 0, 0, {"small.png"}},
        {11, 0, 0, 0, {"wide.png", "big.png"}},
        {0, 99, 0, 0, {"small.png"}},
        {0, 0, 20, 20, {"small.png", "wide.png"}},
        {50, 0, 0, 100, {"wide.png"}},
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        filter.minWidth = c.minW;
        filter.maxWidth = c.maxW;
        filter.minHeight = c.minH;
        filter.maxHeight = c.maxH;
        EXPECT_EQ(passing(filter, project), c.expected)
            << c.minW << " " << c.maxW << " " << c.minH << " " << c.maxH;
    }
}

TEST(ImageFilter, LabelsFromShapesOnEveryLayerAndFromLoadedMasks) {
    Project project;
    Label* cell = project.createLabel();    // mask id 1
    Label* nucleus = project.createLabel(); // mask id 2
    Label* unused = project.createLabel();  // mask id 3
    LabeledImage* shapes = namedImage(project, "shapes.png", 4, 4, 3);
    addShape(shapes, 2, cell); // on the last layer only
    addShape(shapes, 0, nucleus);
    LabeledImage* masked = namedImage(project, "masked.png", 2, 2);
    masked->setMask(pxmtest::volume(2, 2, 1, {0, 2, 0, 0}), true, false);
    LabeledImage* erased = namedImage(project, "erased.png", 2, 2);
    erased->setMask(pxmtest::volume(2, 2, 1, {3, 0, 0, 0}), true, false);
    erased->ensureEraseOverlay();
    erased->eraseOverlay()->data()[0] = 1; // the eraser took the only voxel of mask id 3
    namedImage(project, "empty.png", 4, 4);

    using M = ImageFilter::LabelMode;
    const struct {
        QList<Label*> labels;
        M mode;
        QStringList expected;
    } cases[] = {
        {{cell}, M::Any, {"shapes.png"}},
        {{nucleus}, M::Any, {"shapes.png", "masked.png"}},
        {{cell, nucleus}, M::All, {"shapes.png"}},
        {{cell, nucleus}, M::Any, {"shapes.png", "masked.png"}},
        {{unused}, M::Any, {}},
        {{cell, nucleus, unused}, M::None, {"erased.png", "empty.png"}},
        {{nucleus}, M::None, {"erased.png", "empty.png"}},
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        for (const Label* label : c.labels)
            filter.labelIds << label->id();
        filter.labelMode = c.mode;
        EXPECT_EQ(passing(filter, project), c.expected) << int(c.mode) << " " << c.labels.size();
    }

    // Criteria combine: the name must match as well.
    ImageFilter both;
    both.labelIds = {nucleus->id()};
    both.namePattern = "m*";
    EXPECT_EQ(passing(both, project), QStringList({"masked.png"}));
}

TEST(ImageFilter, KeptInTheProjectSettingsAndItsFile) {
    pxmtest::TempDir dir;
    Project project;
    Label* label = project.createLabel();
    ImageFilter filter;
    filter.labelIds = {label->id(), -7};
    filter.labelMode = ImageFilter::LabelMode::All;
    filter.namePattern = "^a.*";
    filter.patternSyntax = ImageFilter::PatternSyntax::RegularExpression;
    filter.minWidth = 3;
    filter.maxWidth = 300;
    filter.minHeight = 4;
    filter.maxHeight = 400;
    filter.store(&project);
    EXPECT_EQ(ImageFilter::load(&project), filter);

    const QString file = dir.path("filtered.json");
    pxm::ProjectSerializer::write(&project, file, false);
    Project reread;
    pxm::ProjectReader::read(file, &reread);
    EXPECT_EQ(ImageFilter::load(&reread), filter);

    // A cleared filter is stored as an empty entry and reads back inactive.
    ImageFilter().store(&project);
    EXPECT_FALSE(ImageFilter::load(&project).isActive());

    // Whatever a hand-edited file holds, reading it gives a usable filter.
    QVariantMap odd;
    odd["labels"] = QVariantList({"x", 1.5, 1e12, 42, 42});
    odd["labelMode"] = "sometimes";
    odd["pattern"] = QVariantList();
    odd["minWidth"] = -5;
    odd["maxHeight"] = "12";
    const ImageFilter read = ImageFilter::fromVariant(odd);
    EXPECT_EQ(read.labelIds, QList<int>({42}));
    EXPECT_EQ(read.labelMode, ImageFilter::LabelMode::Any);
    EXPECT_TRUE(read.namePattern.isEmpty());
    EXPECT_EQ(read.minWidth, 0);
    EXPECT_EQ(read.maxHeight, 12);
    EXPECT_FALSE(ImageFilter::fromVariant(QVariant("text")).isActive());
}
