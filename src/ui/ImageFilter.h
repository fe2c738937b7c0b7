// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QVariant>

namespace pxm {

class LabeledImage;
class Project;

/// Which images the image chooser steps through: those that contain chosen labels, whose
/// file names match a pattern, and whose size lies in a range. Every criterion that is set
/// must hold; a filter with none set lets every image through.
///
/// Labels are found among the shapes of every z-layer and, when the image's mask is in
/// memory, among its voxels; matching never loads an image. A size bound needs the image's
/// size, so an image whose size is not known yet does not pass one.
class ImageFilter {
public:
    /// The settings key under which a project keeps its filter (saved with the project).
    static const QString SettingsKey;

    enum class LabelMode { Any, All, None };
    enum class PatternSyntax { Wildcard, RegularExpression };

    /// Ids of the chosen labels; empty means "do not look at labels".
    QList<int> labelIds;
    /// Any: at least one chosen label is present. All: every one is. None: no chosen label is.
    LabelMode labelMode = LabelMode::Any;
    /// Matched against the file name without case; against the whole path when it holds a
    /// '/'. A wildcard must match all of it, a regular expression some part of it.
    QString namePattern;
    PatternSyntax patternSyntax = PatternSyntax::Wildcard;
    /// Inclusive bounds in pixels; 0 leaves a bound open.
    int minWidth = 0;
    int maxWidth = 0;
    int minHeight = 0;
    int maxHeight = 0;

    /// True when some criterion is set.
    bool isActive() const;
    /// True when the name pattern can be used (an empty one can).
    bool isPatternValid() const;
    /// Whether the image passes. Call prepare() after changing the fields.
    bool matches(const LabeledImage* image) const;
    /// Compiles the name pattern and resolves the label ids against the project.
    void prepare(const Project* project);

    QVariantMap toVariant() const;
    static ImageFilter fromVariant(const QVariant& value);
    /// The project's filter (an inactive one when it has none), prepared for it.
    static ImageFilter load(const Project* project);
    /// Stores the filter in the project's settings; an inactive one is stored empty.
    void store(Project* project) const;

    bool operator==(const ImageFilter& other) const;
    bool operator!=(const ImageFilter& other) const { return !(*this == other); }

private:
    bool nameMatches(const LabeledImage* image) const;
    bool sizeMatches(const LabeledImage* image) const;
    bool labelsMatch(const LabeledImage* image) const;

    QRegularExpression m_regex;
    // The chosen labels that exist in the project, with their mask ids.
    QList<QPair<int, int>> m_labels;
};

} // namespace pxm
