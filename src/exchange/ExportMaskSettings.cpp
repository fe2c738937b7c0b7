// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskSettings.h"

#include "exchange/ExportMaskWorker.h"
#include "model/Project.h"

#include <QDir>

namespace pxm {

namespace {

QString key(const char* field) {
    return QStringLiteral("ExportMaskDialog.") + QLatin1String(field);
}

} // namespace

ExportMaskSettings ExportMaskSettings::fromProject(const Project* project) {
    ExportMaskSettings s;
    if (project) {
        s.directory = project->setting(key("directory"), QString()).toString();
        s.filename = project->setting(key("filename"), s.filename).toString();
        s.fullMask = project->setting(key("fullMask"), s.fullMask).toBool();
        s.boolMask = project->setting(key("boolMask"), s.boolMask).toBool();
        s.snapshot = project->setting(key("snapshot"), s.snapshot).toBool();
        s.karoMark = project->setting(key("karoMark"), s.karoMark).toBool();
        s.voc = project->setting(key("voc"), s.voc).toBool();
        s.vggImageAnnotator = project->setting(key("vggImageAnnotator"), s.vggImageAnnotator).toBool();
        s.labelMe = project->setting(key("labelMe"), s.labelMe).toBool();
        s.labelMeComplete = project->setting(key("labelMeComplete"), false).toBool();
        s.datasets.coco = project->setting(key("coco"), false).toBool();
        s.datasets.yolo = project->setting(key("yolo"), false).toBool();
        s.datasets.yoloSegments = project->setting(key("yoloSegments"), false).toBool();
        s.datasets.nnunet = project->setting(key("nnunet"), QString()).toString();
        s.datasets.copyImages = project->setting(key("copyImages"), false).toBool();
        s.skipUnlabeled = project->setting(key("skipUnlabeled"), s.skipUnlabeled).toBool();
        s.openFolder = project->setting(key("openFolder"), s.openFolder).toBool();
    }
    if (s.directory.isEmpty())
        s.directory = QDir::currentPath();
    return s;
}

void ExportMaskSettings::storeIn(Project* project) const {
    project->setSetting(key("directory"), directory);
    project->setSetting(key("filename"), filename);
    project->setSetting(key("fullMask"), fullMask);
    project->setSetting(key("boolMask"), boolMask);
    project->setSetting(key("snapshot"), snapshot);
    project->setSetting(key("karoMark"), karoMark);
    project->setSetting(key("voc"), voc);
    project->setSetting(key("vggImageAnnotator"), vggImageAnnotator);
    project->setSetting(key("labelMe"), labelMe);
    project->setSetting(key("labelMeComplete"), labelMeComplete);
    project->setSetting(key("coco"), datasets.coco);
    project->setSetting(key("yolo"), datasets.yolo);
    project->setSetting(key("yoloSegments"), datasets.yoloSegments);
    project->setSetting(key("nnunet"), datasets.nnunet);
    project->setSetting(key("copyImages"), datasets.copyImages);
    project->setSetting(key("skipUnlabeled"), skipUnlabeled);
    project->setSetting(key("openFolder"), openFolder);
}

void ExportMaskSettings::applyTo(ExportMaskWorker* worker) const {
    worker->setDirectory(directory);
    worker->setFilename(filename);
    worker->setFullMask(fullMask);
    worker->setBoolMask(boolMask);
    worker->setSnapshot(snapshot);
    worker->setKaroMark(karoMark);
    worker->setVoc(voc);
    worker->setVggImageAnnotator(vggImageAnnotator);
    worker->setLabelMe(labelMe);
    worker->setLabelMeComplete(labelMeComplete);
    worker->setDatasets(datasets);
    worker->setSkipUnlabeled(skipUnlabeled);
}

} // namespace pxm
