// SPDX-License-Identifier: MIT
#include "ui/ShortcutsPage.h"

#include "persistence/SettingsDialog.h"
#include "ui/ShortcutSettings.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace pxm {

namespace {

enum Column { NameColumn, KeysColumn, ClearColumn, ColumnCount };

/// The action's name as the menus show it, without the mnemonic marker.
QString actionName(const MainActionRow& row) {
    QString name = QCoreApplication::translate("pxm::MainWindow", row.text);
    if (name.isEmpty() && row.toolTip) {
        // The reannotation button has no text, only its tool tip.
        name = QCoreApplication::translate("pxm::MainWindow", row.toolTip);
        if (name.endsWith('.'))
            name.chop(1);
    }
    return name.remove('&');
}

/// Whether pressing one of the sequences would also start the other: then only one can work.
bool clash(const QKeySequence& a, const QKeySequence& b) {
    const int shared = std::min(a.count(), b.count());
    if (shared == 0)
        return false;
    for (int i = 0; i < shared; ++i)
        if (a[uint(i)] != b[uint(i)])
            return false;
    return true;
}

} // namespace

ShortcutsPage::ShortcutsPage(QWidget* parent) : QGroupBox(tr("Shortcuts"), parent) {
    const QVector<MainActionRow>& rows = MainWindowActions::actions();
    m_table = new QTableWidget(rows.size(), ColumnCount, this);
    m_table->setObjectName("shortcutTable");
    m_table->setHorizontalHeaderLabels({tr("Action"), tr("Shortcut"), QString()});
    m_table->verticalHeader()->hide();
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->horizontalHeader()->setSectionResizeMode(NameColumn, QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(KeysColumn, QHeaderView::Stretch);
    m_table->horizontalHeader()->setSectionResizeMode(ClearColumn, QHeaderView::ResizeToContents);
    // The dialog scrolls as a whole; the table needs room for more than a few rows in it.
    m_table->setMinimumHeight(320);

    for (const MainActionRow& row : rows) {
        const int index = int(row.id);
        m_names << actionName(row);
        m_keys << ShortcutSettings::shortcuts(row);
        auto* item = new QTableWidgetItem(m_names.last());
        if (row.icon)
            item->setIcon(QIcon(row.icon));
        if (row.toolTip)
            item->setToolTip(QCoreApplication::translate("pxm::MainWindow", row.toolTip));
        m_table->setItem(index, NameColumn, item);

        auto* editor = new QKeySequenceEdit(m_table);
        editor->setObjectName(row.objectName);
        m_table->setCellWidget(index, KeysColumn, editor);
        m_editors << editor;
        const MainAction id = row.id;
        connect(editor, &QKeySequenceEdit::editingFinished, this,
                [this, id, editor] { setShortcut(id, editor->keySequence()); });

        auto* clear = new QToolButton(m_table);
        clear->setText(tr("Clear"));
        clear->setToolTip(tr("No shortcut for this action"));
        m_table->setCellWidget(index, ClearColumn, clear);
        connect(clear, &QToolButton::clicked, this, [this, id] { setShortcut(id, QKeySequence()); });
        showRow(index);
    }

    m_message = new QLabel(this);
    m_message->setObjectName("shortcutMessage");
    m_message->setWordWrap(true);
    QPalette palette = m_message->palette();
    palette.setColor(QPalette::WindowText, Qt::darkRed);
    m_message->setPalette(palette);

    auto* reset = new QPushButton(tr("Reset all"), this);
    reset->setObjectName("resetShortcutsButton");
    reset->setToolTip(tr("Give every action its default shortcut again."));
    connect(reset, &QPushButton::clicked, this, &ShortcutsPage::resetAll);

    auto* hint = new QLabel(tr("Click a shortcut and press the new keys. Changes apply to every window "
                               "when the dialog is closed with OK."),
                            this);
    hint->setWordWrap(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_message, 1);
    buttons->addWidget(reset);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    layout->addWidget(m_table);
    layout->addLayout(buttons);
}

ShortcutsPage* ShortcutsPage::addTo(SettingsDialog& dialog) {
    auto* page = new ShortcutsPage;
    dialog.addPage(page);
    connect(&dialog, &QDialog::accepted, page, &ShortcutsPage::commit);
    return page;
}

QString ShortcutsPage::message() const { return m_message->text(); }

bool ShortcutsPage::setShortcut(MainAction id, const QKeySequence& keys) {
    const int row = int(id);
    if (row < 0 || row >= m_keys.size())
        return false;
    // Recording the first of several shortcuts again keeps the others.
    if (!keys.isEmpty() && m_keys[row].value(0) == keys) {
        m_message->clear();
        return true;
    }
    for (int other = 0; other < m_keys.size(); ++other) {
        if (other == row)
            continue;
        for (const QKeySequence& taken : m_keys[other]) {
            if (clash(keys, taken)) {
                m_message->setText(tr("%1 is already the shortcut of \"%2\".")
                                       .arg(taken.toString(QKeySequence::NativeText), m_names[other]));
                showRow(row);
                return false;
            }
        }
    }
    m_keys[row] = keys.isEmpty() ? QList<QKeySequence>() : QList<QKeySequence>{keys};
    m_message->clear();
    showRow(row);
    return true;
}

void ShortcutsPage::resetAll() {
    for (const MainActionRow& row : MainWindowActions::actions()) {
        m_keys[int(row.id)] = MainWindowActions::defaultShortcuts(row);
        showRow(int(row.id));
    }
    m_message->clear();
}

void ShortcutsPage::commit() {
    for (const MainActionRow& row : MainWindowActions::actions())
        ShortcutSettings::store(row, m_keys[int(row.id)]);
    ShortcutSettings::applyToAllWindows();
}

void ShortcutsPage::showRow(int row) {
    const QList<QKeySequence>& keys = m_keys[row];
    m_editors[row]->setKeySequence(keys.value(0));
    // The platform gives some actions further shortcuts; they are named, not edited.
    m_editors[row]->setToolTip(
        keys.size() > 1
            ? tr("Also: %1").arg(QKeySequence::listToString(keys.mid(1), QKeySequence::NativeText))
            : QString());
}

} // namespace pxm
