// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CPNode.h"

#include <QPointer>
#include <memory>
#include <string>

class QRectF;

namespace KYVO {
class CImage;
class CValueSmart;
class CValueVector;
} // namespace KYVO

namespace pxm {

class MainWindow;
class Project;

/// The annotation node a pipeline framework runs: it opens a main window on a workspace (a
/// Project and its MainWindow), fills the project from its four stack inputs (0 image,
/// 1 mask, 2 label list, 3 zone list), lets the user annotate until the window is closed and
/// then puts the label mask of the first image (output 0) and the label list (output 1) on
/// its output stack.
///
/// Parameters: "keep_workspace" (bool: false forgets the workspace once its window was
/// closed, so the next run starts from a fresh project and window; true reuses them),
/// "input_image_path" (where the image lives on disk, so the work can be saved as a project
/// beside it; "%KYVODIR%" parts are replaced by that environment variable) and
/// "label_mask_path" (the mask file saved changes go to). A parameter "QWidgetPointer"
/// makes the window a child of the framework's widget.
///
/// Input errors are KYVO::CException raised before the window is shown.
class PPixmarker : public KYVO::CPNode {
public:
    PPixmarker();
    ~PPixmarker() override;

    /// Fills `description` with the node's kind, name, parameters, inputs, outputs and help.
    void Describe(KYVO::CValueMap* description) const override;
    /// Reads "keep_workspace", "input_image_path" and "label_mask_path"; a missing entry
    /// keeps the current value.
    void Init(const KYVO::CValueMap* parameters) override;
    /// Runs the node: builds or reuses the workspace, reads the inputs, shows the window,
    /// waits for it to close and sets the outputs.
    void Execute() override;

    /// Clears the project and reads every input again (the window's reload action). Does
    /// nothing before the first run has built a workspace.
    void reloadNodaraInput();

    bool keepWorkspace() const { return m_keepWorkspace; }
    const std::string& inputImagePath() const { return m_inputImagePath; }
    const std::string& labelMaskPath() const { return m_labelMaskPath; }
    bool workspaceStale() const { return m_workspaceStale; }
    /// The workspace of the last run; null before the first.
    Project* project() const { return m_project.get(); }
    MainWindow* mainWindow() const;

    /// "input_image_path" with every "%KYVODIR%" part replaced by the environment variable.
    static QString resolveImagePath(const std::string& path);
    /// The project file belonging to an image: the path up to its first dot, plus ".json".
    static QString projectPathFor(const QString& imagePath);

protected:
    // The readers expect the project to have been cleared just before: a new image input
    // replaces the clone an old LabeledImage still points to.
    void reloadImageInput();
    void reloadMaskInput();
    void reloadLabelInput();
    void reloadZoneInput();
    void addZoneListImage(const KYVO::CImage* zones);

private:
    void buildWorkspace();
    void dropWorkspace();
    void addZoneListVector(const KYVO::CValueVector& zones);
    /// Puts one zone as a rectangle into the current scene of image 0, with the label of
    /// that id (created when the project has none).
    void addZone(const QRectF& rect, int labelId);

    bool m_keepWorkspace = false;
    std::string m_inputImagePath;
    std::string m_labelMaskPath;
    bool m_workspaceStale = true;
    std::unique_ptr<Project> m_project;
    // The framework's parent widget may delete the window with itself.
    QPointer<MainWindow> m_mainWindow;
    std::unique_ptr<KYVO::CValueSmart> m_heldImageInput;
    std::unique_ptr<KYVO::CValueSmart> m_heldLabelInput;
    std::unique_ptr<KYVO::CValueSmart> m_heldZoneInput;
    // The mask stays ours rather than the LabeledImage's: with a mask path set, the image
    // would drop an owned mask when it swaps out and try to read a file that may not exist.
    std::unique_ptr<KYVO::CImage> m_heldMask;
};

} // namespace pxm
