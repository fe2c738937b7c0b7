// SPDX-License-Identifier: MIT
#include "platform/CImage.h"
#include "platform/CValueOwnedPointer.h"
#include "plugin/PPixmarker.h"

#include <QString>
#include <gtest/gtest.h>

namespace {

std::string stringAttribute(const KYVO::CValueMap& map, const std::string& path, const char* name) {
    const auto* value = dynamic_cast<const KYVO::CValueString*>(map.GetAttribute(path, name));
    return value ? value->Get() : std::string("<missing>");
}

} // namespace

// keep_workspace is set here; the host's test describes the node with it set and with its default.
TEST(Description, KeysValuesAttributesAndHelpText) {
    using Keys = std::vector<std::string>;
    KYVO::CValueMap parameters;
    parameters.SetBool("keep_workspace", true);
    parameters.SetString("input_image_path", "%KYVODIR%/a.tif");
    parameters.SetString("label_mask_path", "/m/a.pgm");
    pxm::PPixmarker node;
    node.Init(&parameters);
    KYVO::CValueMap d;
    node.Describe(&d);
    EXPECT_EQ(d.Keys(), (Keys{"pluginType", "subType", "name", "widget", "parameters", "inputs", "outputs",
                              "description", "__nodaraDocumentation"}));
    EXPECT_EQ(d.GetString("pluginType") + d.GetString("subType") + d.GetString("name"),
              "GenericUtilityLumarka");
    EXPECT_EQ(d.GetString("__nodaraDocumentation"),
              "%KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html");
    // The parameters show the node's current values, in the node's order.
    EXPECT_EQ(d.GetMap("parameters")->Keys(), parameters.Keys());
    EXPECT_EQ(d.GetString("parameters/input_image_path") + d.GetString("parameters/label_mask_path"),
              "%KYVODIR%/a.tif/m/a.pgm");
    EXPECT_EQ(d.Attributes("parameters/label_mask_path"), nullptr);
    EXPECT_EQ(d.GetMap("inputs")->Keys(), (Keys{"0", "1", "2", "3"}));
    EXPECT_EQ(d.GetMap("outputs")->Keys(), (Keys{"0", "1"}));
    // Inputs and outputs: an empty image (or map) each; a label, which the help text repeats under
    // its heading ("INPUT 0"); for inputs "optional" false.
    const QString text = QString::fromStdString(d.GetString("description"));
    for (const std::string key : {"inputs/0", "inputs/1", "inputs/2", "inputs/3", "outputs/0", "outputs/1"}) {
        SCOPED_TRACE(key);
        const bool isMap = key == "inputs/2" || key == "outputs/1";
        const auto* image = dynamic_cast<const KYVO::CValueOwnedPointer<KYVO::CImage>*>(d.Get(key));
        EXPECT_TRUE(isMap ? d.GetMap(key) && d.GetMap(key)->empty() : image && !image->Get());
        if (key == "outputs/1") {
            EXPECT_EQ(d.Attributes(key), nullptr);
            continue;
        }
        const QString path = QString::fromStdString(key);
        const QString heading = path.section('/', 0, 0).chopped(1).toUpper() + ' ' + path.section('/', 1);
        const QString label = QString::fromStdString(stringAttribute(d, key, "label"));
        EXPECT_TRUE(text.contains(QString("\n%1\n%2\n\n").arg(heading, label))) << label.toStdString();
        const auto* optional = dynamic_cast<const KYVO::CValueBool*>(d.GetAttribute(key, "optional"));
        EXPECT_TRUE(key == "outputs/0" ? !optional : optional && !optional->Get());
    }
    EXPECT_TRUE(text.startsWith("BRIEF\nA simple GUI which allows manual, real time labeling.\n"));
    EXPECT_TRUE(text.endsWith("\n\n\n"));
    // The parameters' texts, which the help text repeats.
    for (const char* name : {"keep_workspace", "input_image_path"}) {
        const std::string desc = stringAttribute(d, std::string("parameters/") + name, "desc");
        EXPECT_NE(desc.find("The type of this parameter is of type"), std::string::npos) << desc;
        EXPECT_TRUE(text.contains(QString("PARAMETER %1\n%2").arg(name, QString::fromStdString(desc))));
    }
    EXPECT_LT(text.indexOf("-- BEGIN ONLY FOR PLUGIN --"), text.indexOf("INPUT 0"));
    EXPECT_LT(text.indexOf("OUTPUT 0"), text.indexOf("PARAMETER keep_workspace"));
}
