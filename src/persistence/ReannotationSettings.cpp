// SPDX-License-Identifier: MIT
#include "persistence/ReannotationSettings.h"

#include "model/Label.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace pxm {

namespace {
enum Column { KeyColumn, FromColumn, ToColumn };
}

QString ReannotationSettings::anyLabelText() {
    return tr("(any label)");
}

ReannotationSettings::ReannotationSettings(Project* project, QWidget* parent)
    : SettingsPage(tr("Reannotation"), project, parent) {
    setObjectName("ReannotationSettings");
    auto* hint = new QLabel(tr("Releasing a key over a shape moves it to another label. The same keys "
                               "relabel the shapes shown in the reannotation window."),
                            this);
    hint->setWordWrap(true);
    m_table = new QTableWidget(0, 3, this);
    m_table->setObjectName("rules");
    m_table->setHorizontalHeaderLabels({tr("Key"), tr("Move shapes of"), tr("To label")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->verticalHeader()->hide();
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setMinimumHeight(140);
    m_add = new QPushButton(tr("Add rule"), this);
    m_add->setObjectName("addRule");
    m_remove = new QPushButton(tr("Remove rule"), this);
    m_remove->setObjectName("removeRule");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_add);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    layout->addWidget(m_table);
    layout->addLayout(buttons);

    connect(m_add, &QPushButton::clicked, this, [this] {
        addRow();
        m_table->setCurrentCell(m_table->rowCount() - 1, KeyColumn);
    });
    connect(m_remove, &QPushButton::clicked, this, [this] {
        const int row = m_table->currentRow();
        if (row < 0)
            return;
        m_table->removeRow(row);
        if (!isUpdatingUi())
            uiToProject();
    });
}

QComboBox* ReannotationSettings::labelBox(bool allowAny) {
    auto* box = new QComboBox;
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    if (allowAny)
        box->addItem(anyLabelText());
    if (Project* p = project())
        for (const Label* label : p->labels())
            box->addItem(label->name());
    writeBackOn(box, &QComboBox::currentTextChanged);
    return box;
}

void ReannotationSettings::addRow(const ReannotationRule& rule) {
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    auto* key = new QKeySequenceEdit(QKeySequence::fromString(rule.key, QKeySequence::PortableText));
    writeBackOn(key, &QKeySequenceEdit::editingFinished);
    QComboBox* from = labelBox(true);
    from->setCurrentText(rule.from.isEmpty() ? anyLabelText() : rule.from);
    QComboBox* to = labelBox(false);
    to->setCurrentText(rule.to);
    m_table->setCellWidget(row, KeyColumn, key);
    m_table->setCellWidget(row, FromColumn, from);
    m_table->setCellWidget(row, ToColumn, to);
}

ReannotationRules ReannotationSettings::rulesFromUi() const {
    QList<ReannotationRule> rules;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const auto* key = qobject_cast<QKeySequenceEdit*>(m_table->cellWidget(row, KeyColumn));
        const auto* from = qobject_cast<QComboBox*>(m_table->cellWidget(row, FromColumn));
        const auto* to = qobject_cast<QComboBox*>(m_table->cellWidget(row, ToColumn));
        if (!key || !from || !to)
            continue;
        // The editor may hold a chord of several keys; a rule acts on one.
        const QKeySequence sequence = key->keySequence();
        ReannotationRule rule;
        rule.key = sequence.isEmpty() ? QString()
                                      : ReannotationRules::normalizedKey(
                                            QKeySequence(sequence[0]).toString(QKeySequence::PortableText));
        rule.from =
            from->currentText().trimmed() == anyLabelText() ? QString() : from->currentText().trimmed();
        rule.to = to->currentText().trimmed();
        if (!rule.key.isEmpty() && !rule.to.isEmpty())
            rules << rule;
    }
    return ReannotationRules(rules);
}

void ReannotationSettings::readProject() {
    m_table->setRowCount(0);
    const ReannotationRules rules =
        ReannotationRules::fromText(value(ReannotationRules::SettingsKey).toString());
    for (const ReannotationRule& rule : rules.rules())
        addRow(rule);
}

void ReannotationSettings::writeProject() {
    store(ReannotationRules::SettingsKey, rulesFromUi().toText());
}

} // namespace pxm
