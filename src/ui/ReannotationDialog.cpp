// SPDX-License-Identifier: MIT
#include "ui/ReannotationDialog.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/ReannotationRules.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/ReannotationShortcuts.h"
#include "tools/View.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGraphicsItem>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QUndoStack>
#include <QVBoxLayout>

namespace pxm {

bool ReannotationDialog::hasMask(const Project* project) {
    const Scene* scene = project ? project->currentScene() : nullptr;
    const LabeledImage* image = scene ? scene->image() : nullptr;
    return image && (image->mask() || !image->maskPath().isEmpty());
}

ReannotationDialog* ReannotationDialog::open(QWidget* parent, View* view, Project* project) {
    if (!hasMask(project)) {
        QMessageBox::warning(parent, tr("Reannotation Dialog"), tr("No Mask found on the Canvas."));
        return nullptr;
    }
    auto* dialog = new ReannotationDialog(view, project, parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
    return dialog;
}

ReannotationDialog::ReannotationDialog(View* view, Project* project, QWidget* parent)
    : QDialog(parent), m_view(view), m_project(project) {
    setWindowTitle(tr("Reannotation Dialog"));
    setModal(false);
    m_labelBox = new QComboBox(this);
    m_labelBox->setObjectName("label");
    m_targetBox = new QComboBox(this);
    m_targetBox->setObjectName("target");
    m_position = new QLabel(this);
    m_position->setObjectName("position");
    m_rules = new QLabel(this);
    m_rules->setObjectName("rules");
    m_rules->setWordWrap(true);
    m_previous = new QPushButton(tr("Previous"), this);
    m_previous->setObjectName("previous");
    m_next = new QPushButton(tr("Next"), this);
    m_next->setObjectName("next");
    m_move = new QPushButton(tr("Move"), this);
    m_move->setObjectName("move");
    m_move->setToolTip(tr("Move the shown shape to the chosen label."));
    auto* close = new QPushButton(tr("Close"), this);

    auto* form = new QFormLayout;
    form->addRow(tr("Shapes of"), m_labelBox);
    form->addRow(QString(), m_position);
    auto* stepping = new QHBoxLayout;
    stepping->addWidget(m_previous);
    stepping->addWidget(m_next);
    auto* moving = new QHBoxLayout;
    moving->addWidget(m_targetBox, 1);
    moving->addWidget(m_move);
    form->addRow(QString(), stepping);
    form->addRow(tr("Move to"), moving);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_rules);
    layout->addStretch();
    layout->addWidget(close, 0, Qt::AlignRight);

    connect(m_labelBox, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
        m_index = 0;
        m_entries.clear();
        refresh();
        showCurrent();
    });
    connect(m_previous, &QPushButton::clicked, this, &ReannotationDialog::showPrevious);
    connect(m_next, &QPushButton::clicked, this, &ReannotationDialog::showNext);
    connect(m_move, &QPushButton::clicked, this, [this] {
        if (m_project)
            moveCurrentTo(m_project->labelById(m_targetBox->currentData().toInt()));
    });
    connect(close, &QPushButton::clicked, this, &QDialog::close);
    if (project) {
        connect(project->undoStack(), &QUndoStack::indexChanged, this, &ReannotationDialog::refresh);
        connect(project, &Project::labelAdded, this, &ReannotationDialog::fillLabelBoxes);
        connect(project, &Project::labelRemoved, this, &ReannotationDialog::fillLabelBoxes);
        connect(project, &Project::imageRemoved, this, &ReannotationDialog::refresh);
        // Clearing deletes every image and label at once; nothing listed may be kept.
        connect(project, &Project::cleared, this, [this] {
            m_entries.clear();
            m_index = -1;
            fillLabelBoxes();
        });
        connect(project, &Project::settingsChanged, this, &ReannotationDialog::updateTexts);
    }
    fillLabelBoxes();
    // Rule keys work wherever the focus is inside the window.
    installEventFilter(this);
    for (QWidget* child : findChildren<QWidget*>())
        child->installEventFilter(this);
    resize(380, 240);
}

Label* ReannotationDialog::chosenLabel() const {
    return m_project ? m_project->labelById(m_labelBox->currentData().toInt()) : nullptr;
}

QGraphicsItem* ReannotationDialog::currentItem() const {
    return m_index >= 0 && m_index < m_entries.size() ? m_entries[m_index].item : nullptr;
}

void ReannotationDialog::fillLabelBoxes() {
    if (!m_project)
        return;
    const int chosen = m_labelBox->currentData().toInt();
    const int target = m_targetBox->currentData().toInt();
    {
        const QSignalBlocker block(m_labelBox);
        m_labelBox->clear();
        m_targetBox->clear();
        for (const Label* label : m_project->labels()) {
            m_labelBox->addItem(label->name(), label->id());
            m_targetBox->addItem(label->name(), label->id());
        }
        const int index = m_labelBox->findData(chosen);
        const Label* current = m_project->currentLabel();
        m_labelBox->setCurrentIndex(index >= 0 ? index : current ? m_labelBox->findData(current->id()) : 0);
        const int targetIndex = m_targetBox->findData(target);
        if (targetIndex >= 0)
            m_targetBox->setCurrentIndex(targetIndex);
    }
    refresh();
    if (m_labelBox->currentData().toInt() != chosen)
        showCurrent();
}

void ReannotationDialog::refresh() {
    QGraphicsItem* shown = currentItem();
    const int oldIndex = m_index;
    m_entries.clear();
    const Label* label = chosenLabel();
    if (m_project && label) {
        for (LabeledImage* image : m_project->images())
            for (int z = 0; z < image->scenes().size(); ++z)
                for (QGraphicsItem* item : image->scene(z)->items(Qt::AscendingOrder))
                    if (isLabelItem(item) && labelIdOf(item) == label->id())
                        m_entries << Entry{image, z, item};
    }
    m_index = -1;
    for (int i = 0; i < m_entries.size() && shown; ++i)
        if (m_entries[i].item == shown)
            m_index = i;
    // A shape that left the list (moved to another label) hands its place to the next one.
    if (m_index < 0 && !m_entries.isEmpty())
        m_index = qBound(0, oldIndex, m_entries.size() - 1);
    updateTexts();
}

void ReannotationDialog::updateTexts() {
    m_position->setText(m_entries.isEmpty() ? tr("No shapes of this label.")
                                            : tr("Shape %1 of %2").arg(m_index + 1).arg(m_entries.size()));
    m_previous->setEnabled(m_index > 0);
    m_next->setEnabled(m_index >= 0 && m_index + 1 < m_entries.size());
    m_move->setEnabled(m_index >= 0);
    QStringList lines;
    const Label* label = chosenLabel();
    const ReannotationRules rules = ReannotationRules::fromProject(m_project);
    for (const ReannotationRule& rule : rules.rules())
        if (!label || rule.from.isEmpty() || rule.from == label->name())
            lines << tr("%1: move to %2")
                         .arg(QKeySequence::fromString(rule.key, QKeySequence::PortableText)
                                  .toString(QKeySequence::NativeText),
                              rule.to);
    m_rules->setText(lines.isEmpty() ? tr("No reannotation keys apply; they are set in the settings.")
                                     : tr("Keys:") + "\n" + lines.join("\n"));
}

void ReannotationDialog::showCurrent() {
    updateTexts();
    if (m_index < 0 || m_index >= m_entries.size() || !m_project)
        return;
    const Entry entry = m_entries[m_index];
    const bool switchScene =
        m_project->currentImage() != entry.image || m_project->currentZLayer() != entry.z;
    if (m_project->currentImage() != entry.image)
        m_project->setCurrentImageIndex(m_project->indexOfImage(entry.image));
    if (m_project->currentZLayer() != entry.z)
        m_project->setCurrentZLayer(entry.z);
    if (!m_view)
        return;
    const QPointF centre = entry.item->sceneBoundingRect().center();
    m_view->centerOn(centre);
    // A new scene gets its remembered camera from the event loop; centre after that.
    if (switchScene)
        QTimer::singleShot(0, m_view, [view = m_view, centre] {
            if (view)
                view->centerOn(centre);
        });
}

void ReannotationDialog::showNext() {
    if (m_index + 1 < m_entries.size()) {
        ++m_index;
        showCurrent();
    }
}

void ReannotationDialog::showPrevious() {
    if (m_index > 0) {
        --m_index;
        showCurrent();
    }
}

bool ReannotationDialog::moveCurrentTo(const Label* target) {
    QGraphicsItem* item = currentItem();
    if (!item || !ReannotationShortcuts::relabel(m_project, item, target))
        return false;
    // The push refreshed the list without the moved shape; show the one now in its place.
    showCurrent();
    return true;
}

bool ReannotationDialog::applyKey(const QString& key) {
    const QGraphicsItem* item = currentItem();
    if (!item || !m_project)
        return false;
    const ReannotationRules rules = ReannotationRules::fromProject(m_project);
    const ReannotationRule* rule = rules.ruleFor(key, m_project->labelById(labelIdOf(item)));
    return rule && moveCurrentTo(ReannotationRules::targetOf(*rule, m_project));
}

bool ReannotationDialog::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyRelease) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (!key->isAutoRepeat() && applyKey(ReannotationShortcuts::keyText(key)))
            return true;
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace pxm
