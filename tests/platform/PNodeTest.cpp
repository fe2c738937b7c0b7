// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CPNode.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"

#include <gtest/gtest.h>
#include <memory>

using namespace KYVO;

namespace {

class Counted : public CValue {
public:
    static int live;
    Counted() { ++live; }
    Counted(const Counted& o) : CValue(o) { ++live; }
    ~Counted() override { --live; }
    CValue* Clone() const override { return new Counted(*this); }
    const char* TypeName() const override { return "Counted"; }
};
int Counted::live = 0;

// A node that copies input 0 to output 0 and describes itself.
class EchoNode : public CPNode {
public:
    void Describe(CValueMap* description) const override {
        description->SetString("name", "Echo");
        description->Set("inputs/0", new CValueOwnedPointer<CImage>);
        description->SetAttribute("inputs/0", "optional", new CValueBool(false));
    }
    void Execute() override {
        if (const auto* in = dynamic_cast<const CValueSmart*>(Input(0)))
            SetOutput(0, new CValueOwnedPointer<CImage>(in->Image() ? new CImage(*in->Image()) : nullptr));
    }
};

} // namespace

TEST(CPNode, StacksOwnTheirValues) {
    {
        CPNode node;
        node.SetInput(0, new Counted);
        node.SetInput(0, new Counted); // replaces
        node.SetInput(3, new Counted);
        node.SetInput(3, const_cast<CValue*>(node.Input(3))); // the same value again is a no-op
        EXPECT_EQ(Counted::live, 2);
        EXPECT_EQ(node.Input(1), nullptr);
        EXPECT_EQ(node.Input(-1), nullptr);
        EXPECT_EQ(node.InputCount(), 4);
        EXPECT_THROW(node.SetInput(-1, new Counted), CException);
        EXPECT_EQ(Counted::live, 2);
        node.SetInput(3, nullptr);
        EXPECT_EQ(node.Input(3), nullptr);
        EXPECT_EQ(Counted::live, 1);

        node.SetOutput(1, new Counted);
        std::unique_ptr<CValue> taken(node.TakeOutput(1));
        EXPECT_NE(taken, nullptr);
        EXPECT_EQ(node.Output(1), nullptr);
        EXPECT_EQ(node.TakeOutput(1), nullptr);
        node.SetOutput(0, new Counted);
        node.ClearInputs();
        EXPECT_EQ(node.Input(0), nullptr);
        EXPECT_EQ(Counted::live, 2);
    }
    EXPECT_EQ(Counted::live, 0) << "the node deletes what it still holds";
}

TEST(CPNode, DescribeInitAndExecute) {
    EchoNode node;
    CValueMap description;
    node.Describe(&description);
    EXPECT_EQ(description.GetString("name"), "Echo");
    EXPECT_NE(description.GetAttribute("inputs/0", "optional"), nullptr);

    node.Parameters().SetString("kept", "yes");
    node.Parameters().SetLong("n", 1);
    CValueMap parameters;
    parameters.SetLong("n", 2);
    parameters.SetBool("flag", true);
    node.Init(&parameters);
    node.Init(nullptr);
    EXPECT_EQ(node.Parameters().GetString("kept"), "yes");
    EXPECT_EQ(node.Parameters().GetLong("n"), 2);
    EXPECT_TRUE(node.Parameters().GetBool("flag"));
    parameters.SetLong("n", 3);
    EXPECT_EQ(node.Parameters().GetLong("n"), 2) << "Init copies";

    auto* image = new CImage(IMAGE_GREY_8, CSize(4, 4));
    image->voxel(1, 2, 0)[0] = 9;
    node.SetInput(0, new CValueSmart(image));
    node.Execute();
    std::unique_ptr<CValue> out(node.TakeOutput(0));
    auto* pointer = dynamic_cast<CValueOwnedPointer<CImage>*>(out.get());
    ASSERT_NE(pointer, nullptr);
    ASSERT_NE(pointer->Get(), nullptr);
    EXPECT_NE(pointer->Get(), image);
    EXPECT_EQ(pointer->Get()->voxel(1, 2, 0)[0], 9);
}
