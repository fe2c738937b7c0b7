// SPDX-License-Identifier: MIT
#include "exchange/MaskImport.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"
#include "scene/commands/SetImageMask.h"

#include <QFileInfo>
#include <QUndoStack>
#include <algorithm>

namespace pxm {

namespace {

QString sizeText(std::size_t x, std::size_t y, std::size_t z) {
    return z > 1 ? QString("%1 x %2 x %3").arg(x).arg(y).arg(z) : QString("%1 x %2").arg(x).arg(y);
}

QString fileName(const QString& path) {
    return QFileInfo(path).fileName();
}

QString imageName(const LabeledImage& image, int index) {
    return image.imagePath().isEmpty() ? MaskImport::tr("image %1").arg(index + 1)
                                       : fileName(image.imagePath());
}

/// Learns the size of an image that was never loaded, without keeping it in memory.
void ensureSizeKnown(LabeledImage* image) {
    if (image->width() && image->height() && image->depth())
        return;
    image->incUsage();
    image->decUsage();
}

} // namespace

QString MaskImport::checkMask(const LabeledImage& image, const KYVO::CImage& mask, const QString& maskPath) {
    const KYVO::CSize size = mask.size();
    if (size.x != image.width() || size.y != image.height() || size.z != image.depth())
        return tr("The mask '%1' is %2 pixels, but the image '%3' is %4.")
            .arg(fileName(maskPath), sizeText(size.x, size.y, size.z),
                 fileName(image.imagePath().isEmpty() ? tr("without file") : image.imagePath()),
                 sizeText(image.width(), image.height(), image.depth()));
    if (mask.type() != KYVO::IMAGE_GREY_8)
        return tr("The mask '%1' has pixels of type %2. A label mask must be an 8-bit grey image "
                  "(IMAGE_GREY_8) whose values are the labels' mask ids.")
            .arg(fileName(maskPath), QString::fromLatin1(KYVO::ImageTypeName(mask.type())));
    return {};
}

MaskImport::Plan MaskImport::plan(Project* project, QStringList paths) {
    Plan plan;
    if (!project) {
        plan.status = Status::NoProject;
        return plan;
    }
    // Case-sensitive order, as images are added in the order of their sorted paths.
    std::sort(paths.begin(), paths.end());
    QList<LabeledImage*> targets;
    if (paths.size() == 1) {
        if (!project->currentImage()) {
            plan.status = Status::NoImage;
            plan.errors << tr("There is no current image to import the mask for.");
            return plan;
        }
        targets << project->currentImage();
    } else if (!paths.isEmpty() && paths.size() == project->images().size()) {
        targets = project->images();
    } else {
        plan.status = Status::InvalidCount;
        return plan;
    }

    bool present[256] = {};
    for (int i = 0; i < paths.size(); ++i) {
        LabeledImage* image = targets[i];
        const QString& path = paths[i];
        std::shared_ptr<const KYVO::CImage> mask;
        try {
            mask.reset(KYVO::CImageIo2::Load(path.toLocal8Bit().toStdString()));
            if (!mask)
                plan.errors << tr("The mask '%1' could not be read.").arg(path);
        } catch (const KYVO::CException& e) {
            plan.errors
                << tr("The mask '%1' could not be read: %2").arg(path, QString::fromLocal8Bit(e.what()));
        } catch (const std::bad_alloc&) {
            plan.errors << tr("The mask '%1' is too large to be read.").arg(path);
        }
        if (!mask)
            continue;
        ensureSizeKnown(image);
        if (!image->width() || !image->height() || !image->depth()) {
            plan.errors
                << tr("The image '%1' could not be loaded, so the mask '%2' cannot be checked against it.")
                       .arg(imageName(*image, project->indexOfImage(image)), fileName(path));
            continue;
        }
        const QString problem = checkMask(*image, *mask, path);
        if (!problem.isEmpty()) {
            plan.errors << problem;
            continue;
        }
        const uint8_t* data = mask->data();
        for (std::size_t v = 0, n = mask->byteCount(); v < n; ++v)
            present[data[v]] = true;
        plan.assignments << Assignment{image, path, mask};
    }
    if (!plan.errors.isEmpty()) {
        plan.status = Status::Invalid;
        plan.assignments.clear();
        return plan;
    }
    for (int v = 1; v < 256; ++v)
        if (present[v] && project->labelsByMaskId(v).isEmpty())
            plan.unknownValues << v;
    return plan;
}

bool MaskImport::apply(Project* project, const Plan& plan, bool createLabels) {
    if (!project || !plan.ok() || plan.assignments.isEmpty())
        return false;
    auto* step = new QUndoCommand(plan.assignments.size() == 1 ? tr("Import mask") : tr("Import masks"));
    if (createLabels) {
        const QList<QColor>& palette = Project::newLabelPalette();
        for (int value : plan.unknownValues) {
            // The same defaults as a label the program makes itself, but named after the value
            // so the user can tell which mask value it stands for.
            auto* label = new Label;
            label->setName(tr("Label %1").arg(value));
            label->setMaskId(value);
            label->setColor(palette.at(value % palette.size()));
            label->setPrimaryOpacity(project->setting("Label.primary_opacity", 0.7).toDouble());
            label->setSecondaryOpacity(project->setting("Label.secondary_opacity", 0.3).toDouble());
            label->setPenWidth(project->setting("Label.pen_width", 0.5).toDouble());
            new commands::AddLabel(project, label, step);
        }
    }
    for (const Assignment& a : plan.assignments)
        new commands::SetImageMask(a.image, a.path, *a.mask, step);
    project->undoStack()->push(step);
    return true;
}

} // namespace pxm
