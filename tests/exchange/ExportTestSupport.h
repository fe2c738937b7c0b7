// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QGraphicsRectItem>
#include <memory>

namespace exporttest {

inline std::string local(const QString& path) {
    return path.toLocal8Bit().toStdString();
}

inline pxm::Label* addLabel(pxm::Project& project, int id, int maskId, const QString& name) {
    pxm::Label* label = project.createLabel();
    label->setId(id);
    label->setMaskId(maskId);
    label->setName(name);
    return label;
}

/// An image file in the directory, grey values rising with x, and a labeled image that knows
/// its path and size but has loaded nothing, as a project read from a file has.
inline pxm::LabeledImage* addImageFile(pxm::Project& project, const pxmtest::TempDir& dir,
                                       const QString& name, std::size_t w, std::size_t h, std::size_t d = 1) {
    const QString path = dir.path(name);
    KYVO::CImage pixels(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    for (std::size_t i = 0; i < pixels.byteCount(); ++i)
        pixels.data()[i] = uint8_t((i % w) * 30);
    KYVO::CImageIo2::Save(local(path), pixels);
    auto* image = new pxm::LabeledImage(&project);
    image->setImagePath(path);
    image->setWidth(uint32_t(w));
    image->setHeight(uint32_t(h));
    image->setDepth(uint32_t(d));
    image->setColorChannels(1);
    image->createScenes();
    project.addImage(image);
    return image;
}

/// A rectangle item of the label on top of the scene's earlier items.
inline QGraphicsRectItem* addRect(pxm::Scene* scene, const QRectF& rect, const pxm::Label* label) {
    auto* item = new QGraphicsRectItem(rect);
    scene->addLabelItem(item, label);
    return item;
}

inline std::unique_ptr<KYVO::CImage> load(const QString& path) {
    return std::unique_ptr<KYVO::CImage>(KYVO::CImageIo2::Load(local(path)));
}

/// The names of the entries of a directory, hidden ones included, sorted.
inline QStringList filesIn(const QString& directory) {
    QStringList names =
        QDir(directory).entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
    names.sort();
    return names;
}

inline QStringList sorted(QStringList names) {
    names.sort();
    return names;
}

} // namespace exporttest
