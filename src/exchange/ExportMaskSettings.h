// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/dataset/DatasetExport.h"

#include <QString>

namespace pxm {

class ExportMaskWorker;
class Project;

/// The choices of a mask export, starting at the defaults the export dialog offers for a
/// project that has none stored. The project keeps them under "ExportMaskDialog.<field>".
struct ExportMaskSettings {
    /// The file-name pattern offered when none is stored.
    static QString defaultFilename() { return QStringLiteral("{image_name}_{label_id}_{z_layer}"); }

    QString directory;
    QString filename = defaultFilename();
    bool fullMask = true;
    bool boolMask = false;
    bool snapshot = false;
    bool karoMark = false;
    bool voc = false;
    bool vggImageAnnotator = false;
    bool labelMe = false;
    bool labelMeComplete = false;
    /// Training datasets written besides (COCO, YOLO, nnU-Net).
    DatasetOptions datasets;
    bool skipUnlabeled = true;
    bool openFolder = false;

    /// The choices stored in the project, each missing one at its default. A missing or
    /// empty directory becomes the process's current directory.
    static ExportMaskSettings fromProject(const Project* project);
    /// Stores every choice in the project's settings.
    void storeIn(Project* project) const;
    /// Copies the export's choices (all but openFolder) into the worker.
    void applyTo(ExportMaskWorker* worker) const;
};

} // namespace pxm
