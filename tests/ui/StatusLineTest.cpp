// SPDX-License-Identifier: MIT
#include "ui/StatusFormat.h"

#include "display/CImageInfo.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "ui/MainWindow.h"
#include "UiTestSupport.h"

#include <QLabel>
#include <QProgressBar>
#include <cmath>

using pxm::expandStatusFormat;

namespace {

const QString kDefault = "(min=%imin max=%imax mean=%imean sd=%isigma)| %t | (%s)";

Pictor::CImageInfo info(uint64_t w, uint64_t h, uint64_t d, const char* type, double min, double max, double mean,
                        double m, uint64_t n) {
    Pictor::CImageInfo record;
    record.width = w;
    record.height = h;
    record.depth = d;
    record.typeName = type;
    record.min = min;
    record.max = max;
    record.mean = mean;
    record.sumSquaredDeviations = m;
    record.count = n;
    for (uint64_t z = 0; z < d; ++z)
        record.slices.push_back({double(z), double(10 + z), double(5 + z), 8.0, 5});
    return record;
}

class StatusLineTest : public uitest::UiTest {};

} // namespace

TEST(StatusFormat, ExpandsPlaceholdersInTheirOrderAndDropsTheBars) {
    const Pictor::CImageInfo grey = info(640, 480, 1, "IMAGE_GREY_8", 0, 255, 127.5, 1.0e9, 640 * 480);
    const QString sd = QString::number(std::sqrt(1.0e9 / (640.0 * 480.0 - 1.0)), 'g', 6);
    EXPECT_EQ(expandStatusFormat(kDefault, &grey, 0), "(min=0 max=255 mean=127.5 sd=" + sd + ") GREY_8  (640x480)");

    struct Case {
        QString format;
        Pictor::CImageInfo record;
        uint64_t z;
        QString expected;
    };
    const Pictor::CImageInfo volume = info(64, 32, 20, "IMAGE_GREY_F", -1.5, 2.25, 0.125, 4.0, 5);
    const std::vector<Case> cases = {
        {"%s", volume, 0, "64x32x20"},
        {"%w|%h|%d", volume, 0, "643220"},
        {"%t %t", info(2, 2, 1, "IMAGE_RGB_8I", 0, 1, 0, 0, 12), 0, "RGB_8I RGB_8I"},
        // Fewer than two values have no spread.
        {"sd=%isigma", info(1, 1, 1, "IMAGE_GREY_8", 7, 7, 7, 0, 1), 0, "sd=-1"},
        // Slice statistics of the shown layer, and "n/a" where the record has none.
        {"%pmin %pmax %pmean %psigma", volume, 3, "3 13 8 1.41421"},
        {"%pmin %pmax %pmean %psigma", info(5, 5, 5, "IMAGE_GREY_8", 0, 0, 0, 0, 0), 5, "n/a n/a n/a n/a"},
        {"%imin..%imax mean %imean", volume, 0, "-1.5..2.25 mean 0.125"},
        // Without "|" the format is one piece; text around placeholders stays.
        {"size %s!", volume, 0, "size 64x32x20!"},
        {"||", volume, 0, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(expandStatusFormat(c.format, &c.record, c.z), c.expected) << c.format.toStdString();
    EXPECT_EQ(expandStatusFormat(kDefault, nullptr, 0), "no info");
}

TEST_F(StatusLineTest, SizeLabelFollowsTheSceneAndTheFormatSetting) {
    pxm::Project project;
    pxm::MainWindow window(nullptr, false);
    window.setProject(&project);
    window.show();
    EXPECT_TRUE(window.sizeLabel()->isHidden()) << "no scene, no size";
    EXPECT_EQ(window.statusFormat(), kDefault);

    addImage(project, writeImage("grey.pgm", 3, 2, '\x20'));
    ASSERT_FALSE(window.sizeLabel()->isHidden());
    EXPECT_EQ(window.sizeLabel()->text(), "(min=32 max=32 mean=32 sd=0) GREY_8  (3x2)");

    project.setSetting("StatusLine.format", "%w by %h, slice %pmean");
    EXPECT_EQ(window.sizeLabel()->text(), "3 by 2, slice 32");
    EXPECT_EQ(window.statusFormat(), "%w by %h, slice %pmean");

    // Another slice of a volume shows its own figures.
    auto* volume = new pxm::LabeledImage(&project);
    auto* data = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(2, 2, 3));
    for (int i = 0; i < 12; ++i)
        data->data()[i] = uint8_t(i / 4 * 10);
    volume->setImage(data, true);
    project.addImage(volume);
    project.setCurrentImageIndex(1);
    project.setSetting("StatusLine.format", "%s|: %pmean");
    EXPECT_EQ(window.sizeLabel()->text(), "2x2x3: 0");
    project.setCurrentZLayer(2);
    EXPECT_EQ(window.sizeLabel()->text(), "2x2x3: 20");

    project.setCurrentImageIndex(-1);
    EXPECT_TRUE(window.sizeLabel()->isHidden());
    window.close();
}

TEST_F(StatusLineTest, StatusBarWidgetsStartHiddenAndTheIndicatorShowsOnRequest) {
    pxm::MainWindow window(nullptr, false);
    window.show();
    EXPECT_FALSE(window.loadingIndicator()->isVisible());
    EXPECT_FALSE(window.progressBar()->isVisible());
    EXPECT_FALSE(window.sizeLabel()->isVisible());
    window.showLoadingIndicator();
    EXPECT_TRUE(window.loadingIndicator()->isVisible());
    window.hideLoadingIndicator();
    EXPECT_FALSE(window.loadingIndicator()->isVisible());
    window.close();
}
