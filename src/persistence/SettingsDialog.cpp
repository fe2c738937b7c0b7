// SPDX-License-Identifier: MIT
#include "persistence/SettingsDialog.h"

#include "persistence/ReannotationSettings.h"
#include "persistence/SettingsPages.h"
#include "persistence/SettingsToolPages.h"

#include <QDialogButtonBox>
#include <QScrollArea>
#include <QVBoxLayout>

namespace pxm {

SettingsDialog::SettingsDialog(Project* project, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Settings"));
    m_pages = {new ViewSettings(project),
               new RectToolSettings("RectTool", tr("Rect Tool"), project),
               new RectToolSettings("EllipseTool", tr("Ellipse Tool"), project),
               new FreehandToolSettings(project),
               new EraserToolSettings(project),
               new SerializationSettings(project),
               new StatusLineSettings(project),
               new ScriptSettings(project),
               new LabelSettings(project),
               new ReannotationSettings(project)};

    // The pages are taller than many screens; they scroll inside the dialog.
    auto* content = new QWidget;
    m_pagesLayout = new QVBoxLayout(content);
    for (SettingsPage* page : m_pages)
        m_pagesLayout->addWidget(page);
    m_pagesLayout->addStretch();
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setWidget(content);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll);
    layout->addWidget(buttons);
    resize(700, 720);
    takeWheelOnlyWhenFocused(this);
    projectToUi();
}

void SettingsDialog::addPage(QWidget* page) {
    // Above the stretch that keeps the pages together at the top.
    m_pagesLayout->insertWidget(m_pagesLayout->count() - 1, page);
}

void SettingsDialog::projectToUi() {
    for (SettingsPage* page : m_pages)
        page->projectToUi();
}

} // namespace pxm
