// SPDX-License-Identifier: MIT
#include "platform/io/PngWriter.h"

#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "support/TestSupport.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using KYVO::io::PngWriter;

// Every pixel comes back as written, for each kind of data the dataset writers hand over, with
// and without runs (of every length the run encoder treats alike or apart, across rows too), and
// rows may be further apart than a row's bytes.
TEST(PngWriterTest, WrittenPixelsReadBackExactly) {
    pxmtest::TempDir dir;
    const std::vector<std::size_t> runs = {1, 2, 3, 4, 257, 258, 259, 260, 261, 516, 1000, 5, 9000};
    for (const auto type : {KYVO::IMAGE_GREY_8, KYVO::IMAGE_GREY_16, KYVO::IMAGE_RGB_8I})
        for (int pattern = 0; pattern < 3; ++pattern) {
            SCOPED_TRACE(std::string(KYVO::ImageTypeName(type)) + " pattern " + std::to_string(pattern));
            KYVO::CImage image(type, KYVO::CSize(211, 173, 1));
            for (std::size_t i = 0, run = 0, left = runs[0]; i < image.byteCount(); ++i, --left) {
                if (left == 0)
                    left = runs[++run % runs.size()];
                image.data()[i] = pattern == 0 ? uint8_t(i * 7 / 3) : pattern == 1 ? uint8_t(run * 37) : 0;
            }
            const std::size_t row = 211 * std::size_t(image.bytesPerVoxel());
            for (const auto content : {PngWriter::Content::Picture, PngWriter::Content::Labels}) {
                const std::string path = dir.localPath("out.png");
                std::vector<uint8_t> padded(173 * (row + 5));
                for (std::size_t y = 0; y < 173; ++y)
                    std::memcpy(&padded[y * (row + 5)], image.voxel(0, y, 0), row);
                PngWriter::write(path, 211, 173, image.channels(), type == KYVO::IMAGE_GREY_16 ? 16 : 8,
                                 padded.data(), row + 5, content);
                const std::unique_ptr<KYVO::CImage> back(KYVO::CImageIo2::Load(path));
                ASSERT_EQ(back->type(), type);
                ASSERT_EQ(back->size(), image.size());
                EXPECT_EQ(std::memcmp(back->data(), image.data(), image.byteCount()), 0);
            }
        }
    const uint8_t pixel = 0;
    EXPECT_THROW(PngWriter::write(dir.localPath("x.png"), 1, 1, 2, 8, &pixel, 1, PngWriter::Content::Labels),
                 KYVO::CException);
    EXPECT_THROW(
        PngWriter::write(dir.localPath("missing/x.png"), 1, 1, 1, 8, &pixel, 1, PngWriter::Content::Labels),
        KYVO::CException);
}
