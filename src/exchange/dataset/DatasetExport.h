// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <functional>

namespace pxm {

class Project;

/// Which training datasets an export writes, besides the masks and annotation files.
struct DatasetOptions {
    bool coco = false;
    QString cocoName = QStringLiteral("instances_default"); ///< the COCO file is <name>.json
    bool yolo = false;                                      ///< YOLO boxes
    bool yoloSegments = false;                              ///< YOLO outlines
    bool copyImages = false;                                ///< images (and volume layers) into images/
    QString nnunet;                                         ///< nnU-Net dataset name; empty: none
    int connectivity = 8;                                   ///< 4 or 8: how mask pixels join into regions

    bool any() const { return coco || yolo || yoloSegments || !nnunet.isEmpty(); }
};

/// Writes a project's shapes and masks as training datasets: a COCO file, a YOLO folder
/// (boxes or outlines, with data.yaml) and an nnU-Net v2 dataset. Every file is checked against
/// its format's rules before it is written; a violation is reported with the image and the
/// instance, and that file is not written. Each 2D image is an image of the dataset; each layer
/// of a volume is one of its own, named <image>_z<layer>.
class DatasetExport {
public:
    DatasetExport(Project* project, QString directory, DatasetOptions options);

    /// Writes every chosen dataset; false when a file could not be written or failed its check.
    /// `stop` is asked between images.
    bool run(const std::function<bool()>& stop = {});

    const QStringList& errors() const { return m_errors; }
    const QStringList& warnings() const { return m_warnings; }

private:
    bool writeFile(const QString& path, const QByteArray& data);

    Project* m_project;
    QString m_directory;
    DatasetOptions m_options;
    QStringList m_errors;
    QStringList m_warnings;
};

/// Checks a dataset written by anyone: a COCO file (a .json file, or a folder holding
/// instances_default.json or *.coco.json), a YOLO folder (data.yaml) or an nnU-Net dataset
/// (dataset.json). Returns the problems found; `kind` tells which format it was taken for
/// (empty when none fits, with a problem saying so).
QStringList checkDataset(const QString& path, QString* kind = nullptr);

} // namespace pxm
