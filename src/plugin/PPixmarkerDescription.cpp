// SPDX-License-Identifier: MIT
#include "platform/CImage.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "plugin/PPixmarker.h"

#include <initializer_list>
#include <string>

namespace pxm {

namespace {

std::string lines(std::initializer_list<const char*> texts) {
    std::string text;
    for (const char* line : texts)
        text.append(line).push_back('\n');
    return text;
}

// The "\a" and "\n" in the last lines are doxygen markup the framework's documentation
// shows as written, so they stay backslash sequences rather than control characters.
const std::string& keepWorkspaceDesc() {
    static const std::string text =
        lines({"The type of this parameter is of type bool.",
               "determines whether the workspace should be forgotten after closing the window",
               "(set to \\a false) or kept (set to \\a true)\\n"});
    return text;
}

const std::string& inputImagePathDesc() {
    // The leading space is how the framework has always shown this entry.
    static const std::string text =
        lines({" The type of this parameter is of type string.",
               "determines the image path, so that you can save your changes within Lumarka",
               "as a Lumarka-project \\n"});
    return text;
}

const char* const kImageLabel = "The image which should be annotated.";
const char* const kMaskLabel = "An existing image mask.";
const char* const kLabelsLabel = "A list with all labels.";
const char* const kZonesLabel = "A zone list characterizing image masks";
const char* const kOutputLabel = "An image mask containing the ID of the label for each pixel.";

std::string descriptionText() {
    std::string text =
        lines({"BRIEF", "A simple GUI which allows manual, real time labeling.", "",
               "This node offers a simple GUI which allows manual, real time labeling in Nodara "
               "but also as a standalone application.",
               "", "", "", "", "-- BEGIN ONLY FOR PLUGIN --", ""});
    text += lines({"INPUT 0", kImageLabel, ""});
    text += lines({"INPUT 1", kMaskLabel, ""});
    text += lines({"INPUT 2", kLabelsLabel, ""});
    text += lines({"INPUT 3", kZonesLabel, "", ""});
    text += lines({"OUTPUT 0", kOutputLabel, ""});
    text += lines({"PARAMETER keep_workspace"}) + keepWorkspaceDesc() + lines({"", ""});
    text += lines({"PARAMETER input_image_path"}) + inputImagePathDesc() + lines({"", ""});
    return text;
}

KYVO::CValue* emptyImage() {
    return new KYVO::CValueOwnedPointer<KYVO::CImage>();
}

void describeInput(KYVO::CValueMap* description, const char* path, const char* label) {
    description->SetAttribute(path, "label", new KYVO::CValueString(label));
    description->SetAttribute(path, "optional", new KYVO::CValueBool(false));
}

} // namespace

void PPixmarker::Describe(KYVO::CValueMap* description) const {
    if (!description)
        return;
    description->SetString("pluginType", "Generic");
    description->SetString("subType", "Utility");
    description->SetString("name", "Lumarka");
    description->SetBool("widget", true);

    auto* parameters = new KYVO::CValueMap;
    parameters->SetBool("keep_workspace", m_keepWorkspace);
    parameters->SetString("input_image_path", m_inputImagePath);
    parameters->SetString("label_mask_path", m_labelMaskPath);
    description->Set("parameters", parameters);

    auto* inputs = new KYVO::CValueMap;
    inputs->Set("0", emptyImage());
    inputs->Set("1", emptyImage());
    inputs->Set("2", new KYVO::CValueMap);
    inputs->Set("3", emptyImage());
    description->Set("inputs", inputs);

    auto* outputs = new KYVO::CValueMap;
    outputs->Set("0", emptyImage());
    outputs->Set("1", new KYVO::CValueMap);
    description->Set("outputs", outputs);

    description->SetString("description", descriptionText());

    description->SetAttribute("parameters/keep_workspace", "desc",
                              new KYVO::CValueString(keepWorkspaceDesc()));
    description->SetAttribute("parameters/input_image_path", "desc",
                              new KYVO::CValueString(inputImagePathDesc()));
    describeInput(description, "inputs/0", kImageLabel);
    describeInput(description, "inputs/1", kMaskLabel);
    describeInput(description, "inputs/2", kLabelsLabel);
    describeInput(description, "inputs/3", kZonesLabel);
    description->SetAttribute("outputs/0", "label", new KYVO::CValueString(kOutputLabel));

    description->SetString("__nodaraDocumentation",
                           "%KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html");
}

} // namespace pxm
