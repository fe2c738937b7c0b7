// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/DeserializationError.h"
#include "persistence/JsonTree.h"

#include <QString>
#include <memory>

class QGraphicsItem;

namespace pxm {

class Label;
class LabeledImage;
class Project;
class Scene;

/// Reads a project file written by ProjectSerializer into an empty project: labels, images with
/// their scenes, and the label items. Nothing is loaded from disk; images load lazily later.
///
/// Each object's kind ("$type") is checked first, then its keys in a fixed order; the first
/// failing check aborts the read with a DeserializationError naming it. What was already built
/// stays in the project for the caller to discard.
class ProjectReader {
public:
    /// A file name ending in ".gz" is read as gzip. Relative image and mask paths are taken
    /// from `folder`, by default the file's own folder. Throws DeserializationError.
    static void read(const QString& fileName, pxm::Project* project, const QString& folder = QString());

    /// Reads the document; with a `folder`, relative paths are made absolute against it.
    static void readProject(const JsonTree::Value& value, Project* project, const QString& folder = QString());
    /// What a label object left out, for the caller to fill with the project's defaults.
    enum Missing { NoneMissing = 0, SecondaryOpacityMissing = 1, PenWidthMissing = 2 };
    /// Reads a label. Its fill opacity and pen width come from the object when it has them;
    /// otherwise they are left as they are and flagged in the result.
    static int readLabel(const JsonTree::Value& value, Label* label);
    static void readImage(const JsonTree::Value& value, LabeledImage* image, const QString& folder = QString());
    static void readScene(const JsonTree::Value& value, Scene* scene, int zLayer);
    /// A new item of the kind the object names, transformed and tagged with its label id.
    static std::unique_ptr<QGraphicsItem> readItem(const JsonTree::Value& value);
};

} // namespace pxm
