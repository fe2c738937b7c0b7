// SPDX-License-Identifier: MIT
#include "ui/LabelImportDialog.h"

#include "model/Label.h"
#include "model/Project.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace pxm {

QString LabelImportDialog::chooserTitle() {
    return tr("Import labels");
}

QString LabelImportDialog::fileFilters() {
    return QStringList({tr("Label files (*.json *.csv)"), tr("JSON (*.json)"), tr("CSV (*.csv *.txt)"),
                        tr("All files (*.*)")})
        .join(";;");
}

LabelImportDialog::LabelImportDialog(Project* project, LabelImport::Plan plan, QWidget* parent)
    : QDialog(parent), m_project(project), m_plan(std::move(plan)) {
    setWindowTitle(tr("Import labels"));
    m_summary = new QLabel(this);
    m_summary->setObjectName("summary");
    m_summary->setWordWrap(true);
    m_summary->setText(tr("%1 new labels, %2 labels to change, %3 conflicts. Nothing has changed yet.")
                           .arg(m_plan.newLabels())
                           .arg(m_plan.updatedLabels())
                           .arg(m_plan.conflicts.size()));

    m_changes = new QTreeWidget(this);
    m_changes->setObjectName("changes");
    m_changes->setColumnCount(2);
    m_changes->setHeaderLabels({tr("Label"), tr("What happens")});
    m_changes->header()->setStretchLastSection(true);
    m_changes->setRootIsDecorated(false);
    m_changes->setWordWrap(true);
    if (!m_plan.conflicts.isEmpty()) {
        auto* conflicts = new QTreeWidgetItem(m_changes, {tr("Conflicts")});
        for (const QString& c : m_plan.conflicts)
            new QTreeWidgetItem(conflicts, {QString(), c});
        conflicts->setExpanded(true);
    }
    for (const LabelImport::Change& c : m_plan.changes) {
        if (c.existing && c.properties.isEmpty())
            continue;
        const QString what = c.existing ? tr("changes %1").arg(c.properties.join(", ")) : tr("new label");
        auto* item = new QTreeWidgetItem(m_changes, {c.definition.name, what});
        if (c.definition.color)
            item->setIcon(0, [&] {
                QPixmap swatch(12, 12);
                swatch.fill(QColor(c.definition.color->rgb()));
                return QIcon(swatch);
            }());
    }
    m_changes->setRootIsDecorated(!m_plan.conflicts.isEmpty());

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    QPushButton* import = buttons->addButton(tr("Import"), QDialogButtonBox::AcceptRole);
    import->setObjectName("import");
    import->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_summary);
    layout->addWidget(m_changes);
    layout->addWidget(buttons);
    resize(560, 360);
}

void LabelImportDialog::accept() {
    LabelImport::apply(m_project, m_plan);
    QDialog::accept();
}

bool LabelImportDialog::importLabels(QWidget* parent, Project* project, const QString& path) {
    if (!project || path.isEmpty())
        return false;
    const LabelImport::Plan plan = LabelImport::planFile(project, path);
    if (!plan.ok()) {
        QMessageBox::warning(parent, tr("Label import failed"),
                             tr("The labels in '%1' could not be imported.\n\n%2\n\nNothing was changed.")
                                 .arg(QFileInfo(path).fileName(), plan.error));
        return false;
    }
    if (!plan.changesAnything()) {
        QMessageBox::information(parent, tr("Import labels"),
                                 tr("The project already has every label of '%1' as the file defines it.")
                                     .arg(QFileInfo(path).fileName()));
        return false;
    }
    if (plan.conflicts.isEmpty())
        return LabelImport::apply(project, plan);
    LabelImportDialog dialog(project, plan, parent);
    return dialog.exec() == QDialog::Accepted;
}

} // namespace pxm
