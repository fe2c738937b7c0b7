// SPDX-License-Identifier: MIT
#include "display/PixelValue.h"

#include "DisplayTestImages.h"

#include <gtest/gtest.h>

using namespace Pictor;

TEST(PixelValue, FormatsEveryTypeAndRefusesOutsidePositions) {
    const KYVO::CSize size(2, 1, 2);
    const auto g8 = pxmtest::makeImage<uint8_t>(KYVO::IMAGE_GREY_8, size, {7, 200, 9, 255});
    const auto g16 = pxmtest::makeImage<uint16_t>(KYVO::IMAGE_GREY_16, size, {1, 2, 3, 65535});
    const auto gf = pxmtest::makeImage<float>(KYVO::IMAGE_GREY_F, size, {0, 0, 0, -1.23456f});
    const auto gb = pxmtest::makeImage<uint8_t>(KYVO::IMAGE_BOOL, size, {0, 0, 0, 1});
    const auto rgb =
        pxmtest::makeImage<uint8_t>(KYVO::IMAGE_RGB_8I, size, {0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 255});

    const QString grey = QStringLiteral("[%x, %y, %z] = %1");
    const QString colour = QStringLiteral("[%x, %y, %z] = [%1, %2, %3]");
    struct Case {
        const KYVO::CImage* image;
        QString format;
        int precision;
        QString expected;
    } cases[] = {
        {&g8, grey, 2, "[1, 0, 1] = 255"},
        {&g16, grey, 2, "[1, 0, 1] = 65535"},
        {&gf, grey, 2, "[1, 0, 1] = -1.23"},
        {&gf, grey, 4, "[1, 0, 1] = -1.2346"},
        {&gb, grey, 2, "[1, 0, 1] = 1"},
        {&rgb, colour, 2, "[1, 0, 1] = [10, 20, 255]"},
        // Grey images have no second or third channel; unknown sequences stay.
        {&g8, colour, 2, "[1, 0, 1] = [255, , ]"},
        {&g8, QStringLiteral("%q %% %1%"), 0, "%q %% 255%"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected.toStdString());
        EXPECT_EQ(pixelValueAsString(c.image, 1, 0, 1, c.format, c.precision), c.expected);
    }
    EXPECT_EQ(pixelValueAsString(&g8, 0, 0, 1, grey, 2), QStringLiteral("[0, 0, 1] = 9"));
    EXPECT_EQ(pixelValueAsString(&g8, 2, 0, 0, grey, 2), QString());
    EXPECT_EQ(pixelValueAsString(&g8, 0, 1, 0, grey, 2), QString());
    EXPECT_EQ(pixelValueAsString(&g8, 0, 0, 2, grey, 2), QString());
    EXPECT_EQ(pixelValueAsString(nullptr, 0, 0, 0, grey, 2), QString());

    EXPECT_TRUE(isGreyImage(&g8));
    EXPECT_TRUE(isGreyImage(&gf));
    EXPECT_FALSE(isGreyImage(&rgb));
    EXPECT_FALSE(isGreyImage(nullptr));
}
