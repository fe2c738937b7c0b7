// SPDX-License-Identifier: MIT
#include "ui/LabelListWidget.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QRegularExpression>
#include <QUndoStack>
#include <QVBoxLayout>

namespace pxm {

namespace {

// Per-label memory of the opacities a hidden label had, kept on the label itself so it
// goes wherever the label goes (also into an undo command that holds it).
const char* const PrimaryOpacityKey = "primary_opacity";
const char* const SecondaryOpacityKey = "secondary_opacity";
constexpr int LabelRole = Qt::UserRole + 1;

bool isShown(const Label* label) {
    return label->opacity() > 0 || label->secondaryOpacity() > 0;
}

// A small square of the label's colour, so a row can be matched to the shapes in the view.
QIcon swatch(const QColor& color) {
    QPixmap pixmap(12, 12);
    pixmap.fill(color.isValid() ? color : QColor(Qt::black));
    return QIcon(pixmap);
}

} // namespace

LabelListWidget::LabelListWidget(QWidget* parent) : QWidget(parent) {
    m_filterLineEdit = new QLineEdit(this);
    m_filterLineEdit->setObjectName("filterLineEdit");
    m_filterLineEdit->setToolTip(tr("Filter the labels."));
    m_filterLineEdit->setPlaceholderText(tr("Search label ..."));
    m_filterLineEdit->setClearButtonEnabled(true);

    m_listWidget = new QListWidget(this);
    m_listWidget->setObjectName("listWidget");
    m_listWidget->setSelectionMode(QAbstractItemView::SingleSelection);
    m_listWidget->setUniformItemSizes(true);

    m_newButton = new QPushButton(QIcon(":/icons/add-label.svg"), tr("New Label"), this);
    m_newButton->setObjectName("newButton");
    m_newButton->setToolTip(tr("Create a new class."));
    m_deleteButton = new QPushButton(QIcon(":/icons/del-label.svg"), tr("Delete Label"), this);
    m_deleteButton->setObjectName("deleteButton");
    m_deleteButton->setToolTip(tr("Deletes the current label."));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_newButton);
    buttons->addWidget(m_deleteButton);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_filterLineEdit);
    layout->addWidget(m_listWidget);
    layout->addLayout(buttons);

    connect(m_listWidget, &QListWidget::currentRowChanged, this,
            &LabelListWidget::on_listWidget_currentRowChanged);
    connect(m_listWidget, &QListWidget::itemChanged, this, &LabelListWidget::on_label_checked);
    connect(m_newButton, &QPushButton::clicked, this, &LabelListWidget::on_newButton_clicked);
    connect(m_deleteButton, &QPushButton::clicked, this, &LabelListWidget::on_deleteButton_clicked);
    connect(m_filterLineEdit, &QLineEdit::textEdited, this, &LabelListWidget::on_filterLineEdit_textEdited);
    // The clear button of the line edit changes the text without textEdited.
    connect(m_filterLineEdit, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (text.isEmpty() && !m_filterWords.isEmpty())
            on_filterLineEdit_textEdited(text);
    });

    // Delete removes the current label while the list has the focus (undoable like the button).
    m_listWidget->installEventFilter(this);

    setProject(nullptr);
}

bool LabelListWidget::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_listWidget && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->matches(QKeySequence::Delete)) {
        on_deleteButton_clicked();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QListWidgetItem* LabelListWidget::itemOf(const Label* label) const {
    return m_items.value(label);
}

Label* LabelListWidget::labelOf(const QListWidgetItem* item) const {
    return item ? static_cast<Label*>(item->data(LabelRole).value<void*>()) : nullptr;
}

void LabelListWidget::setProject(Project* project) {
    for (const QMetaObject::Connection& c : m_projectConnections)
        disconnect(c);
    m_projectConnections.clear();
    for (auto it = m_items.cbegin(); it != m_items.cend(); ++it)
        disconnect(it.key(), nullptr, this, nullptr);
    m_items.clear();
    m_updating = true;
    m_listWidget->clear();
    m_updating = false;
    m_filterLineEdit->clear();
    m_filterWords.clear();
    m_project = project;

    m_newButton->setEnabled(project != nullptr);
    m_deleteButton->setEnabled(false);
    if (!project)
        return;
    m_projectConnections
        << connect(project, &Project::labelAdded, this, &LabelListWidget::on_project_labelAdded)
        << connect(project, &Project::labelRemoved, this, &LabelListWidget::on_project_labelRemoved)
        << connect(project, &Project::currentLabelChanged, this,
                   &LabelListWidget::on_project_currentLabelChanged)
        << connect(project, &QObject::destroyed, this, &LabelListWidget::on_project_destroyed)
        // clear() deletes the labels without labelRemoved.
        << connect(project, &Project::cleared, this, [this] { setProject(m_project); });
    for (Label* label : project->labels())
        on_project_labelAdded(label);
    on_project_currentLabelChanged(project->currentLabel());
}

void LabelListWidget::on_project_destroyed() {
    setProject(nullptr);
}

void LabelListWidget::on_project_labelAdded(Label* label) {
    if (!label || m_items.contains(label))
        return;
    auto* item = new QListWidgetItem;
    item->setData(LabelRole, QVariant::fromValue(static_cast<void*>(label)));
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
    m_items.insert(label, item);
    refreshItem(item, label);
    m_updating = true;
    // A label put back by undo returns to its row.
    const int row = m_project ? int(m_project->labels().indexOf(label)) : -1;
    if (row >= 0 && row < m_listWidget->count())
        m_listWidget->insertItem(row, item);
    else
        m_listWidget->addItem(item);
    m_updating = false;
    applyFilter(item);
    connect(label, &Label::nameChanged, this, &LabelListWidget::on_label_nameChanged);
    connect(label, &Label::opacityChanged, this, &LabelListWidget::on_label_opacityChanged);
    connect(label, &Label::secondaryOpacityChanged, this, &LabelListWidget::on_label_opacityChanged);
    connect(label, &Label::colorChanged, this, &LabelListWidget::on_label_colorChanged);
    connect(label, &QObject::destroyed, this, &LabelListWidget::on_label_destroyed);
}

void LabelListWidget::on_project_labelRemoved(Label* label) {
    QListWidgetItem* item = m_items.take(label);
    if (!item)
        return;
    disconnect(label, nullptr, this, nullptr);
    removeRow(m_listWidget->row(item));
}

void LabelListWidget::removeRow(int row) {
    // Taking a row out moves the list's current row; the project decides the current label.
    const QSignalBlocker blocker(m_listWidget);
    delete m_listWidget->takeItem(row);
    if (m_project)
        on_project_currentLabelChanged(m_project->currentLabel());
}

void LabelListWidget::on_project_currentLabelChanged(Label* label) {
    QListWidgetItem* item = m_items.value(label);
    const QSignalBlocker blocker(m_listWidget);
    if (item) {
        m_listWidget->setCurrentItem(item);
    } else {
        m_listWidget->setCurrentRow(-1);
        m_listWidget->clearSelection();
    }
    m_deleteButton->setEnabled(item != nullptr);
}

void LabelListWidget::on_label_destroyed(QObject* label) {
    if (QListWidgetItem* item = m_items.take(label))
        removeRow(m_listWidget->row(item));
}

void LabelListWidget::on_label_nameChanged() {
    auto* label = qobject_cast<Label*>(sender());
    if (QListWidgetItem* item = m_items.value(label)) {
        refreshItem(item, label);
        applyFilter(item);
    }
}

void LabelListWidget::on_label_opacityChanged() {
    auto* label = qobject_cast<Label*>(sender());
    if (QListWidgetItem* item = m_items.value(label))
        refreshItem(item, label);
}

void LabelListWidget::on_label_colorChanged() {
    auto* label = qobject_cast<Label*>(sender());
    if (QListWidgetItem* item = m_items.value(label))
        refreshItem(item, label);
}

void LabelListWidget::refreshItem(QListWidgetItem* item, const Label* label) {
    const bool shown = isShown(label);
    m_updating = true;
    item->setText(label->name());
    item->setIcon(swatch(label->color()));
    item->setCheckState(shown ? Qt::Checked : Qt::Unchecked);
    item->setForeground(QColor(shown ? Qt::black : Qt::gray));
    m_updating = false;
}

void LabelListWidget::on_listWidget_currentRowChanged(int row) {
    if (m_project && row >= 0)
        m_project->setCurrentLabelIndex(row);
}

void LabelListWidget::on_newButton_clicked() {
    if (!m_project)
        return;
    auto* command = new commands::AddLabel(m_project);
    m_project->undoStack()->push(command);
    if (command->label())
        m_project->setCurrentLabel(command->label());
}

void LabelListWidget::on_deleteButton_clicked() {
    if (!m_project)
        return;
    if (Label* label = labelOf(m_listWidget->currentItem()))
        m_project->undoStack()->push(new commands::RemoveLabel(m_project, label));
}

void LabelListWidget::on_filterLineEdit_textEdited(const QString& text) {
    static const QRegularExpression separators("[\r\n\t ]+");
    m_filterWords = text.split(separators, Qt::SkipEmptyParts);
    for (int row = 0; row < m_listWidget->count(); ++row)
        applyFilter(m_listWidget->item(row));
}

void LabelListWidget::applyFilter(QListWidgetItem* item) {
    bool hidden = false;
    const QString text = item->text();
    for (const QString& word : m_filterWords) {
        if (!text.contains(word, Qt::CaseInsensitive)) {
            hidden = true;
            break;
        }
    }
    if (item->isHidden() != hidden)
        item->setHidden(hidden);
}

void LabelListWidget::on_label_checked(QListWidgetItem* item) {
    if (m_updating)
        return;
    Label* label = labelOf(item);
    if (!label || !m_items.contains(label))
        return;
    if (item->checkState() == Qt::Checked) {
        double primary = label->property(PrimaryOpacityKey).toDouble();
        double secondary = label->property(SecondaryOpacityKey).toDouble();
        if (primary == 0.0)
            primary = m_project ? m_project->setting("Label.primary_opacity", 0.7).toDouble() : 0.7;
        if (secondary == 0.0)
            secondary = m_project ? m_project->setting("Label.secondary_opacity", 0.3).toDouble() : 0.3;
        label->setPrimaryOpacity(primary);
        label->setSecondaryOpacity(secondary);
    } else {
        label->setProperty(PrimaryOpacityKey, label->opacity());
        label->setProperty(SecondaryOpacityKey, label->secondaryOpacity());
        label->setPrimaryOpacity(0.0);
        label->setSecondaryOpacity(0.0);
    }
    // A label already at the state the row asks for emits nothing; keep the row truthful.
    refreshItem(item, label);
}

} // namespace pxm
