// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/LabelFileReader.h"

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QStringList>

namespace pxm {

class Label;
class Project;

/// Plans and applies the import of label definitions into a project.
///
/// A definition whose name matches an existing label updates that label's properties; any
/// other definition becomes a new label. Conflicts are collected before anything changes so
/// the user can cancel: a mask id or id that a differently named label already has. A shared
/// mask id is kept (the program allows it on purpose); an id that is taken is not: the new
/// label gets a fresh one, and an existing label always keeps its id, since its shapes refer
/// to it. The whole import is one undo step.
class LabelImport {
    Q_DECLARE_TR_FUNCTIONS(pxm::LabelImport)

public:
    /// What happens to one definition.
    struct Change {
        LabelDefinition definition;
        Label* existing = nullptr; ///< the label of that name, or null for a new label
        bool keepsId = false;      ///< a new label whose file id is taken gets a fresh id
        QStringList properties;    ///< the properties that change ("colour", "mask id", ...)
    };

    struct Plan {
        QString error; ///< a malformed file: nothing may change
        QList<Change> changes;
        /// One line per conflict, for the user to confirm.
        QStringList conflicts;

        bool ok() const { return error.isEmpty(); }
        int newLabels() const;
        int updatedLabels() const;
        bool changesAnything() const { return newLabels() + updatedLabels() > 0; }
    };

    static Plan plan(const Project* project, const LabelFileReader::Result& file);
    /// Reads the file and plans its import.
    static Plan planFile(const Project* project, const QString& path);
    /// Pushes one undo step with every change; returns false (pushing nothing) when the plan
    /// is not ok or changes nothing.
    static bool apply(Project* project, const Plan& plan);
};

} // namespace pxm
