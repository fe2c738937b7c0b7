// SPDX-License-Identifier: MIT
#include "exchange/LabelImport.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"

#include <QSet>
#include <QUndoStack>
#include <cmath>

namespace pxm {

namespace {

bool differs(double a, double b) {
    return std::abs(a - b) > 1e-9;
}

/// The colour and primary opacity a definition leads to, given the label's present values:
/// an alpha below 255 is the border opacity unless the definition names one itself.
void effectiveColor(const LabelDefinition& d, QColor* color, double* opacity) {
    if (d.color) {
        *color = QColor(d.color->red(), d.color->green(), d.color->blue());
        if (d.color->alpha() != 255)
            *opacity = d.color->alphaF();
    }
    if (d.opacity)
        *opacity = *d.opacity;
}

} // namespace

int LabelImport::Plan::newLabels() const {
    int n = 0;
    for (const Change& c : changes)
        n += c.existing ? 0 : 1;
    return n;
}

int LabelImport::Plan::updatedLabels() const {
    int n = 0;
    for (const Change& c : changes)
        n += c.existing && !c.properties.isEmpty() ? 1 : 0;
    return n;
}

LabelImport::Plan LabelImport::planFile(const Project* project, const QString& path) {
    return plan(project, LabelFileReader::readFile(path));
}

LabelImport::Plan LabelImport::plan(const Project* project, const LabelFileReader::Result& file) {
    Plan plan;
    if (!file.ok()) {
        plan.error = file.error;
        return plan;
    }
    if (!project) {
        plan.error = tr("There is no project to import the labels into.");
        return plan;
    }
    QSet<int> idsInFile;
    for (const LabelDefinition& d : file.labels) {
        Change change;
        change.definition = d;
        change.existing = project->labelByName(d.name);
        const QString where = tr("line %1").arg(d.line);
        if (d.id) {
            const Label* holder = project->labelById(*d.id);
            if (holder && holder != change.existing) {
                plan.conflicts << tr("'%1' (%2): the id %3 belongs to the label '%4'; %5")
                                      .arg(d.name, where)
                                      .arg(*d.id)
                                      .arg(holder->name(), change.existing
                                                               ? tr("'%1' keeps its own id.").arg(d.name)
                                                               : tr("the new label gets another id."));
                change.keepsId = false;
            } else if (change.existing && change.existing->id() != *d.id) {
                plan.conflicts << tr("'%1' (%2): the file gives the id %3, but the label keeps its id %4, "
                                     "which its shapes refer to.")
                                      .arg(d.name, where)
                                      .arg(*d.id)
                                      .arg(change.existing->id());
            } else if (!change.existing) {
                if (idsInFile.contains(*d.id)) {
                    plan.error = tr("Line %1: the id %2 is given to two labels.").arg(d.line).arg(*d.id);
                    plan.changes.clear();
                    plan.conflicts.clear();
                    return plan;
                }
                change.keepsId = true;
            }
            idsInFile.insert(*d.id);
        }
        if (d.maskId) {
            QStringList others;
            for (const Label* l : project->labelsByMaskId(*d.maskId))
                if (l != change.existing)
                    others << QString("'%1'").arg(l->name());
            if (!others.isEmpty())
                plan.conflicts << tr("'%1' (%2): the mask id %3 is also used by %4; both will paint the same "
                                     "value into masks.")
                                      .arg(d.name, where)
                                      .arg(*d.maskId)
                                      .arg(others.join(", "));
        }
        if (const Label* l = change.existing) {
            QColor color = l->color();
            double opacity = l->opacity();
            effectiveColor(d, &color, &opacity);
            if (color != l->color())
                change.properties << tr("colour");
            if (differs(opacity, l->opacity()))
                change.properties << tr("opacity");
            if (d.secondaryOpacity && differs(*d.secondaryOpacity, l->secondaryOpacity()))
                change.properties << tr("secondary opacity");
            if (d.penWidth && differs(*d.penWidth, l->penWidth()))
                change.properties << tr("pen width");
            if (d.maskId && *d.maskId != l->maskId())
                change.properties << tr("mask id");
        }
        plan.changes << change;
    }
    return plan;
}

bool LabelImport::apply(Project* project, const Plan& plan) {
    if (!project || !plan.ok() || !plan.changesAnything())
        return false;
    auto* step = new QUndoCommand(tr("Import labels"));
    QSet<int> usedMaskIds;
    for (const Label* l : project->labels())
        usedMaskIds.insert(l->maskId());
    for (const Change& c : plan.changes)
        if (c.definition.maskId)
            usedMaskIds.insert(*c.definition.maskId);
    const QList<QColor>& palette = Project::newLabelPalette();
    for (const Change& c : plan.changes) {
        const LabelDefinition& d = c.definition;
        if (Label* l = c.existing) {
            if (c.properties.isEmpty())
                continue;
            QColor color = l->color();
            double opacity = l->opacity();
            effectiveColor(d, &color, &opacity);
            if (color != l->color()) {
                // Setting a colour resets the border opacity to 1 on redo and on undo. A first
                // opacity command that changes nothing runs last on undo and puts the old
                // opacity back; the last one sets the new opacity after the colour.
                new commands::SetLabelOpacity(l, l->opacity(), l->secondaryOpacity(), step);
                new commands::SetLabelColor(l, color, step);
            }
            new commands::SetLabelOpacity(l, opacity, d.secondaryOpacity.value_or(l->secondaryOpacity()),
                                          step);
            if (d.penWidth && differs(*d.penWidth, l->penWidth()))
                new commands::SetLabelPenWidth(l, *d.penWidth, step);
            if (d.maskId && *d.maskId != l->maskId())
                new commands::SetLabelMaskId(l, *d.maskId, step);
            continue;
        }
        auto* label = new Label;
        label->setName(d.name);
        int maskId = d.maskId.value_or(0);
        if (!maskId) {
            // The lowest mask id no label uses, so the new label paints a value of its own.
            for (int v = 1; v < 256 && !maskId; ++v)
                if (!usedMaskIds.contains(v))
                    maskId = v;
            if (!maskId)
                maskId = project->labels().size() + 1;
            usedMaskIds.insert(maskId);
        }
        label->setMaskId(maskId);
        label->setColor(d.color ? *d.color : palette.at(maskId % palette.size()));
        label->setPrimaryOpacity(d.opacity.value_or(
            d.color && d.color->alpha() != 255 ? d.color->alphaF()
                                               : project->setting("Label.primary_opacity", 0.7).toDouble()));
        label->setSecondaryOpacity(
            d.secondaryOpacity.value_or(project->setting("Label.secondary_opacity", 0.3).toDouble()));
        label->setPenWidth(d.penWidth.value_or(project->setting("Label.pen_width", 0.5).toDouble()));
        if (c.keepsId && d.id)
            label->setId(*d.id);
        new commands::AddLabel(project, label, step);
    }
    project->undoStack()->push(step);
    return true;
}

} // namespace pxm
