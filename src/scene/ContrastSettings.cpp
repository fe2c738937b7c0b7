// SPDX-License-Identifier: MIT
#include "scene/ContrastSettings.h"

#include "model/Project.h"
#include "scene/LabeledImage.h"

namespace pxm {

const QString ContrastSettings::SameForAllKey = "Contrast.sameForAll";
const QString ContrastSettings::SharedKey = "Contrast.shared";
const QString ContrastSettings::ImageKeyPrefix = "Contrast.image:";

QString ContrastSettings::imageKey(const LabeledImage* image) {
    // Images held only in memory have no path; they share the one empty-path entry.
    return ImageKeyPrefix + (image ? image->imagePath() : QString());
}

bool ContrastSettings::sameForAll(const Project* project) {
    return project && project->setting(SameForAllKey, false).toBool();
}

QString ContrastSettings::keyFor(const Project* project, const LabeledImage* image) {
    return sameForAll(project) ? SharedKey : imageKey(image);
}

Pictor::DisplayContrast ContrastSettings::of(const Project* project, const LabeledImage* image) {
    if (!project)
        return {};
    return Pictor::DisplayContrast::fromVariant(project->setting(keyFor(project, image)));
}

void ContrastSettings::store(Project* project, const LabeledImage* image,
                             const Pictor::DisplayContrast& contrast) {
    if (!project)
        return;
    const QString key = keyFor(project, image);
    const QVariantMap value = contrast.toVariant();
    if (project->setting(key).toMap() != value)
        project->setSetting(key, value);
}

void ContrastSettings::setSameForAll(Project* project, const LabeledImage* image, bool on) {
    if (!project || sameForAll(project) == on)
        return;
    if (on)
        project->setSetting(SharedKey, project->setting(imageKey(image)).toMap());
    project->setSetting(SameForAllKey, on);
}

bool ContrastSettings::affects(const QString& key, const LabeledImage* image) {
    return key == SameForAllKey || key == SharedKey || key == imageKey(image);
}

} // namespace pxm
