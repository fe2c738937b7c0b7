// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QImage>
#include <QPainter>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

using namespace pxm;

namespace {

Label* addLabel(Project& project, const QString& name, QColor color, double opacity, int id, int maskId) {
    auto* label = new Label;
    label->setName(name);
    label->setColor(color);
    label->setPrimaryOpacity(opacity);
    label->setSecondaryOpacity(0.2);
    label->setPenWidth(0.3);
    label->setId(id);
    label->setMaskId(maskId);
    return project.addLabel(label);
}

/// The pixels a path fills, as the full mask draws it: comparable pixel for pixel.
QByteArray pathPixels(const QPainterPath& path) {
    QImage image(48, 48, QImage::Format_Grayscale8);
    image.fill(0);
    QPainter painter(&image);
    painter.fillPath(path, Qt::white);
    painter.end();
    return QByteArray(reinterpret_cast<const char*>(image.constBits()), int(image.sizeInBytes())).toBase64();
}

/// Kind, label, scene transform and geometry of a label item, comparable as text.
QString describe(const QGraphicsItem* item) {
    QString geometry;
    QDebug(&geometry) << item->type() << labelIdOf(item) << item->sceneTransform();
    if (auto* rect = dynamic_cast<const QGraphicsRectItem*>(item))
        QDebug(&geometry) << rect->rect();
    else if (auto* ellipse = dynamic_cast<const QGraphicsEllipseItem*>(item))
        QDebug(&geometry) << ellipse->rect();
    else if (auto* line = dynamic_cast<const QGraphicsLineItem*>(item))
        QDebug(&geometry) << line->line();
    else if (auto* polygon = dynamic_cast<const QGraphicsPolygonItem*>(item))
        QDebug(&geometry) << polygon->polygon();
    else if (auto* path = dynamic_cast<const QGraphicsPathItem*>(item))
        QDebug(&geometry) << "path pixels" << pathPixels(path->path());
    return geometry;
}

QStringList describeScene(const Scene* scene) {
    QStringList items;
    for (const QGraphicsItem* item : scene->items())
        if (isLabelItem(item))
            items << describe(item);
    items.sort();
    return items;
}

/// Two labels, a 2D image with one item of each kind, a 3D image with items on its last layer.
struct SampleProject {
    Project project;
    SampleProject() {
        Label* cell = addLabel(project, "cell", QColor(200, 10, 30), 0.6, 11, 3);
        Label* road = addLabel(project, "road", QColor(0, 128, 255), 0.25, -40, 200);
        LabeledImage* flat = pxmtest::addImageByPath(project, "/data/flat.png", 64, 48, 1);
        flat->setMaskPath("");
        LabeledImage* volume = pxmtest::addImageByPath(project, "rel/volume.tif", 32, 32, 3);
        Scene* scene = flat->scene(0);
        auto* rect = new QGraphicsRectItem(1, 2, 10, 5);
        rect->setPos(3, 4);
        rect->setTransform(QTransform().rotate(30));
        scene->addLabelItem(rect, cell);
        scene->addLabelItem(new QGraphicsEllipseItem(5, 5, 7, 3), road);
        scene->addLabelItem(new QGraphicsLineItem(0, 0, 20, 9.5), cell);
        scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{0, 0}, {6, 1}, {2, 8}})), road);
        QPainterPath path(QPointF(1, 1));
        path.lineTo(9, 2);
        path.lineTo(4, 7);
        auto* pathItem = new QGraphicsPathItem(path);
        pathItem->setTransform(QTransform::fromScale(2, 0.5));
        scene->addLabelItem(pathItem, cell);
        // A brush stroke (overlapping squares, winding fill) and one an eraser cut a hole
        // into (simplified, odd-even fill): both must come back pixel for pixel.
        QPainterPath stroke;
        stroke.setFillRule(Qt::WindingFill);
        for (int i = 0; i < 30; ++i)
            stroke.addRect(QRect(4 + i, 6 + i % 5, 9, 9));
        scene->addLabelItem(new QGraphicsPathItem(stroke), road);
        QPainterPath hole;
        hole.addRect(QRectF(20, 9, 4, 4));
        QPainterPath corner;
        corner.addRect(QRectF(2, 2, 5, 5));
        scene->addLabelItem(new QGraphicsPathItem(stroke.subtracted(hole).simplified().subtracted(corner).simplified()),
                            cell);
        volume->scene(2)->addLabelItem(new QGraphicsRectItem(0, 0, 1, 1), road);
        project.setSetting("View.cameraMode", 2);
    }
};

} // namespace

TEST(ProjectFile, RoundTripKeepsLabelsImagesAndItems) {
    SampleProject sample;
    const Project& original = sample.project;
    pxmtest::TempDir dir;
    for (const QString name : {"p.json", "p.json.gz", "p.JSON.GZ"}) {
        SCOPED_TRACE(name.toStdString());
        ProjectSerializer::write(&sample.project, dir.path(name), false);
        const QByteArray bytes = pxmtest::readFile(dir.path(name));
        ASSERT_GE(bytes.size(), 2);
        // Only the lower-case ".gz" ending compresses.
        const bool gzip = uchar(bytes[0]) == 0x1f && uchar(bytes[1]) == 0x8b;
        EXPECT_EQ(gzip, name == "p.json.gz");

        Project read;
        ProjectReader::read(dir.path(name), &read);
        ASSERT_EQ(read.labels().size(), 2);
        for (int i = 0; i < 2; ++i) {
            const Label* a = original.labels()[i];
            const Label* b = read.labels()[i];
            EXPECT_EQ(b->name(), a->name());
            EXPECT_EQ(b->color(), a->color());
            EXPECT_DOUBLE_EQ(b->opacity(), a->opacity());
            EXPECT_EQ(b->id(), a->id());
            EXPECT_EQ(b->maskId(), a->maskId());
            EXPECT_DOUBLE_EQ(b->secondaryOpacity(), a->secondaryOpacity());
            EXPECT_DOUBLE_EQ(b->penWidth(), a->penWidth());
        }
        ASSERT_EQ(read.images().size(), 2);
        EXPECT_EQ(read.currentImageIndex(), 0);
        EXPECT_EQ(read.setting("View.cameraMode").toInt(), 2);
        for (int i = 0; i < 2; ++i) {
            const LabeledImage* a = original.images()[i];
            const LabeledImage* b = read.images()[i];
            // Relative paths were taken from the current directory, which is no part of the
            // project's folder: they are kept absolute.
            EXPECT_EQ(b->imagePath(), QFileInfo(a->imagePath()).absoluteFilePath());
            EXPECT_EQ(b->maskPath(), a->maskPath());
            EXPECT_EQ(b->width(), a->width());
            EXPECT_EQ(b->height(), a->height());
            EXPECT_EQ(b->depth(), a->depth());
            EXPECT_EQ(b->colorChannels(), a->colorChannels());
            EXPECT_EQ(b->imageState(), LabeledImage::ImageState::NotLoaded);
            ASSERT_EQ(b->scenes().size(), a->scenes().size());
            for (int z = 0; z < a->scenes().size(); ++z) {
                EXPECT_EQ(describeScene(b->scene(z)), describeScene(a->scene(z))) << "image " << i << " layer " << z;
            }
            // Regions, pen widths and all: the main output is the same after a reopen.
            const std::unique_ptr<KYVO::CImage> before(a->createLabelMask());
            const std::unique_ptr<KYVO::CImage> after(b->createLabelMask());
            ASSERT_TRUE(before && after);
            int differ = 0;
            for (std::size_t v = 0; v < before->byteCount(); ++v)
                differ += before->data()[v] != after->data()[v];
            EXPECT_EQ(differ, 0) << "voxels of the full mask of image " << i;
        }
    }
}

TEST(ProjectFile, WritesTheExpectedTextAndReadsItBack) {
    // The per-user registry feeds a new project's settings; this file expects none.
    KYVO::CRegistry::Obj().Clear();
    Project project;
    addLabel(project, "cell", QColor(255, 0, 0), 0.5, 7, 1);
    pxmtest::TempDir dir;
    LabeledImage* image = pxmtest::addImageByPath(project, dir.path("img.png"), 4, 3, 1);
    image->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 1), project.labels()[0]);
    project.setSetting("SerializationSettings.overwriteMask", false);
    ProjectSerializer::write(&project, dir.path("tiny.json"), false);
    const QString golden = QFileInfo(__FILE__).absolutePath() + "/data/tiny_project.json";
    const QByteArray expected = pxmtest::readFile(golden);
    EXPECT_EQ(QString::fromUtf8(pxmtest::readFile(dir.path("tiny.json"))), QString::fromUtf8(expected));

    // Reading the file and writing it again gives the same text.
    Project read;
    ProjectReader::read(dir.path("tiny.json"), &read);
    EXPECT_EQ(read.images()[0]->imagePath(), dir.path("img.png")) << "taken from the project's folder";
    ProjectSerializer::write(&read, dir.path("again.json"), false);
    EXPECT_EQ(QString::fromUtf8(pxmtest::readFile(dir.path("again.json"))), QString::fromUtf8(expected));
}

TEST(ProjectFile, ModifiedMaskGoesToTheCompanionOnceThenInPlace) {
    pxmtest::TempDir dir;
    KYVO::CImage mask(KYVO::IMAGE_GREY_8, KYVO::CSize(4, 3, 1));
    for (std::size_t i = 0; i < 12; ++i)
        mask.data()[i] = uint8_t(i + 1);
    const QString original = dir.path("cells.mask.pgm");
    KYVO::CImageIo2::Save(original.toStdString(), mask);
    const QByteArray originalBytes = pxmtest::readFile(original);

    Project project;
    auto* image = new LabeledImage(&project);
    image->setMaskPath(original);
    project.addImage(image);
    const QString companion = dir.path("cells_pxmtool.mask.pgm");
    for (std::size_t erased : {5, 7}) {
        SCOPED_TRACE(erased);
        image->incUsage();
        ASSERT_NE(image->eraseOverlay(), nullptr);
        MaskItem(image, 0).erase(QRectF(erased % 4, erased / 4, 0, 0));
        image->decUsage();
        ProjectSerializer::write(&project, dir.path("p.json"), false);
        EXPECT_EQ(image->maskPath(), companion);
        EXPECT_EQ(image->usageCount(), 0u);
        std::unique_ptr<KYVO::CImage> saved(KYVO::CImageIo2::Load(companion.toStdString()));
        EXPECT_EQ(saved->data()[5], 0);
        EXPECT_EQ(saved->data()[7], erased == 7 ? 0 : 8);
        EXPECT_EQ(saved->data()[6], 7);
    }
    EXPECT_EQ(pxmtest::readFile(original), originalBytes);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 3) << "mask, companion, project";
    // A save with the mask unchanged leaves the mask's file alone (a read-only folder must
    // not fail a shapes-only save).
    ASSERT_TRUE(QFile::remove(companion));
    ProjectSerializer::write(&project, dir.path("p.json"), false);
    EXPECT_FALSE(QFile::exists(companion));
    ASSERT_TRUE(pxmtest::writeFile(companion, originalBytes));
    Project read;
    ProjectReader::read(dir.path("p.json"), &read);
    EXPECT_EQ(read.images()[0]->maskPath(), companion);

    // With overwriting allowed, the mask the image points at is replaced in place.
    image->setMaskPath(original);
    image->incUsage();
    MaskItem(image, 0).erase(QRectF(0, 0, 0, 0));
    image->decUsage();
    ProjectSerializer::write(&project, dir.path("p.json"), true);
    EXPECT_EQ(image->maskPath(), original);
    std::unique_ptr<KYVO::CImage> replaced(KYVO::CImageIo2::Load(original.toStdString()));
    EXPECT_EQ(replaced->data()[0], 0);
    EXPECT_EQ(replaced->data()[1], 2);
}

TEST(ProjectFile, PathsFollowTheProjectFile) {
    pxmtest::TempDir root;
    const QString a = root.path("a"), b = root.path("b"), c = root.path("c");
    for (const QString& d : {a, b, c})
        ASSERT_TRUE(QDir().mkpath(d));
    KYVO::CImage pixels(KYVO::IMAGE_GREY_8, KYVO::CSize(4, 3, 1));
    std::fill(pixels.data(), pixels.data() + 12, uint8_t(2));
    for (const char* name : {"/img.pgm", "/mask.pgm"})
        KYVO::CImageIo2::Save((a + name).toStdString(), pixels);
    {
        Project project;
        LabeledImage* image = pxmtest::addImageByPath(project, a + "/img.pgm", 4, 3, 1);
        image->setMaskPath(a + "/mask.pgm");
        ProjectSerializer::write(&project, a + "/p.json", false);
    }
    const QByteArray text = pxmtest::readFile(a + "/p.json");
    EXPECT_TRUE(text.contains("\"imagePath\": \"img.pgm\"")) << text.constData();
    EXPECT_FALSE(text.contains(a.toUtf8())) << "paths inside the folder are relative";

    // A copy of the folder works on its own files: its mask edits never reach the original.
    for (const char* name : {"/img.pgm", "/mask.pgm", "/p.json"})
        ASSERT_TRUE(QFile::copy(a + name, b + name));
    {
        Project copy;
        ProjectReader::read(b + "/p.json", &copy);
        LabeledImage* image = copy.images()[0];
        EXPECT_EQ(image->imagePath(), b + "/img.pgm");
        image->incUsage();
        MaskItem(image, 0).erase(QRectF(1, 1, 0, 0));
        image->decUsage();
        ProjectSerializer::write(&copy, b + "/p.json", false);
        EXPECT_EQ(image->maskPath(), b + "/mask_pxmtool.pgm");
    }
    EXPECT_FALSE(QFile::exists(a + "/mask_pxmtool.pgm"));

    // Saved into another folder, the project still finds every image and mask.
    {
        Project project;
        ProjectReader::read(a + "/p.json", &project);
        ProjectSerializer::write(&project, c + "/q.json", false);
        Project moved;
        ProjectReader::read(c + "/q.json", &moved);
        EXPECT_EQ(moved.images()[0]->imagePath(), a + "/img.pgm");
        EXPECT_EQ(moved.images()[0]->maskPath(), a + "/mask.pgm");
    }

    // A file of an earlier version, whose relative paths were meant from the current
    // directory, still finds them there.
    ASSERT_TRUE(QFile::copy(a + "/p.json", c + "/old.json"));
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(a));
    Project old;
    ProjectReader::read(c + "/old.json", &old);
    QDir::setCurrent(previous);
    EXPECT_EQ(old.images()[0]->imagePath(), a + "/img.pgm");
}

TEST(ProjectFile, FailedWritesKeepTheOldFileAndLeaveNoTemporary) {
    SampleProject sample;
    pxmtest::TempDir dir;
    const QByteArray old = "{\"old\": true}";
    ASSERT_TRUE(pxmtest::writeFile(dir.path("old.json"), old));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("old.json.gz"), old));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("plain-file"), old));
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.json"));
    const QStringList before =
        QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);

    // A file size limit makes the write itself fail part way, even for root.
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{256, limit.rlim_max};
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct Case {
        QString target;
        bool limited;
    };
    for (const Case& c :
         {Case{"folder.json", false}, Case{"plain-file/p.json", false}, Case{"missing/p.json.gz", false},
          Case{"old.json", true}, Case{"old.json.gz", true}}) {
        SCOPED_TRACE(c.target.toStdString());
        const QString target = dir.path(c.target);
        if (c.limited)
            setrlimit(RLIMIT_FSIZE, &small);
        try {
            ProjectSerializer::write(&sample.project, target, false);
            ADD_FAILURE() << "no error";
        } catch (const SerializationError& e) {
            EXPECT_EQ(e.message(), QString("Could not write '%1'.").arg(target));
            EXPECT_STREQ(e.what(), e.message().toUtf8().constData());
        }
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
        EXPECT_EQ(pxmtest::readFile(dir.path("old.json")), old);
        EXPECT_EQ(pxmtest::readFile(dir.path("old.json.gz")), old);
    }
    std::signal(SIGXFSZ, previousHandler);
}

TEST(ProjectFile, ReadOnlyDirectoryRefusesTheWrite) {
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only directories";
    SampleProject sample;
    pxmtest::TempDir dir;
    ASSERT_TRUE(pxmtest::writeFile(dir.path("p.json"), "old"));
    QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    EXPECT_THROW(ProjectSerializer::write(&sample.project, dir.path("p.json"), false), SerializationError);
    QFile::setPermissions(dir.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(pxmtest::readFile(dir.path("p.json")), "old");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}
