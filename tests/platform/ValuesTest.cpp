// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CPNode.h"
#include "platform/CRegistry.h"
#include "platform/CValue.h"
#include "platform/CValueJson.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"
#include "platform/GzStream.h"
#include "platform/MemoryBudget.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace KYVO;

TEST(CImage, TypesSizesLayoutAndCopies) {
    struct Case {
        EnImageType type;
        const char* name;
        int channels, bytes;
    };
    const Case cases[] = {
        {IMAGE_GREY_8, "IMAGE_GREY_8", 1, 1}, {IMAGE_GREY_16, "IMAGE_GREY_16", 1, 2},
        {IMAGE_GREY_F, "IMAGE_GREY_F", 1, 4}, {IMAGE_BOOL, "IMAGE_BOOL", 1, 1},
        {IMAGE_RGB_8I, "IMAGE_RGB_8I", 3, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(ImageTypeName(c.type), c.name);
        EnImageType parsed;
        ASSERT_TRUE(ImageTypeFromName(c.name, &parsed));
        EXPECT_EQ(parsed, c.type);
        CImage img(c.type, CSize(5, 3, 2));
        EXPECT_TRUE(img.channels() == c.channels && img.size().Elements() == 30u);
        ASSERT_EQ(img.byteCount(), std::size_t(30 * c.bytes));
        for (std::size_t i = 0; i < img.byteCount(); ++i)
            ASSERT_EQ(img.data()[i], 0) << "new images are zero-filled";
        // x fastest, then y, then z.
        EXPECT_EQ(img.voxel(4, 2, 1) - img.data(), std::ptrdiff_t((4 + 5 * 2 + 15 * 1) * c.bytes));
        img.voxel(4, 2, 1)[0] = 7;
        CImage copy(img);
        img.voxel(4, 2, 1)[0] = 9;
        EXPECT_TRUE(copy.voxel(4, 2, 1)[0] == 7 && copy.type() == c.type) << "a copy does not share voxels";
    }
    EXPECT_FALSE(ImageTypeFromName("IMAGE_RGBA", nullptr));
    // Hostile sizes throw instead of overflowing.
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(std::size_t(1) << 40, std::size_t(1) << 40, 16)), CException);
    CImage empty(IMAGE_GREY_8, CSize(0, 0, 0));
    EXPECT_TRUE(empty.data() && empty.byteCount() == 0u);
}

TEST(CException, LocationComesFromTheThrowSite) {
    try {
        KYVO_THROW("broken input");
        FAIL();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "broken input");
        EXPECT_NE(e.Function().find("TestBody"), std::string::npos);
        const std::string formatted = e.FormattedWhat();
        EXPECT_EQ(formatted.rfind("broken input", 0), 0u);
        EXPECT_NE(formatted.find("ValuesTest:" + std::to_string(e.Line())), std::string::npos);
    }
    EXPECT_EQ(SourceBaseName("C:\\src\\ui\\MainWindow.cpp"), "MainWindow");
    EXPECT_EQ(SourceBaseName("/a/b/PPixmarker.cpp"), "PPixmarker");
}

TEST(GzStream, RoundTripLargeAndSmallWritesAndDetectsTruncation) {
    pxmtest::TempDir dir;
    const std::string path = dir.localPath("data.gz");
    std::string big(3 << 20, '\0');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = char((i * 7919) >> 5);
    {
        gzofstream out(path.c_str());
        ASSERT_TRUE(out.is_open());
        out << "header line\n";
        out.write(big.data(), std::streamsize(big.size()));
        out.close();
        ASSERT_TRUE(out.good());
    }
    // Whole, then cut in half: a cut stream stops early and says it is corrupt.
    const QByteArray bytes = pxmtest::readFile(QString::fromStdString(path));
    for (const bool cut : {false, true}) {
        SCOPED_TRACE(cut ? "cut" : "whole");
        ASSERT_TRUE(!cut || pxmtest::writeFile(QString::fromStdString(path), bytes.left(bytes.size() / 2)));
        gzifstream in(path.c_str());
        std::string line, back(big.size() + 64, '\0');
        std::getline(in, line);
        EXPECT_EQ(line, "header line");
        in.read(&back[0], std::streamsize(back.size()));
        const std::streamsize whole = std::streamsize(big.size());
        EXPECT_TRUE(cut ? in.gcount() < whole : in.gcount() == whole && back.substr(0, big.size()) == big);
        EXPECT_EQ(in.corrupt(), cut);
    }
    gzifstream missing(dir.localPath("missing.gz").c_str());
    EXPECT_TRUE(!missing.is_open() && missing.fail());
}

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

// Points the process-wide registry at a fresh directory for one test and restores it afterwards.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        CRegistry::SetStorageDirectory(dir.path("store"));
        CRegistry::Obj().Clear();
    }
    void TearDown() override {
        CRegistry::Obj().Clear();
        CRegistry::SetStorageDirectory(QString());
    }
    QStringList storedFiles() const { return QDir(dir.path("store")).entryList(QDir::Files | QDir::Hidden); }
    pxmtest::TempDir dir;
};
} // namespace

TEST(CValueMap, PathsOrderAndOwnership) {
    CValueMap map;
    map.SetLong("z", 1);
    map.SetString("a/b/c", "deep");
    map.SetBool("m", true);
    EXPECT_EQ(map.Keys(), (std::vector<std::string>{"z", "a", "m"}));
    ASSERT_NE(map.GetMap("a/b"), nullptr);
    EXPECT_EQ(map.GetMap("a/b")->Keys(), std::vector<std::string>{"c"});
    EXPECT_TRUE(map.GetString("a/b/c") == "deep" && map.Has("a/b/c"));
    for (const char* missing : {"a/x", "a/b/c/d", "", "a//b", "/a", "a/"})
        EXPECT_FALSE(map.Has(missing)) << missing;
    // Replacing keeps the position; removing and re-adding moves a key to the end.
    map.SetString("z", "now a string");
    EXPECT_EQ(map.Keys(), (std::vector<std::string>{"z", "a", "m"}));
    // A second removal finds nothing; removing the last key of an inner map keeps that map.
    EXPECT_EQ((std::vector<bool>{map.Remove("z"), map.Remove("z"), map.Remove("a/b/c"), map.Has("a/b")}),
              (std::vector<bool>{true, false, true, true}));
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
        // A path cannot lead through a non-map; refused values are deleted.
        for (const char* bad : {"t/x", "a//b", ""})
            EXPECT_THROW(owner.Set(bad, new Tracked), CException) << bad;
        EXPECT_THROW(owner.Set("q", nullptr), CException);
        EXPECT_TRUE(!owner.Has("t/x") && Tracked::live == 2);
        const CValueMap& alias = owner;
        owner = alias; // self-assignment keeps the content
        EXPECT_EQ(Tracked::live, 2);
        std::unique_ptr<CValue> taken(owner.Take("n/t"));
        EXPECT_TRUE(!owner.Has("n/t") && Tracked::live == 2);
    }
    EXPECT_EQ(Tracked::live, 0);
    // A large map stays consistent through removals in the middle.
    CValueMap big;
    for (int i = 0; i < 1000; ++i)
        big.SetLong("k" + std::to_string(i), i);
    for (int i = 0; i < 1000; i += 2)
        ASSERT_TRUE(big.Remove("k" + std::to_string(i)));
    ASSERT_TRUE(big.size() == 500u && big.Keys().front() == "k1");
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
        // A status no getter gives (within the type's range): each must set its own.
        std::vector<E> errors(6, E(3));
        const std::string s = map.GetString(c.path, "def", &errors[0]);
        const int64_t l = map.GetLong(c.path, 99, &errors[1]);
        const double d = map.GetDouble(c.path, 0.25, &errors[2]);
        const bool b = map.GetBool(c.path, false, &errors[3]);
        const auto v = map.GetStringVector(c.path, {"def"}, &errors[4]);
        const bool m = map.GetMap(c.path, &errors[5]) != nullptr;
        EXPECT_EQ(errors, (std::vector<E>{c.string, c.longV, c.doubleV, c.boolV, c.vector, c.map}));
        // The value, or the default when the getter fails.
        EXPECT_TRUE(s == (c.string == ok ? "text" : "def") && (c.longV == ok || l == 99) &&
                    (c.doubleV == ok || d == 0.25) && b == (c.boolV == ok) && m == (c.map == ok));
        EXPECT_EQ(v, (c.vector == ok ? std::vector<std::string>{"x", "y"} : std::vector<std::string>{"def"}));
    }
    // A long reads as a double too.
    EXPECT_EQ((std::vector<double>{map.GetDouble("l"), map.GetDouble("d"), double(map.GetLong("l")),
                                   double(map.GetLong("m/inner"))}),
              (std::vector<double>{-7, 2.5, -7, 3}));
}

TEST(CValueMap, Attributes) {
    CValueMap map;
    map.SetBool("parameters/keep", false);
    map.Set("inputs/0", new CValueOwnedPointer<CImage>);
    ASSERT_EQ(Tracked::live, 0);
    // Slots that do not exist refuse an attribute, and delete it.
    EXPECT_EQ((std::vector<bool>{map.SetAttribute("parameters/keep", "desc", new CValueString("first")),
                                 map.SetAttribute("parameters/keep", "desc", new CValueString("second")),
                                 map.SetAttribute("inputs/0", "optional", new CValueBool(false)),
                                 map.SetAttribute("inputs", "label", new CValueString("the inputs")),
                                 map.SetAttribute("inputs/9", "label", new Tracked),
                                 map.SetAttribute("parameters/keep/x", "label", new Tracked)}),
              (std::vector<bool>{true, true, true, true, false, false}));
    EXPECT_EQ(Tracked::live, 0);
    const auto* desc = dynamic_cast<const CValueString*>(map.GetAttribute("parameters/keep", "desc"));
    EXPECT_EQ(desc ? desc->Get() : "none", "second");
    EXPECT_TRUE(!map.GetAttribute("parameters/keep", "label") && !map.GetAttribute("inputs/9", "label") &&
                map.GetAttribute("inputs", "label"));
    // Attributes belong to the slot: a new value keeps them, removal drops them, copies carry them.
    map.SetBool("parameters/keep", true);
    EXPECT_NE(map.GetAttribute("parameters/keep", "desc"), nullptr);
    std::unique_ptr<CValue> copy(map.Clone());
    EXPECT_TRUE(copy->Equals(map));
    map.Remove("parameters/keep");
    map.SetBool("parameters/keep", true);
    EXPECT_TRUE(!map.GetAttribute("parameters/keep", "desc") && !copy->Equals(map));
    EXPECT_NE(static_cast<CValueMap*>(copy.get())->GetAttribute("parameters/keep", "desc"), nullptr);
}

TEST(CValue, ClonesAreDeepAndIndependent) {
    CValueMap map;
    map.SetString("s", "a");
    map.SetStringVector("v", {"1", "2"});
    map.SetLong("n/x", 1);
    const std::string before = CValueJson::Write(map);
    std::unique_ptr<CValueMap> mapCopy(static_cast<CValueMap*>(map.Clone()));
    map.SetString("s", "b");
    map.GetVector("v")->Set(0, new CValueString("changed"));
    map.SetLong("n/x", 2);
    EXPECT_EQ(CValueJson::Write(*mapCopy), before);
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
    EXPECT_TRUE(static_cast<const CValueMap*>(copied->at(1))->GetString("s") == "b" && !copied->at(2));
    EXPECT_THROW(vector.Set(5, new CValueLong), CException);
    EXPECT_THROW(vector.Remove(1), CException);
    auto* image = new CImage(IMAGE_GREY_8, CSize(3, 2, 2));
    image->voxel(2, 1, 1)[0] = 42;
    CValueSmart smart(image);
    std::unique_ptr<CValueSmart> smartCopy(static_cast<CValueSmart*>(smart.Clone()));
    ASSERT_TRUE(smartCopy->IsImage());
    EXPECT_TRUE(smartCopy->Image() != image && smartCopy->Equals(smart));
    image->voxel(2, 1, 1)[0] = 7;
    EXPECT_TRUE(smartCopy->Image()->voxel(2, 1, 1)[0] == 42 && !smartCopy->Equals(smart));
    EXPECT_TRUE(smartCopy->As<CImage>() == smartCopy->Image() && !smartCopy->As<CValueVector>());
    CValueSmart holdsVector(vector.Clone());
    EXPECT_TRUE(!holdsVector.IsImage() && !holdsVector.Image() && !holdsVector.As<CValueMap>());
    ASSERT_NE(holdsVector.As<CValueVector>(), nullptr);
    std::unique_ptr<CValue> holdsCopy(holdsVector.Clone());
    EXPECT_NE(static_cast<CValueSmart*>(holdsCopy.get())->Value(), holdsVector.Value());
    EXPECT_TRUE(holdsCopy->Equals(holdsVector));
    CValueOwnedPointer<CImage> owned(new CImage(IMAGE_GREY_F, CSize(2, 2)));
    std::unique_ptr<CValueOwnedPointer<CImage>> ownedCopy(
        static_cast<CValueOwnedPointer<CImage>*>(owned.Clone()));
    ASSERT_NE(ownedCopy->Get(), nullptr);
    EXPECT_NE(ownedCopy->Get(), owned.Get());
    EXPECT_TRUE(ownedCopy->Get()->type() == IMAGE_GREY_F && ownedCopy->Get()->size() == CSize(2, 2));
    std::unique_ptr<CImage> released(owned.Release());
    EXPECT_TRUE(!owned.Get() && ownedCopy->Get());
    EXPECT_STREQ(owned.TypeName(), "CValueOwnedPointer<KYVO::CImage>");
}

TEST(CValuePointer, UnwrapChecksTheTypeAndClonesShareThePointee) {
    Widget widget;
    const CValuePointer<Widget> pointer(&widget);
    const CValueString text("x");
    EXPECT_EQ(UnwrapPointer<Widget>(std::unique_ptr<CValue>(pointer.Clone()).get()), &widget);
    const std::string message = pxmtest::thrownMessage([&] { UnwrapPointer<Widget>(&text); });
    EXPECT_TRUE(message.find("Widget") != std::string::npos &&
                message.find("CValueString") != std::string::npos)
        << message;
    EXPECT_THROW(UnwrapPointer<Widget>(nullptr), CException);
    EXPECT_THROW(UnwrapPointer<CImage>(&pointer), CException);
}

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
    EXPECT_TRUE(back->Equals(map)) << text; // types (2.0 stays a double), every bit and the sign of -0.0
    const auto* m = dynamic_cast<const CValueMap*>(back.get());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->Keys(), map.Keys()) << "key order survives";
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
        "", "{", "{\"a\" 1}", "{\"a\": 1,}", "[1 2]", "[1,]", "01", "1.", "-", "1e", "\"open", "\"\\x\"",
        "\"\\u12\"", "\"a\nb\"", "nul", "tru", "{\"a\": }", "{} {}",
        // Well-formed, yet no value of ours: null, lone surrogates, keys that are no path, a number too big.
        "null", "\"\\ud800\"", "[\"\\udc00\"]", "[\"\\udfff\"]", "{\"\": 1}", "{\"a/b\": 1}", "1e999"};
    for (const char* text : malformed) {
        SCOPED_TRACE(text);
        std::string error;
        EXPECT_EQ(CValueJson::Read(text, &error), nullptr);
        EXPECT_NE(error.find("line 1, column"), std::string::npos) << error;
    }
    std::string deep(CValueJson::MaxDepth, '[');
    deep += std::string(CValueJson::MaxDepth, ']');
    EXPECT_NE(CValueJson::Read(deep), nullptr);
    // Arrays and maps both count their depth: either unbounded would let a hostile file
    // overflow the stack.
    std::string tooDeepMaps;
    for (int i = 0; i < 100000; ++i)
        tooDeepMaps += "{\"a\":";
    for (const std::string& tooDeep : {std::string(100000, '['), tooDeepMaps}) {
        std::string error;
        EXPECT_EQ(CValueJson::Read(tooDeep, &error), nullptr);
        EXPECT_NE(error.find("nesting"), std::string::npos) << error;
    }
}

TEST(CPNode, StacksOwnTheirValues) {
    {
        CPNode node;
        node.SetInput(0, new Tracked);
        node.SetInput(0, new Tracked); // replaces
        node.SetInput(3, new Tracked);
        node.SetInput(3, const_cast<CValue*>(node.Input(3))); // the same value again is a no-op
        EXPECT_TRUE(Tracked::live == 2 && !node.Input(1) && !node.Input(-1) && node.InputCount() == 4);
        EXPECT_THROW(node.SetInput(-1, new Tracked), CException);
        EXPECT_EQ(Tracked::live, 2);
        node.SetInput(3, nullptr);
        EXPECT_TRUE(!node.Input(3) && Tracked::live == 1);
        node.SetOutput(1, new Tracked);
        std::unique_ptr<CValue> taken(node.TakeOutput(1));
        EXPECT_TRUE(taken && !node.Output(1) && !node.TakeOutput(1));
        node.SetOutput(0, new Tracked);
        node.ClearInputs();
        EXPECT_TRUE(!node.Input(0) && Tracked::live == 2);
    }
    EXPECT_EQ(Tracked::live, 0) << "the node deletes what it still holds";
    // Init merges a copy of the given parameters into the node's own.
    CPNode node;
    node.Parameters().SetString("kept", "yes");
    node.Parameters().SetLong("n", 1);
    CValueMap parameters;
    parameters.SetLong("n", 2);
    parameters.SetBool("flag", true);
    node.Init(&parameters);
    node.Init(nullptr);
    parameters.SetLong("n", 3);
    EXPECT_TRUE(node.Parameters().GetString("kept") == "yes" && node.Parameters().GetLong("n") == 2 &&
                node.Parameters().GetBool("flag"))
        << "taken over, as a copy";
}

// A first start finds no file; a damaged one (cut short, or no map at the top) is moved aside. Either way the
// registry starts empty, and what it then stores reads back whole.
TEST_F(RegistryTest, StoreRoundTripsAndADamagedOneIsMovedAsideAndStartsEmpty) {
    CRegistry& registry = CRegistry::Obj();
    EXPECT_EQ(registry.StoragePath("Lumarka"), dir.path("store/Lumarka.json"));
    // A value of each kind; that every one keeps its type and bits is the JSON tests' part.
    const std::unique_ptr<CValue> content = CValueJson::Read(
        R"({"main": {"RecentProjects": ["/a b/ä.json.gz"], "View": {"Radius": 200, "Zoom": 2.0, "On": false}}})");
    ASSERT_TRUE(content);
    const QByteArray files[] = {QByteArray(), "{\"main\": {\"RecentProjects\": [\"/a.json\"", "[1, 2]"};
    for (const QByteArray& file : files) {
        SCOPED_TRACE(file.toStdString());
        QDir(dir.path("store")).removeRecursively();
        ASSERT_TRUE(file.isNull() || (QDir().mkpath(dir.path("store")) &&
                                      pxmtest::writeFile(registry.StoragePath("Lumarka"), file)));
        registry.SetLong("stale", 1);
        EXPECT_EQ(registry.FromStorage("Lumarka"), file.isNull());
        EXPECT_EQ(registry.size(), 0u);
        const QStringList aside = storedFiles();
        ASSERT_EQ(aside.size(), file.isNull() ? 0 : 1);
        EXPECT_TRUE(file.isNull() || aside[0].startsWith("Lumarka.json.corrupt-"))
            << aside.join(' ').toStdString();
        EXPECT_TRUE(file.isNull() || pxmtest::readFile(dir.path("store/" + aside[0])) == file)
            << "the damaged file is kept";
        registry.Merge(static_cast<const CValueMap&>(*content));
        ASSERT_TRUE(registry.ToStorage("Lumarka"));
        EXPECT_EQ(storedFiles(), QStringList{"Lumarka.json"} + aside) << "no temporary file is left behind";
        registry.SetLong("stale", 1);
        ASSERT_TRUE(registry.FromStorage("Lumarka"));
        EXPECT_TRUE(registry.Equals(*content)) << "loading replaces the content";
    }
    EXPECT_FALSE(registry.ToStorage("../escape") || registry.FromStorage(""));
    // A directory where the file should be: the save fails and leaves nothing around it. (A plain file where
    // the directory should be is the closing window's test.)
    QDir(dir.path("store")).removeRecursively();
    ASSERT_TRUE(QDir().mkpath(dir.path("store/Lumarka.json")));
    EXPECT_FALSE(registry.ToStorage("Lumarka"));
    EXPECT_TRUE(storedFiles().isEmpty() && QFileInfo(dir.path("store/Lumarka.json")).isDir());
}
