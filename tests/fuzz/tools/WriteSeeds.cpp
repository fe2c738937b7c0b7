// SPDX-License-Identifier: MIT
// `pixmarker-fuzz-seeds DIR` writes tiny seeds for every target into DIR/<target>/ with the program's
// writers.
#include "exchange/KAROMarkWriter.h"
#include "exchange/LabelMeWriter.h"
#include "exchange/VOCWriter.h"
#include "model/Label.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "platform/CValueMap.h"
#include "platform/Vandu.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>
#include <QXmlStreamWriter>
#include <cstdio>
#include <stdexcept>

namespace {

using namespace KYVO;

QString g_root;
int g_written = 0;

QString targetDir(const char* target) {
    const QString dir = g_root + "/" + target;
    if (!QDir().mkpath(dir))
        throw std::runtime_error("cannot create " + dir.toStdString());
    return dir;
}

void saveBytes(const char* target, const QString& name, const QByteArray& bytes) {
    QFile file(targetDir(target) + "/" + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + file.fileName().toStdString());
    ++g_written;
}

/// Two labels and a 24 x 16 image with one item of each kind of shape, one of them rotated.
pxm::LabeledImage* addShapes(pxm::Project& project) {
    pxm::Label *a = project.createLabel(), *b = project.createLabel();
    a->setName("cell");
    b->setName("nucleus");
    pxm::LabeledImage* image = pxmtest::addImageByPath(project, "cells.png", 24, 16, 1);
    pxm::Scene* scene = image->scene(0);
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
    return image;
}

void writeProjects() {
    pxm::Project project;
    addShapes(project);
    pxm::Label* b = project.labels()[1];
    b->setMaskId(7);
    pxm::LabeledImage* stack = pxmtest::addImageByPath(project, "stack.tif", 8, 8, 2);
    stack->setMaskPath("stack_mask.okav.gz");
    stack->scene(1)->addLabelItem(new QGraphicsRectItem(1, 1, 3, 3), b);
    project.setCurrentImageIndex(0);
    project.setSetting("View.cameraMode", "perImage");
    project.setSetting("ZoomView.radius", 250);
    project.setSetting("Label.primary_opacity", 0.5);
    project.setSetting("RectTool.oneClick", true);
    pxm::Project empty;
    for (const auto& [p, name] :
         {std::pair<pxm::Project*, QString>{&project, "two-images"}, {&empty, "empty"}}) {
        pxm::ProjectSerializer::write(p, targetDir("project") + "/" + name + ".json", false);
        pxm::ProjectSerializer::write(p, targetDir("project_gz") + "/" + name + ".json.gz", false);
        g_written += 2;
    }
}

void writeAnnotations() {
    pxm::Project project;
    pxm::LabeledImage* image = addShapes(project);
    QByteArray mark, voc;
    QTextStream markOut(&mark);
    pxm::writeKAROMark(markOut, image->scene(0));
    markOut.flush();
    saveBytes("karo", "cells.mark", mark);
    QXmlStreamWriter vocOut(&voc);
    vocOut.setAutoFormatting(true);
    vocOut.writeStartDocument();
    pxm::writeVOC(vocOut, image->scene(0));
    vocOut.writeEndDocument();
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
        shape.insert("shape_type", shape.value("points").toArray().size() > 2 ? "polygon" : kinds[i % 3]);
        if (i == 0)
            shape.insert("line_color", QJsonArray{0, 128, 255});
        shapes[i] = shape;
    }
    document.insert("shapes", shapes);
    saveBytes("labelme", "cells-typed.json", QJsonDocument(document).toJson());
}

void writeRegistry() {
    QTemporaryDir dir;
    CRegistry& registry = CRegistry::Obj();
    CRegistry::SetStorageDirectory(dir.path());
    registry.Clear();
    registry.SetString("main/Settings/View/CameraMode", "perImage");
    registry.SetLong("main/Settings/View/ViewRadius", 250);
    registry.SetDouble("main/Settings/View/ViewZoom", 2.5);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.SetStringVector("main/RecentProjects", {"/data/a.json", "/data/b.json.gz"});
    const bool stored = registry.ToStorage("Seed");
    registry.Clear();
    CRegistry::SetStorageDirectory(QString());
    QFile file(dir.filePath("Seed.json"));
    if (!stored || !file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot write the registry seed");
    saveBytes("registry", "settings.json", file.readAll());
}

/// A small image whose voxels run through the type's range.
CImage pattern(EnImageType type, std::size_t w, std::size_t h, std::size_t d) {
    CImage image(type, CSize(w, h, d));
    for (std::size_t i = 0; i < image.byteCount(); ++i)
        image.data()[i] = std::uint8_t(i * 37 + i / 7) & (type == IMAGE_BOOL ? 1 : 0xff);
    for (std::size_t i = 0; type == IMAGE_GREY_F && i < image.size().Elements(); ++i)
        reinterpret_cast<float*>(image.data())[i] = float(i) * 0.25f - 1.0f;
    return image;
}

void writeImages() {
    struct Seed {
        const char *target, *name;
        EnImageType type;
        std::size_t w, h, d;
        const char* compression = nullptr;
    };
    // clang-format off
    const Seed seeds[] = {
        {"netpbm", "bool.pbm", IMAGE_BOOL, 9, 5, 1}, {"netpbm", "grey.pgm", IMAGE_GREY_8, 6, 4, 1},
        {"netpbm", "grey16.pgm", IMAGE_GREY_16, 5, 3, 1}, {"netpbm", "rgb.ppm", IMAGE_RGB_8I, 4, 3, 1},
        {"netpbm", "float.pfm", IMAGE_GREY_F, 3, 3, 1}, {"netpbm", "grey.pam", IMAGE_GREY_8, 4, 2, 1},
        {"netpbm", "stack.pgm", IMAGE_GREY_8, 4, 3, 2}, {"tiff", "grey.tif", IMAGE_GREY_8, 6, 4, 1},
        {"tiff", "rgb-lzw.tif", IMAGE_RGB_8I, 5, 4, 1, "lzw"},
        {"tiff", "grey16-deflate.tif", IMAGE_GREY_16, 4, 4, 1, "deflate"},
        {"tiff", "bool-packbits.tif", IMAGE_BOOL, 10, 3, 1, "packbits"}, {"tiff", "float.tif", IMAGE_GREY_F, 3, 2, 1},
        {"tiff", "stack.tif", IMAGE_GREY_8, 4, 3, 3}, {"png", "grey.png", IMAGE_GREY_8, 6, 4, 1},
        {"png", "grey16.png", IMAGE_GREY_16, 5, 3, 1}, {"png", "rgb.png", IMAGE_RGB_8I, 4, 4, 1},
        {"png", "bool.png", IMAGE_BOOL, 9, 3, 1}, {"jpeg", "grey.jpg", IMAGE_GREY_8, 8, 8, 1},
        {"jpeg", "rgb.jpg", IMAGE_RGB_8I, 9, 7, 1}, {"bmp", "grey.bmp", IMAGE_GREY_8, 5, 3, 1},
        {"bmp", "rgb.bmp", IMAGE_RGB_8I, 4, 3, 1}, {"bmp", "bool.bmp", IMAGE_BOOL, 11, 2, 1},
        {"ico", "rgb.ico", IMAGE_RGB_8I, 16, 16, 1}, {"jp2", "grey.jp2", IMAGE_GREY_8, 6, 5, 1},
        {"jp2", "rgb.jp2", IMAGE_RGB_8I, 4, 4, 1}, {"j2k", "grey16.j2k", IMAGE_GREY_16, 5, 4, 1},
        {"j2k", "bool.j2k", IMAGE_BOOL, 7, 3, 1}, {"okav", "stack.okav", IMAGE_GREY_8, 4, 3, 2},
        {"okav", "rgb.okav", IMAGE_RGB_8I, 3, 2, 1}, {"okav", "float.okav", IMAGE_GREY_F, 2, 2, 2},
        {"okav_gz", "stack.okav.gz", IMAGE_GREY_8, 4, 3, 2}, {"okav_gz", "grey16.okav.gz", IMAGE_GREY_16, 3, 3, 1}};
    // clang-format on
    for (const Seed& s : seeds) {
        CValueMap options;
        if (s.compression)
            options.SetString("compression", s.compression);
        CImageIo2::Save((targetDir(s.target) + "/" + s.name).toStdString(), pattern(s.type, s.w, s.h, s.d),
                        &options);
        ++g_written;
    }
    // Nothing here writes GIF; the smallest well-formed one, a 1x1 two-colour image, stands in.
    static const unsigned char gif[] = {'G', 'I',  'F',  '8',  '9', 'a', 1, 0,    1, 0, 0x80, 0,
                                        0,   0xff, 0xff, 0xff, 0,   0,   0, 0x2c, 0, 0, 0,    0,
                                        1,   0,    1,    0,    0,   2,   2, 0x44, 1, 0, 0x3b};
    saveBytes("gif", "pixel.gif", QByteArray(reinterpret_cast<const char*>(gif), int(sizeof gif)));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: pixmarker-fuzz-seeds DIR\n");
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    VanduInit(-1);
    int result = 0;
    {
        QApplication app(argc, argv);
        try {
            g_root = QString::fromLocal8Bit(argv[1]);
            writeProjects();
            writeAnnotations();
            writeRegistry();
            writeImages();
            std::printf("%d seeds written\n", g_written);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "pixmarker-fuzz-seeds: %s\n", e.what());
            result = 1;
        }
    }
    VanduExit();
    return result;
}

// Qt's offscreen platform and fontconfig keep objects until the process dies; not ours.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\n"
           "leak:libfontconfig.so\n";
}
