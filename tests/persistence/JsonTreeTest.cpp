// SPDX-License-Identifier: MIT
#include "persistence/JsonTree.h"

#include "persistence/JsonFileReader.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace pxm;

// QJsonDocument is the reference: the same texts must pass and give the same values.
TEST(JsonTree, AcceptsAndReadsWhatQtDoes) {
    const QList<QByteArray> texts = {
        "{}",
        " \t\r\n[ ]\n",
        "{\"a\": [1, -0, 0.5, -2.25e3, 1E+2, 1e-5, 1., .5, -.5], \"b\": {\"c\": null, \"d\": [true, false]}}",
        "{\"s\": \"quote \\\" backslash \\\\ slash \\/ \\b\\f\\n\\r\\t \\u00e9 \\ud83d\\ude00 \\x \\ud800\"}",
        "{\"utf8\": \"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\", \"raw\": \"tab\there\", \"del\": \"\x7f\"}",
        "{\"a\": 1, \"a\": 2, \"\\u0061\": 3}",
        "\xef\xbb\xbf{\"bom\": 1}",
        "[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]",
        "{\"big\": 1e308, \"tiny\": 5e-324, \"long\": 12345678901234567890}",
        // Refused by both:
        "",
        "   ",
        "{\"a\": [1, 2,]}",
        "{\"a\": 01}",
        "{\"a\": +1}",
        "{\"a\": -}",
        "{\"a\": 1e}",
        "{\"a\": .}",
        "{\"a\": \"\\u12\"}",
        "{\"a\": \"\xff\"}",
        "{\"a\": \"\xc0\x80\"}",
        "{\"a\": \"\xed\xa0\x80\"}",
        "{\"a\": \"\xf4\x90\x80\x80\"}",
        "{\"a\": \"\xe2\x82\"}",
        "{\"a\": tru}",
        "{\"a\": nul}",
        "{\"a\": 1} x",
        "{\"a\": 1e999}",
        "{\"a\": 1e-400}",
        "{\"a\" 1}",
        "{1: 2}",
        "{,}",
        "[,]",
        "{\"a\": \"unterminated}",
        "{\"a\": [1}",
        QByteArray(1025, '[') + QByteArray(1025, ']'),
        QByteArray(1000, '[') + QByteArray(1000, ']'),
        // White space that keeps tokens apart must survive compaction.
        "{\"a\": tr ue}",
        "{\"a\": [1 2]}",
        "{\"a\": - 1}",
        "{\"a\": 1 .5}",
        "{\"a\" \"b\": 1}",
        "{\"a\": \"in \\\" string  \\\\\", \"b\" :\n [ 1 , 2 ] }",
    };
    for (const QByteArray& text : texts) {
        SCOPED_TRACE(text.left(120).toStdString());
        // The reader parses text compacted piece by piece; pieces of one byte test every seam.
        QByteArray compacted;
        JsonFileReader::Compactor compactor;
        for (const char c : text)
            compactor.append(&c, 1, &compacted);
        JsonTree tree;
        const bool mine = tree.parse(compacted);
        EXPECT_EQ(JsonTree().parse(text), mine);
        QJsonParseError error{};
        const QJsonDocument qt = QJsonDocument::fromJson(text, &error);
        // Qt documents hold an object or an array; other roots the reader refuses as well.
        const bool qtAccepts = error.error == QJsonParseError::NoError;
        ASSERT_EQ(mine && (tree.root().isObject() || tree.root().isArray()), qtAccepts);
        if (!qtAccepts)
            continue;
        const QJsonValue value = tree.root().toQJsonValue();
        const QJsonDocument again =
            value.isObject() ? QJsonDocument(value.toObject()) : QJsonDocument(value.toArray());
        EXPECT_EQ(again.toJson(), qt.toJson());
    }
}

TEST(JsonTree, FindsMembersAndElements) {
    JsonTree tree;
    ASSERT_TRUE(
        tree.parse("{\"$type\": \"pxm::Scene\", \"n\": 2.5, \"list\": [\"x\", {}], \"k\\u0065y\": \"v\", "
                   "\"n\": 3}"));
    const JsonTree::Value root = tree.root();
    EXPECT_TRUE(root.member("$type").equals("pxm::Scene"));
    EXPECT_FALSE(root.member("$type").equals("pxm::Scen"));
    EXPECT_EQ(root.member("n").toNumber(), 3.0);
    EXPECT_EQ(root.member("key").toString(), "v");
    EXPECT_TRUE(root.member("missing").isUndefined());
    EXPECT_TRUE(root.member("n").member("x").isUndefined());
    const JsonTree::Value list = root.member("list");
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list.at(0).toString(), "x");
    EXPECT_TRUE(list.at(1).isObject());
    EXPECT_TRUE(list.at(2).isUndefined());
    EXPECT_TRUE(list.at(-1).isUndefined());
    EXPECT_EQ(root.size(), 5);
    EXPECT_FALSE(JsonTree().root().isObject());
}
