// SPDX-License-Identifier: MIT
#pragma once

#include "display/DisplayContrast.h"

#include <QString>

namespace pxm {

class LabeledImage;
class Project;

/// Where a project keeps the display contrast of its images, so that it is saved with the
/// project: each image's under a key made of its path, or, with "same for all images" on, one
/// for every image. An image without a contrast shows as before (min–max or normalised).
class ContrastSettings {
public:
    /// Bool: one contrast serves every image.
    static const QString SameForAllKey;
    /// The contrast used while SameForAllKey is on.
    static const QString SharedKey;
    /// The prefix of the per-image keys; the image's path follows it.
    static const QString ImageKeyPrefix;

    static QString imageKey(const LabeledImage* image);
    static bool sameForAll(const Project* project);
    /// The key `image` takes its contrast from now.
    static QString keyFor(const Project* project, const LabeledImage* image);
    /// The contrast `image` shows with; unset when none was chosen.
    static Pictor::DisplayContrast of(const Project* project, const LabeledImage* image);
    /// Stores the contrast of `image` (of every image while they share one); an unset one clears it.
    static void store(Project* project, const LabeledImage* image, const Pictor::DisplayContrast& contrast);
    /// Turns sharing on or off. Turning it on starts the shared contrast from the image's own.
    static void setSameForAll(Project* project, const LabeledImage* image, bool on);
    /// Whether a change of the setting `key` can change how `image` shows.
    static bool affects(const QString& key, const LabeledImage* image);
};

} // namespace pxm
