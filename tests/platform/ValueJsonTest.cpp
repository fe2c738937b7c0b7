// SPDX-License-Identifier: MIT
#include "platform/CImage.h"
#include "platform/CValueJson.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueVector.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

using namespace KYVO;

TEST(CValueJson, RoundTripKeepsTypesAndValues) {
    using L = std::numeric_limits<int64_t>;
    using D = std::numeric_limits<double>;
    CValueMap map;
    map.SetLong("longs/max", L::max());
    map.SetLong("longs/min", L::min());
    map.SetLong("longs/zero", 0);
    const double doubles[] = {
        2.0, -0.0, 0.1, 1e300, D::max(), D::min(), D::denorm_min(), -123.456, D::infinity(), -D::infinity()};
    for (std::size_t i = 0; i < std::size(doubles); ++i)
        map.SetDouble("doubles/" + std::to_string(i), doubles[i]);
    map.SetDouble("nan", std::nan(""));
    const char raw[] = "quote\" back\\ tab\t nl\n ctl\x01 utf8 \xc3\xa4 slash/ nul\0end";
    map.SetString("text", std::string(raw, sizeof raw - 1));
    map.SetString("empty", "");
    map.SetBool("yes", true);
    map.SetBool("no", false);
    map.SetStringVector("list", {"b", "a"});
    map.Set("emptyList", new CValueVector);
    map.Set("emptyMap", new CValueMap);
    map.Set("nested", new CValueVector);
    map.GetVector("nested")->Append(new CValueLong(5));
    map.GetVector("nested")->Append(map.GetMap("longs")->Clone());

    const std::string text = CValueJson::Write(map);
    std::string error;
    const std::unique_ptr<CValue> back = CValueJson::Read(text, &error);
    ASSERT_NE(back, nullptr) << error << "\n" << text;
    EXPECT_TRUE(back->Equals(map)) << text;
    const auto* m = dynamic_cast<const CValueMap*>(back.get());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->Keys(), map.Keys()) << "key order survives";
    EXPECT_EQ(m->GetLong("longs/min"), L::min());
    CValue::EnErrType err;
    m->GetLong("doubles/0", 0, &err);
    EXPECT_EQ(err, CValue::ERR_WRONG_TYPE) << "2.0 stays a double";
    EXPECT_TRUE(std::signbit(m->GetDouble("doubles/1")));
    EXPECT_NE(text.find("\"max\": 9223372036854775807"), std::string::npos) << "longs are readable numbers";

    // Values without a text form are left out and reported.
    CValueMap withImage;
    withImage.SetLong("kept", 1);
    withImage.Set("image", new CValueOwnedPointer<CImage>(new CImage(IMAGE_GREY_8, CSize(1, 1))));
    withImage.Set("v", new CValueVector);
    withImage.GetVector("v")->Append(new CValuePointer<int>());
    std::vector<std::string> skipped;
    const std::unique_ptr<CValue> partial = CValueJson::Read(CValueJson::Write(withImage, &skipped));
    EXPECT_EQ(skipped, (std::vector<std::string>{"image", "v/0"}));
    ASSERT_NE(partial, nullptr);
    EXPECT_EQ(static_cast<CValueMap*>(partial.get())->Keys(), (std::vector<std::string>{"kept", "v"}));
}

TEST(CValueJson, ReadsHandWrittenAndRefusesMalformedText) {
    const std::unique_ptr<CValue> value = CValueJson::Read(
        " {\"a\": [1, -2.5e1, \"\\u00e4\\ud83d\\ude00\\/\"], \"a2\": 99999999999999999999} ");
    ASSERT_NE(value, nullptr);
    const auto* map = static_cast<const CValueMap*>(value.get());
    const CValueVector* a = map->GetVector("a");
    ASSERT_NE(a, nullptr);
    ASSERT_EQ(a->size(), 3u);
    EXPECT_EQ(static_cast<const CValueLong*>(a->at(0))->Get(), 1);
    EXPECT_EQ(static_cast<const CValueDouble*>(a->at(1))->Get(), -25.0);
    EXPECT_EQ(static_cast<const CValueString*>(a->at(2))->Get(), "\xc3\xa4\xf0\x9f\x98\x80/");
    EXPECT_EQ(map->GetDouble("a2"), 1e20) << "an integer beyond 64 bits is kept as a double";

    const char* malformed[] = {
        "",
        "{",
        "{\"a\" 1}",
        "{\"a\": 1,}",
        "[1 2]",
        "[1,]",
        "01",
        "1.",
        "-",
        "1e",
        "\"open",
        "\"\\x\"",
        "\"\\u12\"",
        "\"\\ud800\"",
        "\"a\nb\"",
        "nul",
        "null",
        "{\"\": 1}",
        "{\"a/b\": 1}",
        "{} {}",
        "1e999",
        "[\"\\udc00\"]",
        "tru",
        "{\"a\": }",
    };
    for (const char* text : malformed) {
        SCOPED_TRACE(text);
        std::string error;
        EXPECT_EQ(CValueJson::Read(text, &error), nullptr);
        EXPECT_NE(error.find("line 1, column"), std::string::npos) << error;
    }

    std::string deep(CValueJson::MaxDepth, '[');
    deep += std::string(CValueJson::MaxDepth, ']');
    EXPECT_NE(CValueJson::Read(deep), nullptr);
    std::string tooDeep(100000, '[');
    std::string error;
    EXPECT_EQ(CValueJson::Read(tooDeep, &error), nullptr);
    EXPECT_NE(error.find("nesting"), std::string::npos) << error;
}
