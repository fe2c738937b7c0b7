// SPDX-License-Identifier: MIT
#include "display/ImageItem.h"
#include "exchange/ExportMaskWorker.h"
#include "platform/CImageIo2.h"
#include "platform/io/TiffPyramid.h"
#include "scene/ContrastSettings.h"
#include "scene/Scene.h"
#include "support/PyramidTiff.h"
#include "tools/View.h"
#include "ui/ContrastDock.h"
#include "ui/ContrastPresets.h"
#include "ui/UiTestSupport.h"

using Pictor::DisplayContrast;
using pxm::ContrastSettings;

namespace {

/// A shown window on two 16-bit 40 x 30 ramps 0, 50, ..., 59950 on disk, the contrast panel open.
class ContrastPanelTest : public uitest::WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        label = project.createLabel();
        for (const char* name : {"a.tif", "b.tif"}) {
            KYVO::CImage ramp(KYVO::IMAGE_GREY_16, KYVO::CSize(40, 30, 1));
            for (std::size_t i = 0; i < 1200; ++i)
                reinterpret_cast<uint16_t*>(ramp.data())[i] = uint16_t(i * 50);
            KYVO::CImageIo2::Save(dir.path(name).toStdString(), ramp);
            addImage(project, dir.path(name));
        }
        open();
        find(pxm::MainAction::ContrastPanel)->trigger();
        dock = window.contrastDock();
    }
    /// The contrast the image item on screen paints with.
    static DisplayContrast shown(const pxm::MainWindow& w) {
        auto* item = dynamic_cast<Pictor::ImageItem*>(w.shownScene()->imageItem());
        return item ? item->contrast() : DisplayContrast::of(-1, -1);
    }
    template <class T> T* control(const char* name) const { return dock->findChild<T*>(name); }

    pxm::Label* label = nullptr;
    pxm::ContrastDock* dock = nullptr;
};

} // namespace

TEST_F(ContrastPanelTest, EachImageKeepsItsContrastThroughASaveAndReopen) {
    ASSERT_TRUE(dock->isVisible() && dock->histogram().count == 1200u);
    const DisplayContrast a = DisplayContrast::of(1000, 30000);
    dock->setWindow(1000, 30000);
    EXPECT_EQ(shown(window), a);
    // The second image has none of its own: it shows, and the boxes offer, its full range.
    project.setCurrentImageIndex(1);
    EXPECT_EQ(std::pair(shown(window).isSet(), control<QDoubleSpinBox>("contrastMaximum")->value()),
              std::pair(false, 59950.0));
    control<QDoubleSpinBox>("contrastGamma")->setValue(2.0);
    const DisplayContrast b = DisplayContrast::of(0, 59950, 2.0);
    EXPECT_EQ(shown(window), b);
    project.setCurrentImageIndex(0);
    EXPECT_EQ(std::pair(shown(window), control<QDoubleSpinBox>("contrastMinimum")->value()),
              std::pair(a, 1000.0));

    window.doSave(dir.path("p.json"));
    pxm::MainWindow reopened(nullptr, false);
    ASSERT_EQ(reopened.openProjectFile(dir.path("p.json")), &reopened);
    reopened.show();
    const pxm::Project* back = reopened.project();
    EXPECT_EQ(std::tuple(ContrastSettings::of(back, back->images()[0]),
                         ContrastSettings::of(back, back->images()[1]), shown(reopened)),
              std::tuple(a, b, a));

    // One for all starts from the shown image's contrast; turned off, each has its own again.
    control<QCheckBox>("contrastSameForAll")->setChecked(true);
    project.setCurrentImageIndex(1);
    EXPECT_EQ(shown(window), a);
    dock->resetContrast();
    EXPECT_FALSE(ContrastSettings::of(&project, project.images()[0]).isSet());
    control<QCheckBox>("contrastSameForAll")->setChecked(false);
    EXPECT_EQ(shown(window), b);
}

TEST_F(ContrastPanelTest, PixelsAndMasksStayWhileTheSnapshotFollowsTheContrast) {
    window.shownScene()->addLabelItem(new QGraphicsRectItem(5, 5, 10, 8), label);
    const KYVO::CImage* pixels = project.images()[0]->image();
    const QByteArray stored(reinterpret_cast<const char*>(pixels->data()), int(pixels->byteCount()));
    auto exportTo = [this](const QString& folder) {
        QDir().mkpath(dir.path(folder));
        pxm::ExportMaskWorker worker(&project);
        worker.setDirectory(dir.path(folder));
        worker.setFilename("{image_name}");
        worker.setFullMask(true), worker.setBoolMask(true), worker.setSnapshot(true);
        worker.exportProject();
        QMap<QString, QByteArray> files;
        for (const QString& name : QDir(dir.path(folder)).entryList(QDir::Files))
            files[name] = pxmtest::readFile(dir.path(folder + "/" + name));
        return files;
    };
    const QMap<QString, QByteArray> before = exportTo("before");
    dock->autoContrast();
    dock->autoContrast();
    EXPECT_EQ(ContrastSettings::of(&project, project.images()[0]), DisplayContrast::of(200, 59750));
    const QMap<QString, QByteArray> after = exportTo("after");

    EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(pixels->data()), int(pixels->byteCount())), stored);
    ASSERT_EQ(before.keys(), after.keys());
    EXPECT_GE(before.size(), 5);
    for (const QString& name : before.keys()) // only the snapshot of the image whose contrast changed differs
        EXPECT_EQ(before[name] != after[name], name.startsWith("a") && name.contains("snapshot"))
            << name.toStdString();
}

TEST_F(ContrastPanelTest, ColourChannelsTheViewedRegionAndImagesReadAsNeeded) {
    // Zoomed in on the top rows, "Auto from view" sees only their values; "Auto" sees all.
    pxm::View* view = window.view();
    view->resetTransform();
    view->scale(100, 100);
    view->centerOn(4, 3);
    control<QPushButton>("contrastAutoView")->click();
    EXPECT_LT(ContrastSettings::of(&project, project.images()[0]).channels[0].max, 20000.0);
    control<QPushButton>("contrastAuto")->click();
    EXPECT_EQ(ContrastSettings::of(&project, project.images()[0]), DisplayContrast::of(50, 59900));

    // A colour image: a channel chosen gets a window of its own, "All channels" one for all.
    auto* colour = new pxm::LabeledImage(&project);
    auto* rgb = new KYVO::CImage(KYVO::IMAGE_RGB_8I, KYVO::CSize(4, 1, 1));
    for (std::size_t i = 0; i < 12; ++i)
        rgb->data()[i] = uint8_t(10 + 90 * (i % 3));
    colour->setImage(rgb, true);
    project.addImage(colour);
    project.setCurrentImageIndex(2);
    auto* channel = control<QComboBox>("contrastChannel");
    ASSERT_TRUE(channel->isEnabled());
    channel->setCurrentIndex(2);
    EXPECT_EQ(std::pair(dock->histogram().count, dock->histogram().range()),
              std::pair(std::size_t(4), Pictor::ChannelWindow{100, 100}));
    dock->setWindow(50, 150);
    DisplayContrast green = DisplayContrast::of(0, 255);
    green.perChannel = true;
    green.channels[1] = {50, 150};
    EXPECT_EQ(shown(window), green);
    channel->setCurrentIndex(0);
    dock->setWindow(5, 15);
    EXPECT_EQ(shown(window), DisplayContrast::of(5, 15));

    // An image read as needed holds no pixels: the histogram and Auto come from its coarsest level.
    pxmtest::PyramidTiff tiff;
    tiff.width = tiff.height = 16400;
    tiff.levels = 7;
    tiff.tileValue = [](int level, uint32_t column, uint32_t row) {
        return uint8_t(level == 6 ? 100 + 30 * ((column + row) % 2) : 0);
    };
    pxmtest::writePyramidTiff(dir.localPath("huge.tif"), tiff);
    pxm::LabeledImage* huge = addImage(project, dir.path("huge.tif"));
    project.setCurrentImageIndex(3);
    ASSERT_TRUE(huge->tooLargeForPixels() && huge->pyramid());
    const auto& coarsest = huge->pyramid()->level(6);
    EXPECT_EQ(dock->histogram().count, uint64_t(coarsest.width) * coarsest.height);
    // Auto from the view's part, at 1:1 far from the origin: the region is scaled to the level.
    view->resetTransform();
    view->centerOn(12000, 9000);
    dock->autoContrastFromView();
    const DisplayContrast set = ContrastSettings::of(&project, huge);
    EXPECT_TRUE(set.isSet() && set.window(0).min >= 100 && set.window(0).max <= 140) << set.window(0).min;
}

TEST_F(ContrastPanelTest, PresetsAreKeptForTheUser) {
    using pxm::ContrastPreset;
    using pxm::ContrastPresets;
    EXPECT_EQ(std::pair(ContrastPresets::put({"flat", 5, 5}), ContrastPresets::put({"12-bit", 100, 4000})),
              std::pair(false, true));
    ContrastPresets::remove("8-bit");
    EXPECT_EQ(ContrastPresets::load(), (QList<ContrastPreset>{{"12-bit", 100, 4000}, {"16-bit", 0, 65535}}));
    // Saved from the panel under a name, a preset serves another image and goes with Delete.
    dock->setWindow(70, 1100);
    uitest::ModalAnswerer modals;
    modals.thenAs<QInputDialog>([](QInputDialog* dialog) {
        dialog->setTextValue(" cells ");
        dialog->accept();
    });
    control<QPushButton>("contrastSavePreset")->click();
    EXPECT_EQ(ContrastPresets::load().last(), (ContrastPreset{"cells", 70, 1100}));
    project.setCurrentImageIndex(1);
    auto* presets = control<QComboBox>("contrastPresets");
    ASSERT_EQ(presets->currentText(), "cells");
    emit presets->activated(presets->currentIndex());
    EXPECT_EQ(shown(window), DisplayContrast::of(70, 1100));
    control<QPushButton>("contrastDeletePreset")->click();
    EXPECT_EQ(std::pair(presets->findText("cells"), ContrastPresets::load().size()), std::pair(-1, 2));
}
