// SPDX-License-Identifier: MIT
#include "ui/SliceFillDialog.h"

#include "model/Project.h"
#include "tools/smart/SliceFillPreview.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QUndoStack>
#include <QVBoxLayout>

namespace pxm {

SliceFillDialog::SliceFillDialog(Project* project, std::unique_ptr<SliceFillPreview> preview, QWidget* parent)
    : QDialog(parent), m_project(project), m_preview(std::move(preview)) {
    setObjectName("SliceFillDialog");
    setWindowTitle(tr("Fill between slices"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(this);
    QString text = tr("%n layer(s) filled, shown hatched. Step through the z-layers to check them.", nullptr,
                      m_preview->filledLayers());
    for (const QString& note : m_preview->notes())
        text += "\n" + note;
    auto* label = new QLabel(text, this);
    label->setWordWrap(true);
    layout->addWidget(label);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Apply | QDialogButtonBox::Cancel, this);
    layout->addWidget(buttons);
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, &SliceFillDialog::apply);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

SliceFillDialog::~SliceFillDialog() = default;

void SliceFillDialog::apply() {
    if (QUndoCommand* command = m_preview->apply(); command && m_project)
        m_project->undoStack()->push(command);
    else
        delete command;
    accept();
}

} // namespace pxm
