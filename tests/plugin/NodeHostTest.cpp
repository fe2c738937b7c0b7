// SPDX-License-Identifier: MIT
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CValueJson.h"
#include "platform/CValueMap.h"
#include "platform/CValueVector.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

// Runs the built host with a private configuration directory and no display.
class NodeHostTest : public ::testing::Test, public pxmtest::ChildProgram {
protected:
    NodeHostTest() : ChildProgram(PXM_NODE_HOST_BINARY) {}
    void SetUp() override {
        // An image, a mask with the value 4 in its last pixel, a float mask and a zone image of one row.
        KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(8, 6)),
            mask(KYVO::IMAGE_GREY_8, KYVO::CSize(8, 6));
        *mask.voxel(7, 5, 0) = 4;
        KYVO::CImage zones(KYVO::IMAGE_GREY_F, KYVO::CSize(5, 1));
        for (std::size_t x = 0; x < 5; ++x)
            *reinterpret_cast<float*>(zones.voxel(x, 0, 0)) = std::vector<float>{0, 0, 2, 3, 6}[x];
        KYVO::CImageIo2::Save(dir.localPath("image.pgm"), image);
        KYVO::CImageIo2::Save(dir.localPath("mask.pgm"), mask);
        KYVO::CImageIo2::Save(dir.localPath("float.pfm"),
                              KYVO::CImage(KYVO::IMAGE_GREY_F, KYVO::CSize(8, 6)));
        KYVO::CImageIo2::Save(dir.localPath("zones.pfm"), zones);
        pxmtest::writeFile(dir.path("labels.json"), R"([{"name": "cell"}])");
        pxmtest::writeFile(dir.path("zones.json"), R"([{"ax": 4, "ay": 4, "bx": 6, "by": 6, "label": 3}])");
    }
};

} // namespace

TEST_F(NodeHostTest, RunsTheNodeOnFilesAndWritesBothOutputs) {
    const struct {
        const char* zones;
        const char* maskRows; // the zone's rectangle and the mask's 4 in the corner
    } cases[] = {{"zones.json", "00000000 00000000 00000000 00000000 00003300 00003304"},
                 {"zones.pfm", "66000000 66000000 66000000 00000000 00000000 00000004"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zones);
        ASSERT_EQ(run({"--image", dir.path("image.pgm"), "--mask", dir.path("mask.pgm"), "--labels",
                       dir.path("labels.json"), "--zones", dir.path(c.zones), "--close-after", "0",
                       "--output-mask", dir.path("out.pgm"), "--output-labels", dir.path("out.json")}),
                  0)
            << err.toStdString();
        EXPECT_TRUE(err.contains("Nodara standalone0")) << "a plug-in window: " << err.toStdString();
        EXPECT_TRUE(out.isEmpty()) << out.toStdString();

        const std::unique_ptr<KYVO::CImage> mask(KYVO::CImageIo2::Load(dir.localPath("out.pgm")));
        ASSERT_EQ(mask->size(), KYVO::CSize(8, 6, 1));
        QString rows;
        for (std::size_t i = 0; i < 48; ++i)
            rows += QString::number(mask->data()[i]) + (i % 8 == 7 && i < 47 ? " " : "");
        EXPECT_EQ(rows, c.maskRows);

        const std::unique_ptr<KYVO::CValue> labels =
            KYVO::CValueJson::Read(pxmtest::readFile(dir.path("out.json")).toStdString());
        const auto* list = dynamic_cast<const KYVO::CValueVector*>(labels.get());
        ASSERT_NE(list, nullptr);
        ASSERT_EQ(list->size(), 3u) << "the given label, one for mask value 4, one for the zone";
        // What the labels hold is the node's and the label maps' business, checked in their own tests.
        EXPECT_EQ(static_cast<const KYVO::CValueMap*>(list->at(0))->GetString("name"), "cell");
    }

    // Without an image there is no mask; the labels go to standard output.
    ASSERT_EQ(run({"--labels", dir.path("labels.json"), "--output-mask", dir.path("none.pgm"),
                   "--close-after", "0"}),
              0)
        << err.toStdString();
    EXPECT_FALSE(QFile::exists(dir.path("none.pgm")));
    EXPECT_TRUE(err.contains("no label mask")) << err.toStdString();
    const std::unique_ptr<KYVO::CValue> printed = KYVO::CValueJson::Read(out.toStdString());
    const auto* printedList = dynamic_cast<const KYVO::CValueVector*>(printed.get());
    ASSERT_NE(printedList, nullptr) << out.toStdString();
    EXPECT_EQ(printedList->size(), 1u);
}

TEST_F(NodeHostTest, DescribesTheNodeAndEndsBadInputWithTheNodesMessage) {
    ASSERT_EQ(run({"--describe"}), 0) << err.toStdString();
    const QStringList lines = out.split('\n');
    for (const QString line :
         {"plugins = \"Pixmarker\"", "widget = true", "parameters/keep_workspace = false", "inputs/2 = {}",
          "inputs/3 [label] = \"A zone list characterizing image masks\""})
        EXPECT_TRUE(lines.contains(line)) << line.toStdString() << "\n" << out.toStdString();
    ASSERT_EQ(run({"--describe", "--keep-workspace"}), 0);
    EXPECT_TRUE(out.contains("\nparameters/keep_workspace = true\n")) << out.toStdString();
    // The usage needs no window.
    ASSERT_EQ(run({"--help"}), 0) << err.toStdString();
    EXPECT_TRUE(out.contains("--close-after <ms>")) << out.toStdString();

    const struct {
        QStringList arguments;
        int code;
        const char* message;
    } cases[] = {
        // The node's own messages (the plug-in tests check each) pass through with their place.
        {{"--image", dir.path("image.pgm"), "--mask", dir.path("float.pfm")},
         1,
         "ERROR: The mask (second input) must be of type IMAGE_GREY_8."},
        {{"--image", dir.path("missing.pgm")}, 3, "missing.pgm"},
        {{"--labels", dir.path("image.pgm")}, 3, "image.pgm"},
        {{"--node", "pixmarker"}, 3, "no node named pixmarker"},
        {{"--library", dir.path("image.pgm")}, 3, "cannot load the plug-in library"},
        {{"--close-after", "soon"}, 2, "--close-after"},
        {{"--unknown"}, 2, "unknown"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments.join(' ').toStdString());
        // A window shown by mistake would close instead of hanging the test.
        const QStringList closing = c.code == 2 ? QStringList() : QStringList{"--close-after", "0"};
        EXPECT_EQ(run(c.arguments + closing), c.code) << err.toStdString();
        EXPECT_TRUE(err.contains(c.message)) << err.toStdString();
        if (c.code == 1) {
            EXPECT_TRUE(err.contains("PPixmarker")) << "the message carries its place";
        }
    }
}
