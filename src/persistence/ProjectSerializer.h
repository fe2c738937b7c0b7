// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/SerializationError.h"

#include <QString>

class QColor;
class QGraphicsItem;

namespace pxm {

class JsonTextWriter;
class Label;
class LabeledImage;
class Project;
class Scene;

/// Writes a project as one JSON document, gzip-compressed when the file name ends in ".gz".
///
/// Every object names its kind under "$type"; the text is QJsonDocument's indented form with
/// the keys in QJsonObject's order. It is produced piece by piece while a background thread
/// writes it, so large projects never exist twice in memory. Masks the user changed are saved
/// first, next to the mask files they came from. The file itself is replaced atomically: a
/// failed save keeps the previous file.
class ProjectSerializer {
public:
    /// Saves the changed masks, then the project. overwriteMask is the project's
    /// "SerializationSettings.overwriteMask" setting. Throws SerializationError.
    static void write(pxm::Project* project, const QString& fileName, bool overwriteMask);

    /// The whole document as text: the same bytes write() puts in a plain file in `folder`.
    /// Image and mask paths inside that folder are written relative to it, others absolute.
    static void write(JsonTextWriter& out, const Project& project, const QString& folder);
    /// The document as it would be saved to the project's own path.
    static void write(JsonTextWriter& out, const Project& project) { write(out, project, folderOf(project)); }
    /// The folder of the project's file, or empty (absolute paths) for a project never saved.
    static QString folderOf(const Project& project);

    /// Where the changed mask of image goes: the mask file itself when overwriteMask is set or
    /// its base name already ends in "_pxmtool", else the "_pxmtool" companion beside it.
    static QString maskTarget(const LabeledImage& image, bool overwriteMask);
    /// Saves the image's effective mask (mask minus erasures) to maskTarget and points the
    /// image at it. Does nothing for an image without mask path, without a loadable mask, or
    /// whose mask and erase overlay did not change since they were read or saved.
    static void saveModifiedMask(LabeledImage* image, bool overwriteMask);
    /// How a label's regions are drawn: border opacity, fill opacity and pen width.
    struct LabelLook {
        double opacity, secondaryOpacity, penWidth;
    };
    /// Writes one label's object (also for copies of labels, as recovery snapshots hold them).
    static void writeLabel(JsonTextWriter& out, const QColor& color, int id, int maskId, const QString& name,
                           const LabelLook& look);

private:
    static void write(JsonTextWriter& out, const Label& label);
    static void write(JsonTextWriter& out, const LabeledImage& image, const QString& folder);
    static void write(JsonTextWriter& out, const Scene& scene);
    static void write(JsonTextWriter& out, const QGraphicsItem& item);
};

} // namespace pxm
