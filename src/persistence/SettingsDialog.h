// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QList>

class QVBoxLayout;

namespace pxm {

class Project;
class SettingsPage;

/// The settings dialog: every settings page of the project, one below the other, and an OK
/// button. Project settings take effect as they are made; pages added with addPage() may keep
/// their changes until the dialog is accepted.
class SettingsDialog : public QDialog {
    Q_OBJECT
public:
    explicit SettingsDialog(Project* project, QWidget* parent = nullptr);

    /// The pages in their order on screen.
    const QList<SettingsPage*>& pages() const { return m_pages; }
    /// Shows `page` below the settings pages and takes it over. For pages that edit something
    /// other than the project and are built by the layers above, such as the window's shortcuts.
    void addPage(QWidget* page);

public slots:
    /// Shows the project's current values on every page.
    void projectToUi();

private:
    QList<SettingsPage*> m_pages;
    QVBoxLayout* m_pagesLayout = nullptr;
};

} // namespace pxm
