// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace pxm {

class Project;

/// Writes the project's annotation as one VGG Image Annotator project file: one entry per 2D
/// image, keyed by the image's file name (a later image of the same name replaces an earlier
/// one), with one polygon region per polygon or rectangle label item of its scene, in scene
/// coordinates rounded to integers. Ellipses, lines and paths are not written; 3D images are
/// skipped.
///
/// The constructor does all the work; the object only carries the two values afterwards.
class VGGImageAnnotatorWriter {
public:
    /// Builds the document and writes it atomically to the path. Throws
    /// VGGImageAnnotatorWriteError when the file cannot be opened or written; the target is
    /// then left as it was.
    VGGImageAnnotatorWriter(pxm::Project* project, const QString& path);

    Project* project() const { return m_project; }
    QString path() const { return m_path; }

private:
    Project* m_project;
    QString m_path;
};

} // namespace pxm
