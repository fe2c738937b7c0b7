// SPDX-License-Identifier: MIT
#include "platform/io/BinaryFile.h"

#include "platform/CException.h"
#include "support/TestSupport.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using KYVO::io::BinaryFile;

// Single bytes, blocks larger than the read buffer and seeks back into it mix freely: every read
// returns the file's own bytes, and the position follows, up to the refused read past the end.
TEST(BinaryFile, ReadsOfEverySizeKeepThePosition) {
    pxmtest::TempDir dir;
    QByteArray bytes(300000, 0);
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(i * 7 + i / 256);
    ASSERT_TRUE(pxmtest::writeFile(dir.path("f.bin"), bytes));
    auto at = [&bytes](int i) { return int(uint8_t(bytes[i])); };
    BinaryFile file(dir.localPath("f.bin"), BinaryFile::Read);
    EXPECT_EQ(file.get(), at(0));
    std::vector<uint8_t> block(200000);
    file.read(block.data(), block.size());
    EXPECT_EQ(std::memcmp(block.data(), bytes.constData() + 1, block.size()), 0);
    EXPECT_EQ(file.tell(), 200001u);
    EXPECT_EQ(file.peek(), at(200001));
    file.seek(200005);
    EXPECT_EQ(file.get(), at(200005));
    file.seek(10);
    EXPECT_EQ(file.get(), at(10));
    EXPECT_EQ(file.readSome(block.data(), block.size()), block.size());
    EXPECT_EQ(std::memcmp(block.data(), bytes.constData() + 11, block.size()), 0);
    EXPECT_EQ(file.remaining(), uint64_t(bytes.size()) - 200011);
    EXPECT_EQ(file.readSome(block.data(), block.size()), std::size_t(bytes.size()) - 200011);
    EXPECT_EQ(file.get(), -1);
    EXPECT_THROW(file.read(block.data(), 1), KYVO::CException);
}
