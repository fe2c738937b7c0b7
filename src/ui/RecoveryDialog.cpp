// SPDX-License-Identifier: MIT
#include "ui/RecoveryDialog.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace pxm {

RecoveryDialog::RecoveryDialog(const QList<RecoveryFolder::Entry>& entries, QWidget* parent)
    : QDialog(parent), m_entries(entries) {
    setObjectName("recoveryDialog");
    setWindowTitle(tr("Recover unsaved work"));
    auto* text =
        new QLabel(tr("Pixmarker ended without saving the work below. Recover opens it in a window of "
                      "its own; Discard deletes it. What you neither recover nor discard is offered "
                      "again at the next start."),
                   this);
    text->setWordWrap(true);
    m_list = new QTreeWidget(this);
    m_list->setObjectName("snapshots");
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // The file name first, then where it lives: two projects of one name in different
    // folders stay apart. The name and the time are shown whole; the folder takes the rest.
    m_list->setHeaderLabels({tr("Project"), tr("Folder"), tr("Time")});
    m_list->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_list->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    m_list->header()->setStretchLastSection(false);
    for (const RecoveryFolder::Entry& entry : m_entries) {
        const QString path = entry.description.projectPath;
        const QFileInfo file(path);
        auto* row = new QTreeWidgetItem(
            m_list, {projectText(path), path.isEmpty() ? QString() : QDir::toNativeSeparators(file.absolutePath()),
                     QLocale().toString(entry.description.time.toLocalTime(), QLocale::ShortFormat)});
        row->setToolTip(0, path.isEmpty() ? entry.folder : path);
        row->setToolTip(1, entry.folder);
    }
    if (m_list->topLevelItemCount() > 0)
        m_list->setCurrentItem(m_list->topLevelItem(0));

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    m_recover = buttons->addButton(tr("Recover"), QDialogButtonBox::ActionRole);
    m_recover->setObjectName("recover");
    m_discard = buttons->addButton(tr("Discard"), QDialogButtonBox::DestructiveRole);
    m_discard->setObjectName("discard");
    // "Discard" is destructive: Return must not reach it by default.
    m_recover->setDefault(true);
    connect(m_recover, &QPushButton::clicked, this, &RecoveryDialog::recoverSelected);
    connect(m_discard, &QPushButton::clicked, this, &RecoveryDialog::discardSelected);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, &RecoveryDialog::updateButtons);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text);
    layout->addWidget(m_list);
    layout->addWidget(buttons);
    resize(720, 320);
    updateButtons();
}

QString RecoveryDialog::projectText(const QString& path) {
    return path.isEmpty() ? tr("Unsaved project") : QFileInfo(path).fileName();
}

QList<int> RecoveryDialog::selectedRows() const {
    QList<int> rows;
    for (QTreeWidgetItem* item : m_list->selectedItems())
        rows << m_list->indexOfTopLevelItem(item);
    std::sort(rows.begin(), rows.end());
    return rows;
}

void RecoveryDialog::recoverSelected() {
    const QList<int> rows = selectedRows();
    for (const int row : rows)
        m_chosen << m_entries[row];
    takeRows(rows);
}

void RecoveryDialog::discardSelected() {
    const QList<int> rows = selectedRows();
    for (const int row : rows)
        if (!RecoveryFolder::discard(m_entries[row].folder))
            m_failedDiscards << m_entries[row].folder;
    takeRows(rows);
}

void RecoveryDialog::takeRows(const QList<int>& rows) {
    for (auto it = rows.crbegin(); it != rows.crend(); ++it) {
        delete m_list->takeTopLevelItem(*it);
        m_entries.removeAt(*it);
    }
    if (m_entries.isEmpty())
        accept();
    else if (!m_list->currentItem() || !m_list->currentItem()->isSelected())
        m_list->setCurrentItem(m_list->topLevelItem(0));
    updateButtons();
}

void RecoveryDialog::updateButtons() {
    const bool any = !m_list->selectedItems().isEmpty();
    m_recover->setEnabled(any);
    m_discard->setEnabled(any);
}

} // namespace pxm
