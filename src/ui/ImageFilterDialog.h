// SPDX-License-Identifier: MIT
#pragma once

#include "ui/ImageFilter.h"

#include <QDialog>
#include <QPointer>

class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QSpinBox;

namespace pxm {

class Project;

/// Edits an image filter: labels the images must (or must not) contain, a file-name
/// pattern and a size range, with a live count of the project's images that match.
class ImageFilterDialog : public QDialog {
    Q_OBJECT
public:
    ImageFilterDialog(Project* project, const ImageFilter& filter, QWidget* parent = nullptr);

    /// The filter as the dialog shows it now.
    ImageFilter filter() const;
    void setFilter(const ImageFilter& filter);

    QListWidget* labelList() const { return m_labels; }
    QComboBox* labelModeComboBox() const { return m_mode; }
    QLineEdit* patternLineEdit() const { return m_pattern; }
    QComboBox* syntaxComboBox() const { return m_syntax; }
    QSpinBox* minWidthSpinBox() const { return m_minWidth; }
    QSpinBox* maxWidthSpinBox() const { return m_maxWidth; }
    QSpinBox* minHeightSpinBox() const { return m_minHeight; }
    QSpinBox* maxHeightSpinBox() const { return m_maxHeight; }
    QLabel* countLabel() const { return m_count; }
    QDialogButtonBox* buttonBox() const { return m_buttons; }

public slots:
    /// Sets every criterion back to "any".
    void reset();

private slots:
    void updateCount();

private:
    QPointer<Project> m_project;
    QListWidget* m_labels = nullptr;
    QComboBox* m_mode = nullptr;
    QLineEdit* m_pattern = nullptr;
    QComboBox* m_syntax = nullptr;
    QLabel* m_patternError = nullptr;
    QSpinBox* m_minWidth = nullptr;
    QSpinBox* m_maxWidth = nullptr;
    QSpinBox* m_minHeight = nullptr;
    QSpinBox* m_maxHeight = nullptr;
    QLabel* m_count = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
};

} // namespace pxm
