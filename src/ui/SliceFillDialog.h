// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QPointer>

#include <memory>

class QLabel;

namespace pxm {

class Project;
class SliceFillPreview;

/// Shows the result of "Fill between slices" while the user steps through the z-layers:
/// Apply makes it items in one undo step, Cancel (or closing) drops it. Not modal, so the
/// window stays usable; it deletes itself when closed.
class SliceFillDialog : public QDialog {
    Q_OBJECT
public:
    SliceFillDialog(Project* project, std::unique_ptr<SliceFillPreview> preview, QWidget* parent);
    ~SliceFillDialog() override;

public slots:
    void apply();

private:
    QPointer<Project> m_project;
    std::unique_ptr<SliceFillPreview> m_preview;
};

} // namespace pxm
