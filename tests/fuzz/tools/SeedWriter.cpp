// SPDX-License-Identifier: MIT
#include "fuzz/tools/SeedWriter.h"

#include "exchange/KAROMarkWriter.h"
#include "exchange/LabelMeWriter.h"
#include "exchange/VOCWriter.h"
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "platform/CValueMap.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>
#include <QXmlStreamWriter>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace pxmfuzz {

namespace {

/// A 2D image of the given size: one label of each kind of shape, one of them rotated.
pxm::LabeledImage* addImage(pxm::Project& project, const QString& path, uint32_t w, uint32_t h, uint32_t d) {
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

void drawShapes(pxm::Scene* scene, const pxm::Label* a, const pxm::Label* b) {
    scene->addLabelItem(new QGraphicsRectItem(2, 3, 10, 6), a);
    scene->addLabelItem(new QGraphicsEllipseItem(12, 4, 8, 5), b);
    scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{1, 1}, {9, 2}, {5, 8}})), a);
    auto* line = new QGraphicsLineItem(0, 0, 15, 11);
    line->setTransform(QTransform().rotate(30));
    scene->addLabelItem(line, b);
    QPainterPath path(QPointF(3, 3));
    path.lineTo(7, 3);
    path.lineTo(5, 7);
    path.closeSubpath();
    scene->addLabelItem(new QGraphicsPathItem(path), a);
}

/// A small image whose voxels run through the type's range.
KYVO::CImage pattern(KYVO::EnImageType type, std::size_t w, std::size_t h, std::size_t d = 1) {
    KYVO::CImage image(type, KYVO::CSize(w, h, d));
    const std::size_t bytes = image.byteCount();
    for (std::size_t i = 0; i < bytes; ++i)
        image.data()[i] = std::uint8_t(i * 37 + i / 7);
    if (type == KYVO::IMAGE_BOOL)
        for (std::size_t i = 0; i < bytes; ++i)
            image.data()[i] &= 1;
    if (type == KYVO::IMAGE_GREY_F)
        for (std::size_t i = 0; i < image.size().Elements(); ++i) {
            const float v = float(i) * 0.25f - 1.0f;
            std::memcpy(image.data() + 4 * i, &v, 4);
        }
    return image;
}

} // namespace

SeedWriter::SeedWriter(const QString& root) : m_root(root) {}

int SeedWriter::writeAll() {
    writeProjects();
    writeAnnotations();
    writeRegistry();
    writeImages();
    return m_written;
}

QString SeedWriter::targetDir(const char* target) const {
    const QString dir = m_root + "/" + target;
    if (!QDir().mkpath(dir))
        throw std::runtime_error("cannot create " + dir.toStdString());
    return dir;
}

void SeedWriter::saveBytes(const char* target, const QString& name, const QByteArray& bytes) {
    QFile file(targetDir(target) + "/" + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + file.fileName().toStdString());
    ++m_written;
}

void SeedWriter::saveImage(const char* target, const QString& name, const KYVO::CImage& image,
                           const char* compression) {
    KYVO::CValueMap options;
    if (compression)
        options.SetString("compression", compression);
    KYVO::CImageIo2::Save((targetDir(target) + "/" + name).toStdString(), image, &options);
    ++m_written;
}

void SeedWriter::writeProjects() {
    pxm::Project project;
    pxm::Label* a = project.createLabel();
    a->setName("cell");
    pxm::Label* b = project.createLabel();
    b->setName("nucleus");
    b->setMaskId(7);
    drawShapes(addImage(project, "cells.png", 24, 16, 1)->scene(0), a, b);
    pxm::LabeledImage* stack = addImage(project, "stack.tif", 8, 8, 2);
    stack->setMaskPath("stack_mask.okav.gz");
    stack->scene(1)->addLabelItem(new QGraphicsRectItem(1, 1, 3, 3), b);
    project.setCurrentImageIndex(0);
    project.setSetting("View.cameraMode", "perImage");
    project.setSetting("ZoomView.radius", 250);
    project.setSetting("Label.primary_opacity", 0.5);
    project.setSetting("RectTool.oneClick", true);
    pxm::ProjectSerializer::write(&project, targetDir("project") + "/two-images.json", false);
    pxm::ProjectSerializer::write(&project, targetDir("project_gz") + "/two-images.json.gz", false);
    m_written += 2;

    pxm::Project empty;
    pxm::ProjectSerializer::write(&empty, targetDir("project") + "/empty.json", false);
    pxm::ProjectSerializer::write(&empty, targetDir("project_gz") + "/empty.json.gz", false);
    m_written += 2;
}

void SeedWriter::writeAnnotations() {
    pxm::Project project;
    pxm::Label* a = project.createLabel();
    a->setName("cell");
    pxm::Label* b = project.createLabel();
    b->setName("nucleus");
    pxm::LabeledImage* image = addImage(project, "cells.png", 24, 16, 1);
    drawShapes(image->scene(0), a, b);

    QByteArray mark;
    {
        QTextStream out(&mark);
        pxm::writeKAROMark(out, image->scene(0));
    }
    saveBytes("karo", "cells.mark", mark);

    QByteArray voc;
    {
        QXmlStreamWriter out(&voc);
        out.setAutoFormatting(true);
        out.writeStartDocument();
        pxm::writeVOC(out, image->scene(0));
        out.writeEndDocument();
    }
    saveBytes("voc", "cells.voc", voc);

    QBuffer labelMe;
    labelMe.open(QIODevice::WriteOnly);
    pxm::writeLabelMe(labelMe, image);
    saveBytes("labelme", "cells.json", labelMe.data());
    // The writer leaves the shape type out; a copy that names it reaches the item builders.
    QJsonObject document = QJsonDocument::fromJson(labelMe.data()).object();
    QJsonArray shapes = document.value("shapes").toArray();
    const char* const kinds[] = {"rectangle", "circle", "line"};
    for (int i = 0; i < shapes.size(); ++i) {
        QJsonObject shape = shapes[i].toObject();
        const int points = shape.value("points").toArray().size();
        shape.insert("shape_type", points > 2 ? "polygon" : kinds[i % 3]);
        if (i == 0)
            shape.insert("line_color", QJsonArray{0, 128, 255});
        shapes[i] = shape;
    }
    document.insert("shapes", shapes);
    saveBytes("labelme", "cells-typed.json", QJsonDocument(document).toJson());
}

void SeedWriter::writeRegistry() {
    QTemporaryDir dir;
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    KYVO::CRegistry::SetStorageDirectory(dir.path());
    registry.Clear();
    registry.SetString("main/Settings/View/CameraMode", "perImage");
    registry.SetLong("main/Settings/View/ViewRadius", 250);
    registry.SetDouble("main/Settings/View/ViewZoom", 2.5);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.SetStringVector("main/RecentProjects", {"/data/a.json", "/data/b.json.gz"});
    const bool stored = registry.ToStorage("Seed");
    registry.Clear();
    KYVO::CRegistry::SetStorageDirectory(QString());
    QFile file(dir.filePath("Seed.json"));
    if (!stored || !file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot write the registry seed");
    saveBytes("registry", "settings.json", file.readAll());
}

void SeedWriter::writeImages() {
    using namespace KYVO;
    saveImage("netpbm", "bool.pbm", pattern(IMAGE_BOOL, 9, 5));
    saveImage("netpbm", "grey.pgm", pattern(IMAGE_GREY_8, 6, 4));
    saveImage("netpbm", "grey16.pgm", pattern(IMAGE_GREY_16, 5, 3));
    saveImage("netpbm", "rgb.ppm", pattern(IMAGE_RGB_8I, 4, 3));
    saveImage("netpbm", "float.pfm", pattern(IMAGE_GREY_F, 3, 3));
    saveImage("netpbm", "grey.pam", pattern(IMAGE_GREY_8, 4, 2));
    saveImage("netpbm", "stack.pgm", pattern(IMAGE_GREY_8, 4, 3, 2));

    saveImage("tiff", "grey.tif", pattern(IMAGE_GREY_8, 6, 4));
    saveImage("tiff", "rgb-lzw.tif", pattern(IMAGE_RGB_8I, 5, 4), "lzw");
    saveImage("tiff", "grey16-deflate.tif", pattern(IMAGE_GREY_16, 4, 4), "deflate");
    saveImage("tiff", "bool-packbits.tif", pattern(IMAGE_BOOL, 10, 3), "packbits");
    saveImage("tiff", "float.tif", pattern(IMAGE_GREY_F, 3, 2));
    saveImage("tiff", "stack.tif", pattern(IMAGE_GREY_8, 4, 3, 3));

    saveImage("png", "grey.png", pattern(IMAGE_GREY_8, 6, 4));
    saveImage("png", "grey16.png", pattern(IMAGE_GREY_16, 5, 3));
    saveImage("png", "rgb.png", pattern(IMAGE_RGB_8I, 4, 4));
    saveImage("png", "bool.png", pattern(IMAGE_BOOL, 9, 3));
    saveImage("jpeg", "grey.jpg", pattern(IMAGE_GREY_8, 8, 8));
    saveImage("jpeg", "rgb.jpg", pattern(IMAGE_RGB_8I, 9, 7));
    saveImage("bmp", "grey.bmp", pattern(IMAGE_GREY_8, 5, 3));
    saveImage("bmp", "rgb.bmp", pattern(IMAGE_RGB_8I, 4, 3));
    saveImage("bmp", "bool.bmp", pattern(IMAGE_BOOL, 11, 2));
    saveImage("ico", "rgb.ico", pattern(IMAGE_RGB_8I, 16, 16));
    // Nothing here writes GIF; the smallest well-formed one, a 1x1 two-colour image, stands in.
    static const unsigned char gif[] = {'G', 'I',  'F',  '8',  '9', 'a', 1, 0,    1, 0, 0x80, 0,
                                        0,   0xff, 0xff, 0xff, 0,   0,   0, 0x2c, 0, 0, 0,    0,
                                        1,   0,    1,    0,    0,   2,   2, 0x44, 1, 0, 0x3b};
    saveBytes("gif", "pixel.gif", QByteArray(reinterpret_cast<const char*>(gif), int(sizeof gif)));

    saveImage("jp2", "grey.jp2", pattern(IMAGE_GREY_8, 6, 5));
    saveImage("jp2", "rgb.jp2", pattern(IMAGE_RGB_8I, 4, 4));
    saveImage("j2k", "grey16.j2k", pattern(IMAGE_GREY_16, 5, 4));
    saveImage("j2k", "bool.j2k", pattern(IMAGE_BOOL, 7, 3));

    saveImage("okav", "stack.okav", pattern(IMAGE_GREY_8, 4, 3, 2));
    saveImage("okav", "rgb.okav", pattern(IMAGE_RGB_8I, 3, 2));
    saveImage("okav", "float.okav", pattern(IMAGE_GREY_F, 2, 2, 2));
    saveImage("okav_gz", "stack.okav.gz", pattern(IMAGE_GREY_8, 4, 3, 2));
    saveImage("okav_gz", "grey16.okav.gz", pattern(IMAGE_GREY_16, 3, 3));
}

} // namespace pxmfuzz
