// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"

#include <QLocale>

namespace pxmtest {

/// Every property of a label as one text, "name #aarrggbb opacity secondary pen id maskId", each
/// number in the shortest form that reads back to the same double.
inline QString labelText(const pxm::Label* l) {
    QStringList parts{l->name(), l->color().name(QColor::HexArgb)};
    for (const double v :
         {l->opacity(), l->secondaryOpacity(), l->penWidth(), double(l->id()), double(l->maskId())})
        parts << QString::number(v, 'g', QLocale::FloatingPointShortest);
    return parts.join(' ');
}

/// A labeled image in the project holding an 8-bit image of the given size (no path: never swapped out).
inline pxm::LabeledImage* addImage(pxm::Project& project, std::size_t w, std::size_t h, std::size_t d = 1) {
    auto* image = new pxm::LabeledImage(&project);
    image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d)), true);
    project.addImage(image);
    return image;
}

/// A labeled image known only by its path and size, as a project file gives it; its scenes exist.
inline pxm::LabeledImage* addImageByPath(pxm::Project& project, const QString& path, uint32_t w, uint32_t h,
                                         uint32_t d) {
    auto* image = new pxm::LabeledImage(&project);
    image->setWidth(w);
    image->setHeight(h);
    image->setDepth(d);
    image->setColorChannels(1);
    image->setImagePath(path);
    image->createScenes();
    project.addImage(image);
    return image;
}

/// An 8-bit volume whose voxels are given row by row, layer by layer.
inline KYVO::CImage* volume(std::size_t w, std::size_t h, std::size_t d, std::initializer_list<int> voxels) {
    auto* v = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    std::size_t i = 0;
    for (int value : voxels)
        if (i < v->byteCount())
            v->data()[i++] = uint8_t(value);
    return v;
}

} // namespace pxmtest
