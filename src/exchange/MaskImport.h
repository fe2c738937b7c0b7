// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>
#include <memory>

namespace KYVO {
class CImage;
}

namespace pxm {

class LabeledImage;
class Project;

/// Imports label masks from image files: one mask for the current image, or one mask per
/// image of the project, matched in image order after sorting the chosen paths.
///
/// The work is split so that a window can ask the user in between: plan() reads and checks
/// every file and changes nothing; apply() pushes the whole import as one undo step. A plan
/// with an error must not be applied: a single bad file refuses the whole import.
class MaskImport {
    Q_DECLARE_TR_FUNCTIONS(pxm::MaskImport)

public:
    enum class Status {
        Ok,
        NoProject,
        NoImage,      ///< one mask, but no current image
        InvalidCount, ///< neither one mask nor one per image
        Invalid,      ///< a file cannot be read or does not fit its image
    };

    /// One mask and the image it goes to.
    struct Assignment {
        LabeledImage* image = nullptr;
        QString path;
        std::shared_ptr<const KYVO::CImage> mask;
    };

    struct Plan {
        Status status = Status::Ok;
        /// One line per problem (a file that cannot be read, a size or pixel type that does
        /// not fit); empty when the plan can be applied.
        QStringList errors;
        QList<Assignment> assignments;
        /// Mask values (1..255) found in the masks for which the project has no label, ascending.
        QVector<int> unknownValues;

        bool ok() const { return status == Status::Ok; }
    };

    /// Reads and checks the masks; the project is left as it is.
    static Plan plan(Project* project, QStringList paths);
    /// Pushes one undo step: with `createLabels`, first a new label for each unknown value
    /// (named "Label <value>", mask id = value), then the masks. Returns false, pushing
    /// nothing, for a plan that is not ok.
    static bool apply(Project* project, const Plan& plan, bool createLabels);

    /// Why `mask` cannot be the label mask of `image`; empty when it can.
    static QString checkMask(const LabeledImage& image, const KYVO::CImage& mask, const QString& maskPath);
};

} // namespace pxm
