// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CValue.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace KYVO;

namespace {

// Counts live instances, so tests can tell that every value is deleted exactly once.
class Tracked : public CValue {
public:
    static int live;
    Tracked() { ++live; }
    Tracked(const Tracked& o) : CValue(o) { ++live; }
    ~Tracked() override { --live; }
    CValue* Clone() const override { return new Tracked(*this); }
    const char* TypeName() const override { return "Tracked"; }
};
int Tracked::live = 0;

struct Widget {};

} // namespace

TEST(CValueMap, PathsOrderAndOwnership) {
    CValueMap map;
    map.SetLong("z", 1);
    map.SetString("a/b/c", "deep");
    map.SetBool("m", true);
    EXPECT_EQ(map.Keys(), (std::vector<std::string>{"z", "a", "m"}));
    ASSERT_NE(map.GetMap("a/b"), nullptr);
    EXPECT_EQ(map.GetMap("a/b")->Keys(), std::vector<std::string>{"c"});
    EXPECT_EQ(map.GetString("a/b/c"), "deep");
    EXPECT_TRUE(map.Has("a/b/c"));
    for (const char* missing : {"a/x", "a/b/c/d", "", "a//b", "/a", "a/"})
        EXPECT_FALSE(map.Has(missing)) << missing;

    // Replacing keeps the position; removing and re-adding moves a key to the end.
    map.SetString("z", "now a string");
    EXPECT_EQ(map.Keys(), (std::vector<std::string>{"z", "a", "m"}));
    EXPECT_TRUE(map.Remove("z"));
    EXPECT_FALSE(map.Remove("z"));
    EXPECT_TRUE(map.Remove("a/b/c"));
    EXPECT_TRUE(map.Has("a/b"));
    map.SetLong("z", 2);
    EXPECT_EQ(map.Keys(), (std::vector<std::string>{"a", "m", "z"}));

    // Every owned value is deleted exactly once, whatever happens to it.
    {
        CValueMap owner;
        owner.Set("t", new Tracked);
        owner.Set("t", new Tracked); // replaces
        CValue* same = owner.Get("t");
        owner.Set("t", same); // storing what is already there is a no-op
        owner.Set("n/t", new Tracked);
        EXPECT_THROW(owner.Set("t/x", new Tracked), CException) << "a path cannot lead through a non-map";
        EXPECT_THROW(owner.Set("a//b", new Tracked), CException);
        EXPECT_THROW(owner.Set("", new Tracked), CException);
        EXPECT_THROW(owner.Set("q", nullptr), CException);
        EXPECT_FALSE(owner.Has("t/x"));
        EXPECT_EQ(Tracked::live, 2);
        const CValueMap& alias = owner;
        owner = alias; // self-assignment keeps the content
        EXPECT_EQ(Tracked::live, 2);
        std::unique_ptr<CValue> taken(owner.Take("n/t"));
        EXPECT_FALSE(owner.Has("n/t"));
        EXPECT_EQ(Tracked::live, 2);
    }
    EXPECT_EQ(Tracked::live, 0);

    // A large map stays consistent through removals in the middle.
    CValueMap big;
    for (int i = 0; i < 1000; ++i)
        big.SetLong("k" + std::to_string(i), i);
    for (int i = 0; i < 1000; i += 2)
        ASSERT_TRUE(big.Remove("k" + std::to_string(i)));
    ASSERT_EQ(big.size(), 500u);
    EXPECT_EQ(big.Keys().front(), "k1");
    for (int i = 1; i < 1000; i += 2)
        ASSERT_EQ(big.GetLong("k" + std::to_string(i), -1), i);
}

TEST(CValueMap, TypedGettersReportStatus) {
    CValueMap map;
    map.SetString("s", "text");
    map.SetLong("l", -7);
    map.SetDouble("d", 2.5);
    map.SetBool("b", true);
    map.SetStringVector("v", {"x", "y"});
    map.Set("mixed", new CValueVector);
    map.GetVector("mixed")->Append(new CValueString("x"));
    map.GetVector("mixed")->Append(new CValueLong(1));
    map.Set("m/inner", new CValueLong(3));

    using E = CValue::EnErrType;
    struct Case {
        std::string path;
        E string, longV, doubleV, boolV, vector, map;
    };
    const E ok = CValue::ERR_OK, nf = CValue::ERR_NOT_FOUND, wt = CValue::ERR_WRONG_TYPE;
    const Case cases[] = {
        {"s", ok, wt, wt, wt, wt, wt},   {"l", wt, ok, ok, wt, wt, wt},
        {"d", wt, wt, ok, wt, wt, wt},   {"b", wt, wt, wt, ok, wt, wt},
        {"v", wt, wt, wt, wt, ok, wt},   {"mixed", wt, wt, wt, wt, wt, wt},
        {"m", wt, wt, wt, wt, wt, ok},   {"none", nf, nf, nf, nf, nf, nf},
        {"s/x", nf, nf, nf, nf, nf, nf}, {"m/inner", wt, ok, ok, wt, wt, wt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        E err = CValue::ERR_OK;
        const std::string s = map.GetString(c.path, "def", &err);
        EXPECT_EQ(err, c.string);
        EXPECT_EQ(s, c.string == ok ? "text" : "def");
        const int64_t l = map.GetLong(c.path, 99, &err);
        EXPECT_EQ(err, c.longV);
        if (c.longV != ok) {
            EXPECT_EQ(l, 99);
        }
        const double d = map.GetDouble(c.path, 0.25, &err);
        EXPECT_EQ(err, c.doubleV);
        if (c.doubleV != ok) {
            EXPECT_EQ(d, 0.25);
        }
        const bool b = map.GetBool(c.path, false, &err);
        EXPECT_EQ(err, c.boolV);
        EXPECT_EQ(b, c.boolV == ok);
        const auto v = map.GetStringVector(c.path, {"def"}, &err);
        EXPECT_EQ(err, c.vector);
        const std::vector<std::string> expected =
            c.vector == ok ? std::vector<std::string>{"x", "y"} : std::vector<std::string>{"def"};
        EXPECT_EQ(v, expected);
        EXPECT_EQ(map.GetMap(c.path, &err) != nullptr, c.map == ok);
        EXPECT_EQ(err, c.map);
    }
    EXPECT_EQ(map.GetDouble("l"), -7.0) << "a long reads as a double";
    EXPECT_EQ(map.GetDouble("d"), 2.5);
    EXPECT_EQ(map.GetLong("l"), -7);
    EXPECT_EQ(map.GetLong("m/inner"), 3);
}

TEST(CValueMap, Attributes) {
    CValueMap map;
    map.SetBool("parameters/keep", false);
    map.Set("inputs/0", new CValueOwnedPointer<CImage>);
    EXPECT_TRUE(map.SetAttribute("parameters/keep", "desc", new CValueString("first")));
    EXPECT_TRUE(map.SetAttribute("parameters/keep", "desc", new CValueString("second")));
    EXPECT_TRUE(map.SetAttribute("inputs/0", "optional", new CValueBool(false)));
    EXPECT_TRUE(map.SetAttribute("inputs", "label", new CValueString("the inputs")));
    {
        ASSERT_EQ(Tracked::live, 0);
        EXPECT_FALSE(map.SetAttribute("inputs/9", "label", new Tracked));
        EXPECT_FALSE(map.SetAttribute("parameters/keep/x", "label", new Tracked));
        EXPECT_EQ(Tracked::live, 0) << "a refused attribute is deleted";
    }
    const auto* desc = dynamic_cast<const CValueString*>(map.GetAttribute("parameters/keep", "desc"));
    ASSERT_NE(desc, nullptr);
    EXPECT_EQ(desc->Get(), "second");
    EXPECT_EQ(map.GetAttribute("parameters/keep", "label"), nullptr);
    EXPECT_EQ(map.GetAttribute("inputs/9", "label"), nullptr);
    EXPECT_NE(map.GetAttribute("inputs", "label"), nullptr);

    // Attributes belong to the slot: a new value keeps them, removal drops them, copies carry them.
    map.SetBool("parameters/keep", true);
    EXPECT_NE(map.GetAttribute("parameters/keep", "desc"), nullptr);
    std::unique_ptr<CValue> copy(map.Clone());
    EXPECT_TRUE(copy->Equals(map));
    map.Remove("parameters/keep");
    map.SetBool("parameters/keep", true);
    EXPECT_EQ(map.GetAttribute("parameters/keep", "desc"), nullptr);
    EXPECT_FALSE(copy->Equals(map));
    EXPECT_NE(static_cast<CValueMap*>(copy.get())->GetAttribute("parameters/keep", "desc"), nullptr);
}

TEST(CValue, ClonesAreDeepAndIndependent) {
    CValueMap map;
    map.SetString("s", "a");
    map.SetStringVector("v", {"1", "2"});
    map.SetLong("n/x", 1);
    std::unique_ptr<CValueMap> mapCopy(static_cast<CValueMap*>(map.Clone()));
    map.SetString("s", "b");
    map.GetVector("v")->Set(0, new CValueString("changed"));
    map.SetLong("n/x", 2);
    EXPECT_EQ(mapCopy->GetString("s"), "a");
    EXPECT_EQ(mapCopy->GetStringVector("v"), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(mapCopy->GetLong("n/x"), 1);
    EXPECT_FALSE(mapCopy->Equals(map));

    CValueVector vector;
    vector.Append(new CValueDouble(1.5));
    vector.Append(map.Clone());
    std::unique_ptr<CValue> vectorCopy(vector.Clone());
    EXPECT_TRUE(vectorCopy->Equals(vector));
    static_cast<CValueMap*>(vector.at(1))->SetString("s", "c");
    vector.Remove(0);
    EXPECT_EQ(vector.size(), 1u);
    const auto* copied = static_cast<const CValueVector*>(vectorCopy.get());
    ASSERT_EQ(copied->size(), 2u);
    EXPECT_EQ(static_cast<const CValueMap*>(copied->at(1))->GetString("s"), "b");
    EXPECT_EQ(copied->at(2), nullptr);
    EXPECT_THROW(vector.Set(5, new CValueLong), CException);
    EXPECT_THROW(vector.Remove(1), CException);

    auto* image = new CImage(IMAGE_GREY_8, CSize(3, 2, 2));
    image->voxel(2, 1, 1)[0] = 42;
    CValueSmart smart(image);
    std::unique_ptr<CValueSmart> smartCopy(static_cast<CValueSmart*>(smart.Clone()));
    ASSERT_TRUE(smartCopy->IsImage());
    EXPECT_NE(smartCopy->Image(), image);
    EXPECT_TRUE(smartCopy->Equals(smart));
    image->voxel(2, 1, 1)[0] = 7;
    EXPECT_EQ(smartCopy->Image()->voxel(2, 1, 1)[0], 42);
    EXPECT_FALSE(smartCopy->Equals(smart));
    EXPECT_EQ(smartCopy->As<CImage>(), smartCopy->Image());
    EXPECT_EQ(smartCopy->As<CValueVector>(), nullptr);

    CValueSmart holdsVector(vector.Clone());
    EXPECT_FALSE(holdsVector.IsImage());
    EXPECT_EQ(holdsVector.Image(), nullptr);
    ASSERT_NE(holdsVector.As<CValueVector>(), nullptr);
    EXPECT_EQ(holdsVector.As<CValueMap>(), nullptr);
    std::unique_ptr<CValue> holdsCopy(holdsVector.Clone());
    EXPECT_NE(static_cast<CValueSmart*>(holdsCopy.get())->Value(), holdsVector.Value());
    EXPECT_TRUE(holdsCopy->Equals(holdsVector));

    CValueOwnedPointer<CImage> owned(new CImage(IMAGE_GREY_F, CSize(2, 2)));
    std::unique_ptr<CValueOwnedPointer<CImage>> ownedCopy(
        static_cast<CValueOwnedPointer<CImage>*>(owned.Clone()));
    ASSERT_NE(ownedCopy->Get(), nullptr);
    EXPECT_NE(ownedCopy->Get(), owned.Get());
    EXPECT_EQ(ownedCopy->Get()->type(), IMAGE_GREY_F);
    EXPECT_EQ(ownedCopy->Get()->size(), CSize(2, 2));
    std::unique_ptr<CImage> released(owned.Release());
    EXPECT_EQ(owned.Get(), nullptr);
    EXPECT_NE(ownedCopy->Get(), nullptr);
    EXPECT_STREQ(owned.TypeName(), "CValueOwnedPointer<KYVO::CImage>");
}

TEST(CValuePointer, UnwrapChecksTheType) {
    Widget widget;
    CValueMap parameters;
    parameters.Set("QWidgetPointer", new CValuePointer<Widget>(&widget));
    parameters.SetString("text", "x");
    std::unique_ptr<CValue> copy(parameters.Get("QWidgetPointer")->Clone());
    EXPECT_EQ(UnwrapPointer<Widget>(copy.get()), &widget) << "a clone still points at the same object";
    EXPECT_EQ(UnwrapPointer<Widget>(parameters.Get("QWidgetPointer")), &widget);
    try {
        UnwrapPointer<Widget>(parameters.Get("text"));
        FAIL() << "a string must not unwrap as a pointer";
    } catch (const CException& e) {
        EXPECT_NE(e.Message().find("Widget"), std::string::npos) << e.Message();
        EXPECT_NE(e.Message().find("CValueString"), std::string::npos) << e.Message();
    }
    EXPECT_THROW(UnwrapPointer<Widget>(nullptr), CException);
    EXPECT_THROW(UnwrapPointer<CImage>(parameters.Get("QWidgetPointer")), CException);
}
