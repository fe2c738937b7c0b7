// SPDX-License-Identifier: MIT
#include "platform/CImage.h"
#include "platform/CValueOwnedPointer.h"
#include "plugin/PPixmarker.h"

#include <QString>
#include <QStringList>
#include <gtest/gtest.h>

namespace {

using ImagePointer = KYVO::CValueOwnedPointer<KYVO::CImage>;

const char* const kKeepDesc =
    "The type of this parameter is of type bool.\n"
    "determines whether the workspace should be forgotten after closing the window\n"
    "(set to \\a false) or kept (set to \\a true)\\n\n";
const char* const kPathDesc = " The type of this parameter is of type string.\n"
                              "determines the image path, so that you can save your changes within Lumarka\n"
                              "as a Lumarka-project \\n\n";

KYVO::CValueMap describe(const KYVO::CValueMap& parameters) {
    pxm::PPixmarker node;
    node.Init(&parameters);
    KYVO::CValueMap description;
    node.Describe(&description);
    return description;
}

std::string stringAttribute(const KYVO::CValueMap& map, const std::string& path, const char* name) {
    const auto* value = dynamic_cast<const KYVO::CValueString*>(map.GetAttribute(path, name));
    return value ? value->Get() : std::string("<missing>");
}

bool isEmptyImage(const KYVO::CValue* value) {
    const auto* pointer = dynamic_cast<const ImagePointer*>(value);
    return pointer && !pointer->Get();
}

} // namespace

TEST(Description, KeysValuesAttributesAndHelpTextForBothKeepWorkspaceSettings) {
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep ? "keep_workspace true" : "keep_workspace false");
        KYVO::CValueMap parameters;
        parameters.SetBool("keep_workspace", keep);
        parameters.SetString("input_image_path", "%KYVODIR%/a.tif");
        parameters.SetString("label_mask_path", "/m/a.pgm");
        const KYVO::CValueMap d = describe(parameters);

        EXPECT_EQ(d.Keys(),
                  (std::vector<std::string>{"pluginType", "subType", "name", "widget", "parameters", "inputs",
                                            "outputs", "description", "__nodaraDocumentation"}));
        EXPECT_EQ(d.GetString("pluginType"), "Generic");
        EXPECT_EQ(d.GetString("subType"), "Utility");
        EXPECT_EQ(d.GetString("name"), "Lumarka");
        KYVO::CValue::EnErrType err = KYVO::CValue::ERR_NOT_FOUND;
        EXPECT_TRUE(d.GetBool("widget", false, &err));
        EXPECT_EQ(err, KYVO::CValue::ERR_OK);
        EXPECT_EQ(d.GetString("__nodaraDocumentation"),
                  "%KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html");

        // The parameters show the node's current values.
        EXPECT_EQ(d.GetMap("parameters")->Keys(),
                  (std::vector<std::string>{"keep_workspace", "input_image_path", "label_mask_path"}));
        EXPECT_EQ(d.GetBool("parameters/keep_workspace", !keep, &err), keep);
        EXPECT_EQ(err, KYVO::CValue::ERR_OK);
        EXPECT_EQ(d.GetString("parameters/input_image_path"), "%KYVODIR%/a.tif");
        EXPECT_EQ(d.GetString("parameters/label_mask_path"), "/m/a.pgm");
        // ... while the texts describing them do not change.
        EXPECT_EQ(stringAttribute(d, "parameters/keep_workspace", "desc"), kKeepDesc);
        EXPECT_EQ(stringAttribute(d, "parameters/input_image_path", "desc"), kPathDesc);
        EXPECT_EQ(d.Attributes("parameters/label_mask_path"), nullptr);

        const struct {
            const char* path;
            const char* label;
        } inputs[] = {{"inputs/0", "The image which should be annotated."},
                      {"inputs/1", "An existing image mask."},
                      {"inputs/2", "A list with all labels."},
                      {"inputs/3", "A zone list characterizing image masks"}};
        EXPECT_EQ(d.GetMap("inputs")->Keys(), (std::vector<std::string>{"0", "1", "2", "3"}));
        for (const auto& input : inputs) {
            SCOPED_TRACE(input.path);
            EXPECT_EQ(stringAttribute(d, input.path, "label"), input.label);
            const auto* optional =
                dynamic_cast<const KYVO::CValueBool*>(d.GetAttribute(input.path, "optional"));
            ASSERT_NE(optional, nullptr);
            EXPECT_FALSE(optional->Get());
        }
        EXPECT_TRUE(isEmptyImage(d.Get("inputs/0")));
        EXPECT_TRUE(isEmptyImage(d.Get("inputs/1")));
        ASSERT_NE(d.GetMap("inputs/2"), nullptr);
        EXPECT_TRUE(d.GetMap("inputs/2")->empty());
        EXPECT_TRUE(isEmptyImage(d.Get("inputs/3")));

        EXPECT_EQ(d.GetMap("outputs")->Keys(), (std::vector<std::string>{"0", "1"}));
        EXPECT_TRUE(isEmptyImage(d.Get("outputs/0")));
        ASSERT_NE(d.GetMap("outputs/1"), nullptr);
        EXPECT_TRUE(d.GetMap("outputs/1")->empty());
        EXPECT_EQ(stringAttribute(d, "outputs/0", "label"),
                  "An image mask containing the ID of the label for each pixel.");
        EXPECT_EQ(d.Attributes("outputs/1"), nullptr);

        const QString text = QString::fromStdString(d.GetString("description"));
        EXPECT_TRUE(text.startsWith("BRIEF\nA simple GUI which allows manual, real time labeling.\n"));
        EXPECT_TRUE(text.endsWith("\n\n\n"));
        // Each section heading ("INPUT 0") is followed by the text the map shows for that entry.
        for (const QString path : {"inputs/0", "inputs/1", "inputs/2", "inputs/3", "outputs/0"}) {
            SCOPED_TRACE(path.toStdString());
            const QString heading = path.section('/', 0, 0).chopped(1).toUpper() + ' ' + path.section('/', 1);
            const QString label = QString::fromStdString(stringAttribute(d, path.toStdString(), "label"));
            EXPECT_TRUE(text.contains(QString("\n%1\n%2\n\n").arg(heading, label)));
        }
        EXPECT_TRUE(text.contains(QString("PARAMETER keep_workspace\n") + kKeepDesc));
        EXPECT_TRUE(text.contains(QString("PARAMETER input_image_path\n") + kPathDesc));
        EXPECT_LT(text.indexOf("-- BEGIN ONLY FOR PLUGIN --"), text.indexOf("INPUT 0"));
        EXPECT_LT(text.indexOf("OUTPUT 0"), text.indexOf("PARAMETER keep_workspace"));
    }
}
