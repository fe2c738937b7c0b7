// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonFileReader.h"
#include "persistence/JsonTextWriter.h"
#include "persistence/JsonTree.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "persistence/RecoveryFolder.h"
#include "persistence/RecoverySnapshot.h"
#include "persistence/VolumeShadow.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CRegistry.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/RecoveryScope.h"
#include "support/StoreBudget.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QUndoStack>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <sys/mount.h>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>

using namespace pxm;

using pxmtest::labelText;

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

/// The reader's message for a file (its what() must say the same), or "read" with the number of images.
QString readOutcome(const QString& path) {
    Project project;
    try {
        ProjectReader::read(path, &project);
        return QString("read %1").arg(project.images().size());
    } catch (const DeserializationError& e) {
        EXPECT_STREQ(e.what(), e.message().toUtf8().constData());
        return e.message();
    }
}

/// Erases one region of the first layer's mask, as the eraser tool does.
void erase(LabeledImage* image, const QRectF& region) {
    image->incUsage();
    MaskItem(image, 0).erase(region);
    image->decUsage();
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
        // A brush stroke (winding fill) and one an eraser cut a hole into (odd-even): both come back exactly.
        QPainterPath stroke;
        stroke.setFillRule(Qt::WindingFill);
        for (int i = 0; i < 30; ++i)
            stroke.addRect(QRect(4 + i, 6 + i % 5, 9, 9));
        scene->addLabelItem(new QGraphicsPathItem(stroke), road);
        QPainterPath hole;
        hole.addRect(QRectF(20, 9, 4, 4));
        QPainterPath corner;
        corner.addRect(QRectF(2, 2, 5, 5));
        scene->addLabelItem(
            new QGraphicsPathItem(stroke.subtracted(hole).simplified().subtracted(corner).simplified()),
            cell);
        volume->scene(2)->addLabelItem(new QGraphicsRectItem(0, 0, 1, 1), road);
        project.setSetting("View.cameraMode", "perImage");
        project.setSetting("Autosave.interval", 5);
        project.setCurrentImageIndex(1);
    }
};

// One item of each kind; keys in reading order, so a replaced first occurrence breaks the check that reads
// it.
const QByteArray kDocument = R"({"$type":"pxm::Project",
 "labels":[{"$type":"pxm::Label","name":"cell","color":{"$type":"QColor","red":1,"green":2,"blue":3,"alpha":255},
            "opacity":0.5,"id":7,"maskId":1}],
 "images":[{"$type":"pxm::LabeledImage","width":40,"height":30,"depth":1,"colorChannels":3,
   "imagePath":"i.png","maskPath":"",
   "scenes":[{"$type":"pxm::Scene","zLayer":0,"labelItems":[
     {"$type":"QGraphicsRectItem","rect":{"$type":"QRectF","x0":1,"x1":5,"y0":2,"y1":6},
      "sceneTransform":{"$type":"QTransform","values":[1,0,0,0,1,0,0,0,1]},"labelId":7},
     {"$type":"QGraphicsEllipseItem","rect":{"$type":"QRectF","x0":3,"x1":4,"y0":3,"y1":4},
      "sceneTransform":{"$type":"QTransform","values":[2,0,0,0,2,0,0,0,1]},"labelId":7},
     {"$type":"QGraphicsLineItem","line":{"$type":"QLineF","p0":{"$type":"QPointF","x":11,"y":12},
      "p1":{"$type":"QPointF","x":13,"y":14}},
      "sceneTransform":{"$type":"QTransform","values":[1,0,0,0,1,0,5,5,1]},"labelId":7},
     {"$type":"QGraphicsPolygonItem","polygon":{"$type":"QPolygonF","points":[{"$type":"QPointF","x":0,"y":0},
      {"$type":"QPointF","x":9,"y":0},{"$type":"QPointF","x":0,"y":9}]},
      "sceneTransform":{"$type":"QTransform","values":[1,0,0,0,1,0,0,0,1]},"labelId":7},
     {"$type":"QGraphicsPathItem","path":{"$type":"QPainterPath","polygons":[{"$type":"QPolygonF","points":[
      {"$type":"QPointF","x":0,"y":0},{"$type":"QPointF","x":8,"y":0},{"$type":"QPointF","x":8,"y":8},
      {"$type":"QPointF","x":0,"y":8},{"$type":"QPointF","x":0,"y":0},{"$type":"QPointF","x":2,"y":2},
      {"$type":"QPointF","x":6,"y":2},{"$type":"QPointF","x":6,"y":6},{"$type":"QPointF","x":2,"y":6},
      {"$type":"QPointF","x":2,"y":2},{"$type":"QPointF","x":0,"y":0}]}]},
      "sceneTransform":{"$type":"QTransform","values":[1,0,0,0,1,0,0,0,1]},"labelId":7}]}]}],
 "currentImageIndex":0,
 "settings":{"View.cameraMode":1,"Label.pen_width":0.25}})";

struct Declared {
    double width, height;
    int depth;
    int channels = 1;
};

/// A project of images with the declared sizes, each with `depth` empty scenes.
QByteArray document(const QList<Declared>& images) {
    QStringList entries;
    for (int i = 0; i < images.size(); ++i) {
        const Declared& d = images[i];
        QStringList scenes;
        for (int z = 0; z < d.depth; ++z)
            scenes << QString(R"({"$type":"pxm::Scene","zLayer":%1,"labelItems":[]})").arg(z);
        entries << QString::asprintf(
            R"({"$type":"pxm::LabeledImage","width":%.17g,"height":%.17g,"depth":%d,"colorChannels":%d,)"
            R"("imagePath":"i%d.png","scenes":[%s]})",
            d.width, d.height, d.depth, d.channels, i, qPrintable(scenes.join(',')));
    }
    const QByteArray head = R"({"$type":"pxm::Project","labels":[],"currentImageIndex":0,"images":[)";
    return head + entries.join(',').toUtf8() + "]}";
}

template <class Write> std::string jsonText(const Write& write) {
    std::string text;
    JsonTextWriter out([&text](std::string& piece) { text += piece; });
    write(out);
    out.finish();
    return text;
}

std::string serializerText(const Project& p) {
    return jsonText([&](JsonTextWriter& out) { ProjectSerializer::write(out, p); });
}

std::string snapshotText(const RecoverySnapshot& s) {
    return jsonText([&](JsonTextWriter& out) { s.writeProject(out); });
}

/// The document with each scene's items in a fixed order (a file read back stacks them the other way round).
QJsonObject normalised(const std::string& text) {
    return pxmtest::withSortedItems(QByteArray::fromStdString(text));
}

KYVO::CImage pattern(std::size_t w, std::size_t h, std::size_t d, int seed) {
    KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    for (std::size_t i = 0; i < image.byteCount(); ++i)
        image.data()[i] = uint8_t((i * 7 + std::size_t(seed)) % 5);
    return image;
}

class RecoveryTest : public ::testing::Test {
protected:
    pxmtest::RecoveryScope recovery;
    pxmtest::TempDir dir;
};

} // namespace

TEST(ProjectFile, RoundTripKeepsLabelsImagesAndItemsInQtsIndentedText) {
    // The sample project with text to escape, odd numbers and an empty path besides.
    SampleProject sample;
    Project& project = sample.project;
    const Project& original = project;
    Label* label = project.labels()[0];
    label->setName("a \"quoted\" \\ name\twith tab, é and \u20ac");
    label->setColor(QColor(1, 2, 3, 4));
    project.images()[0]->setImagePath("/data/C:\\images\\1\u00e4.tif");
    project.images()[1]->setMaskPath("/data/m\x01.pgm");
    Scene* scene = project.images()[1]->scene(0);
    scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF(QVector<QPointF>{{0.1, 1e-7}, {3e9, -2.5}})),
                        label);
    scene->addLabelItem(new QGraphicsPathItem, label);
    project.setSetting("Tools.list", QVariantList{1, "two", QVariantMap{{"z", 0.5}, {"a", QVariantList{}}}});
    project.setSetting("Label.name", "\"x\"");
    // Written in pieces of one byte or all at once, the text is what Qt makes of it.
    for (std::size_t pieceSize : {std::size_t(1), std::size_t(1) << 20}) {
        std::string text;
        int pieces = 0;
        JsonTextWriter out(
            [&](std::string& piece) {
                text += piece;
                ++pieces;
            },
            pieceSize);
        ProjectSerializer::write(out, project);
        out.finish();
        EXPECT_EQ(pieces > 1, pieceSize == 1);
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
        EXPECT_EQ(document.toJson(QJsonDocument::Indented).toStdString(), text);
    }
    pxmtest::TempDir dir;
    for (const QString name : {"p.json", "p.json.gz", "p.JSON.GZ"}) {
        SCOPED_TRACE(name.toStdString());
        ProjectSerializer::write(&sample.project, dir.path(name), false);
        // Only the lower-case ".gz" ending compresses.
        EXPECT_EQ(pxmtest::readFile(dir.path(name)).startsWith("\x1f\x8b"), name == "p.json.gz");
        Project read;
        ProjectReader::read(dir.path(name), &read);
        ASSERT_EQ(read.images().size(), 2);
        // Relative paths were meant from the current directory, outside the project's folder: kept absolute.
        EXPECT_EQ(read.images()[1]->imagePath(), QFileInfo("rel/volume.tif").absoluteFilePath());
        read.images()[1]->setImagePath("rel/volume.tif");
        // Labels to the last bit, images, items and settings: written again, the text is the same.
        EXPECT_EQ(normalised(serializerText(read)), normalised(serializerText(original)));
        for (int i = 0; i < 2; ++i) {
            const LabeledImage* a = original.images()[i];
            const LabeledImage* b = read.images()[i];
            EXPECT_EQ(b->imageState(), LabeledImage::ImageState::NotLoaded);
            // Regions, pen widths and all: the main output is the same after a reopen.
            const std::unique_ptr<KYVO::CImage> before(a->createLabelMask());
            const std::unique_ptr<KYVO::CImage> after(b->createLabelMask());
            ASSERT_TRUE(before && after);
            EXPECT_EQ(std::memcmp(before->data(), after->data(), before->byteCount()), 0)
                << "full mask of image " << i;
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
}

TEST(ProjectFile, ModifiedMaskGoesToTheCompanionOnceThenInPlace) {
    pxmtest::TempDir dir;
    const QString original = dir.path("cells.mask.pgm");
    KYVO::CImageIo2::Save(original.toStdString(), pattern(4, 3, 1, 2)); // 2 4 1 3 0 2 4 1 3 0 2 4
    const QByteArray originalBytes = pxmtest::readFile(original);
    Project project;
    auto* image = new LabeledImage(&project);
    image->setMaskPath(original);
    project.addImage(image);
    const QString companion = dir.path("cells_pxmtool.mask.pgm");
    for (std::size_t erased : {5, 7}) {
        SCOPED_TRACE(erased);
        erase(image, QRectF(erased % 4, erased / 4, 0, 0));
        ProjectSerializer::write(&project, dir.path("p.json"), false);
        EXPECT_TRUE(image->maskPath() == companion && image->usageCount() == 0u);
        std::unique_ptr<KYVO::CImage> saved(KYVO::CImageIo2::Load(companion.toStdString()));
        EXPECT_EQ(QList<int>({saved->data()[5], saved->data()[6], saved->data()[7]}),
                  QList<int>({0, 4, erased == 7 ? 0 : 1}));
    }
    EXPECT_EQ(pxmtest::readFile(original), originalBytes);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 3) << "mask, companion, project";
    // A save with the mask unchanged leaves its file alone (a read-only folder must not fail a shapes-only
    // save).
    ASSERT_TRUE(QFile::remove(companion));
    ProjectSerializer::write(&project, dir.path("p.json"), false);
    EXPECT_FALSE(QFile::exists(companion));
    ASSERT_TRUE(pxmtest::writeFile(companion, originalBytes));
    Project read;
    ProjectReader::read(dir.path("p.json"), &read);
    EXPECT_EQ(read.images()[0]->maskPath(), companion);
    // With overwriting allowed, the mask the image points at is replaced in place.
    image->setMaskPath(original);
    erase(image, QRectF(0, 0, 0, 0));
    ProjectSerializer::write(&project, dir.path("p.json"), true);
    EXPECT_EQ(image->maskPath(), original);
    std::unique_ptr<KYVO::CImage> replaced(KYVO::CImageIo2::Load(original.toStdString()));
    EXPECT_EQ(QList<int>({replaced->data()[0], replaced->data()[1]}), QList<int>({0, 4}));
}

TEST(ProjectFile, PathsFollowTheProjectFile) {
    pxmtest::TempDir root;
    const QString a = root.path("a"), b = root.path("b"), c = root.path("c");
    for (const QString& d : {a, b, c})
        ASSERT_TRUE(QDir().mkpath(d));
    const KYVO::CImage pixels = pattern(4, 3, 1, 2);
    for (const char* name : {"/img.pgm", "/mask.pgm"})
        KYVO::CImageIo2::Save((a + name).toStdString(), pixels);
    {
        Project project;
        LabeledImage* image = pxmtest::addImageByPath(project, a + "/img.pgm", 4, 3, 1);
        image->setMaskPath(a + "/mask.pgm");
        ProjectSerializer::write(&project, a + "/p.json", false);
    }
    // Paths inside the folder are written relative: a copy of the folder works on its own files, so its mask
    // edits go to a companion beside its own mask (the companion's name is the modified mask test's).
    for (const char* name : {"/img.pgm", "/mask.pgm", "/p.json"})
        ASSERT_TRUE(QFile::copy(a + name, b + name));
    {
        Project copy;
        ProjectReader::read(b + "/p.json", &copy);
        const LabeledImage* image = copy.images()[0];
        EXPECT_EQ(image->imagePath() + " " + image->maskPath(), b + "/img.pgm " + b + "/mask.pgm");
    }
    // Saved into another folder, the project still finds every image and mask.
    {
        Project project;
        ProjectReader::read(a + "/p.json", &project);
        ProjectSerializer::write(&project, c + "/q.json", false);
        Project moved;
        ProjectReader::read(c + "/q.json", &moved);
        const LabeledImage* image = moved.images()[0];
        EXPECT_EQ(image->imagePath() + " " + image->maskPath(), a + "/img.pgm " + a + "/mask.pgm");
    }
    // A file of an earlier version, whose relative paths were meant from the current directory, finds them
    // there.
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
    for (const char* name : {"old.json", "old.json.gz"})
        ASSERT_TRUE(pxmtest::writeFile(dir.path(name), old));
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.json") && QDir(dir.path()).mkdir("full"));
    const QByteArray full = QFile::encodeName(dir.path("full"));
    const bool mounted = ::mount("tmpfs", full.constData(), "tmpfs", 0, "size=4k") == 0;
    const QStringList before =
        QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    // A file size limit makes the write fail part way, even for root, and so does a full disk (where one can
    // be mounted); a read-only folder refuses it (not root).
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{256, limit.rlim_max};
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    enum Obstacle { None, SizeLimit, ReadOnly, FullDisk };
    for (const auto& [name, obstacle] : {std::pair{"folder.json", None},
                                         {"missing/p.json.gz", None},
                                         {"old.json", SizeLimit},
                                         {"old.json.gz", SizeLimit},
                                         {"old.json", ReadOnly},
                                         {"full/p.json", FullDisk}}) {
        SCOPED_TRACE(name);
        const QString target = dir.path(name);
        if ((obstacle == ReadOnly && geteuid() == 0) || (obstacle == FullDisk && !mounted))
            continue;
        if (obstacle == SizeLimit)
            setrlimit(RLIMIT_FSIZE, &small);
        if (obstacle == ReadOnly)
            QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        try {
            ProjectSerializer::write(&sample.project, target, false);
            ADD_FAILURE() << "no error";
        } catch (const SerializationError& e) {
            EXPECT_EQ(e.message(), QString("Could not write '%1'.").arg(target));
            EXPECT_STREQ(e.what(), e.message().toUtf8().constData());
            EXPECT_TRUE(obstacle != FullDisk || e.reason() == QString::fromLocal8Bit(std::strerror(ENOSPC)))
                << e.reason().toStdString();
        }
        setrlimit(RLIMIT_FSIZE, &limit);
        QFile::setPermissions(dir.path(),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
        EXPECT_TRUE(pxmtest::readFile(dir.path("old.json")) == old &&
                    pxmtest::readFile(dir.path("old.json.gz")) == old);
    }
    std::signal(SIGXFSZ, previousHandler);
    if (mounted)
        ::umount2(full.constData(), MNT_DETACH);
}

TEST(ProjectReader, ReportsTheFirstFailingCheck) {
    struct Case {
        QByteArray find, with;
        QString message;
    };
    // "Type: Expected 'key' to be what."
    const auto to = [](const char* type, const char* key, const char* what) {
        return QString("%1: Expected '%2' to be %3.").arg(type, key, what);
    };
    const auto number = [&](const char* type, const char* key) { return to(type, key, "a number"); };
    const auto missing = [](const char* type, const char* key) {
        return QString("%1: No '%2' entry found.").arg(type, key);
    };
    const auto typed = [](const char* type, const char* name) {
        return QString("%1: Expected a JSON object with '$type' '%2'.").arg(type, name);
    };
    const char *array = "an array", *whole32 = "a whole number within 32 bits",
               *size = "a whole number from 0 to 4294967295";
    const QString depth = "Image: The size of 'scenes' does not match the image's' depth.",
                  notJson = "Expected a JSON document at '%1'.";
    const QList<Case> cases = {
        {"pxm::Project", "Project", typed("Project", "Project")},
        {"\"labels\"", "\"labelz\"", missing("Project", "labels")},
        {"\"labels\":[", "\"labels\":7,\"l\":[", to("Project", "labels", array)},
        {"\"images\"", "\"imagez\"", missing("Project", "images")},
        {"\"images\":[", "\"images\":7,\"i\":[", to("Project", "images", array)},
        {"\"currentImageIndex\"", "\"x\"", missing("Project", "currentImageIndex")},
        {"\"currentImageIndex\":0", "\"currentImageIndex\":\"0\"", number("Project", "currentImageIndex")},
        {"\"settings\":{", "\"settings\":[],\"s\":{", to("Project", "settings", "an object")},
        {"pxm::Label", "Label", typed("Label", "Label")},
        {"\"name\":\"cell\"", "\"name\":null", to("Label", "name", "a string")},
        {"\"$type\":\"QColor\"", "\"$type\":\"QColour\"", typed("QColor", "QColor")},
        {"\"red\":1", "\"red\":true", number("QColor", "red")},
        {"\"green\":2", "\"grun\":2", number("QColor", "green")},
        {"\"blue\":3", "\"blue\":[3]", number("QColor", "blue")},
        {"\"alpha\":255", "\"alpha\":\"255\"", number("QColor", "alpha")},
        {"\"opacity\":0.5", "\"opacity\":\"half\"", number("Label", "opacity")},
        {"\"id\":7", "\"id\":\"7\"", number("Label", "id")},
        {"\"maskId\":1", "\"maskID\":1", number("Label", "maskId")},
        {"\"id\":7", "\"id\":1e20", to("Label", "id", whole32)},
        {"\"maskId\":1", "\"maskId\":1.5", to("Label", "maskId", whole32)},
        {"pxm::LabeledImage", "LabeledImage", typed("Image", "LabeledImage")},
        {"\"width\":40,", "", missing("Image", "width")},
        {"\"width\":40", "\"width\":\"40\"", number("Image", "width")},
        {"\"height\":30,", "", missing("Image", "height")},
        {"\"height\":30", "\"height\":{}", number("Image", "height")},
        {"\"depth\":1,", "", missing("Image", "depth")},
        {"\"depth\":1", "\"depth\":null", number("Image", "depth")},
        {"\"colorChannels\":3,", "", missing("Image", "colorChannels")},
        {"\"colorChannels\":3", "\"colorChannels\":false", number("Image", "colorChannels")},
        {"\"imagePath\":\"i.png\",", "", missing("Image", "imagePath")},
        {"\"imagePath\":\"i.png\"", "\"imagePath\":1", to("Image", "imagePath", "a string")},
        {"\"maskPath\":\"\"", "\"maskPath\":null", to("Image", "maskPath", "a string")},
        {"\"scenes\":[", "\"scenez\":[", missing("Image", "scenes")},
        {"\"scenes\":[", "\"scenes\":\"\",\"s\":[", to("Image", "scenes", array)},
        {"\"depth\":1", "\"depth\":3", depth},
        // Sizes no image can have: checked against the scenes before anything is created.
        {"\"depth\":1", "\"depth\":1e9", depth},
        {"\"depth\":1", "\"depth\":-1", depth},
        {"\"width\":40", "\"width\":-40", to("Image", "width", size)},
        {"\"height\":30", "\"height\":1e10", to("Image", "height", size)},
        {"pxm::Scene", "Scene", typed("Scene", "Scene")},
        {"\"zLayer\":0,", "", missing("Scene", "zLayer")},
        {"\"zLayer\":0", "\"zLayer\":\"0\"", number("Scene", "zLayer")},
        {"\"zLayer\":0", "\"zLayer\":1", "Scene: Expected another 'zLayer' at this point."},
        {"\"labelItems\"", "\"items\"", missing("Scene", "labelItems")},
        {"\"labelItems\":[", "\"labelItems\":0,\"a\":[", to("Scene", "labelItems", array)},
        {"QGraphicsRectItem", "QGraphicsSquareItem",
         "QGraphicsItem: Expected a JSON object with '$type' to be a known graphics item type."},
        {"\"$type\":\"QRectF\"", "\"$type\":\"QRect\"", typed("QRectF", "QRectF")},
        {"\"x0\":1", "\"x0\":\"1\"", number("QRectF", "x0")},
        {"\"x1\":5", "\"x1\":null", number("QRectF", "x1")},
        {"\"y0\":2", "\"y\":2", number("QRectF", "y0")},
        {"\"y1\":6", "\"y1\":[]", number("QRectF", "y1")},
        {"\"$type\":\"QTransform\"", "\"$type\":\"QMatrix\"", typed("QTransform", "QTransform")},
        {"[1,0,0,0,1,0,0,0,1]", "[1,0,0,0,1,0,0,0]",
         "QTransform: Expected 'values' to be a JSON array with 9 numbers."},
        {"[1,0,0,0,1,0,0,0,1]", "[1,0,0,0,1,0,0,0,\"1\"]",
         "QTransform: Expected 'values' to contain only numbers."},
        {"\"labelId\":7", "\"labelId\":\"7\"", number("QGraphicsItem", "labelId")},
        {"\"labelId\":7", "\"labelId\":4294967296", to("QGraphicsItem", "labelId", whole32)},
        {"\"$type\":\"QLineF\"", "\"$type\":\"QLine\"", typed("QLineF", "QLineF")},
        {"{\"$type\":\"QPointF\",\"x\":11", "{\"x\":11", typed("QPointF", "QPointF")},
        {"\"x\":11", "\"x\":\"11\"", number("QPointF", "x")},
        {"\"y\":12", "\"y\":null", number("QPointF", "y")},
        {"\"$type\":\"QPolygonF\"", "\"$type\":\"QPolygon\"", typed("QPolygonF", "QPolygonF")},
        {"\"points\":[", "\"points\":null,\"p\":[", to("QPolygonF", "points", array)},
        {"\"$type\":\"QPainterPath\"", "\"$type\":\"QPath\"", typed("QPainterPath", "QPainterPath")},
        {"\"polygons\":[", "\"polygons\":{},\"p\":[", to("QPainterPath", "polygons", array)},
        {"\"polygons\":[", "\"fillRule\":\"Even\",\"polygons\":[",
         to("QPainterPath", "fillRule", "'WindingFill' or 'OddEvenFill'")},
        {"\"maskId\":1", "\"maskId\":1,\"penWidth\":\"1\"", number("Label", "penWidth")},
        {"\"maskId\":1", "\"maskId\":1,\"secondaryOpacity\":null", number("Label", "secondaryOpacity")},
        // An empty find stands for a whole document of its own.
        {"", "[{\"$type\":\"pxm::Project\"}]", notJson},
        {"", "", notJson},
        {"\"Label.pen_width\":0.25}}", "\"Label.pen_width\":0.25}", notJson},
        {"", "{\"a\":" + QByteArray(3000, '[') + QByteArray(3000, ']') + "}", notJson},
    };
    pxmtest::TempDir dir;
    const QString fileName = dir.path("p.json");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message.toStdString() + " <- " + c.with.toStdString());
        const int at = kDocument.indexOf(c.find);
        ASSERT_TRUE(c.find.isEmpty() || at >= 0) << "no text to replace";
        const QByteArray text =
            c.find.isEmpty() ? c.with : QByteArray(kDocument).replace(at, c.find.size(), c.with);
        ASSERT_TRUE(pxmtest::writeFile(fileName, text));
        EXPECT_EQ(readOutcome(fileName), c.message.contains("%1") ? c.message.arg(fileName) : c.message);
    }
    // The file itself: missing, a directory, and damaged gzip data.
    for (const QString& missing : {dir.path("none.json"), dir.path("none.json.gz"), dir.path()})
        EXPECT_EQ(readOutcome(missing), QString("Could not open '%1'.").arg(missing));
    const QString broken = dir.path("broken.json.gz");
    ASSERT_TRUE(pxmtest::writeFile(broken, QByteArray::fromHex("1f8b0800000000000003abcc")));
    EXPECT_EQ(readOutcome(broken), QString("Could not read '%1'.").arg(broken));
}

TEST(ProjectReader, BuildsItemsAndCreatesLabelsForUnknownIds) {
    pxmtest::TempDir dir;
    // The items name label 42, which the label list lacks, and carry odd but harmless geometry.
    QByteArray text =
        QByteArray(kDocument).replace("\"labelId\":7", "\"labelId\":42").replace("\"x0\":1", "\"x0\":-1e300");
    text.replace("\"currentImageIndex\":0", "\"currentImageIndex\":1e300");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("p.json"), text));
    Project project;
    ProjectReader::read(dir.path("p.json"), &project);
    ASSERT_EQ(project.labels().size(), 2);
    const Label* created = project.labels()[1];
    // A label from before fill opacity and pen width were kept: the defaults from the settings at the file's
    // end.
    EXPECT_EQ(labelText(project.labels()[0]), "cell #ff010203 0.5 0.3 0.25 7 1");
    const LabeledImage* image = project.images()[0];
    EXPECT_EQ(std::tuple(created->id(), project.currentImageIndex(),
                         project.setting("View.cameraMode").toInt(), image->width(), image->colorChannels()),
              std::tuple(42, 0, 1, 40u, 3u));
    const QList<QGraphicsItem*> items = image->scene(0)->items(Qt::DescendingOrder);
    QList<int> types;
    for (const QGraphicsItem* item : items) {
        types << item->type();
        EXPECT_TRUE(labelIdOf(item) == 42 && item->toolTip() == created->name() && item->pos() == QPointF());
    }
    // The file lists items topmost first, and they stack that way again.
    ASSERT_EQ(types, (QList<int>{QGraphicsRectItem::Type, QGraphicsEllipseItem::Type, QGraphicsLineItem::Type,
                                 QGraphicsPolygonItem::Type, QGraphicsPathItem::Type}));
    EXPECT_EQ(static_cast<QGraphicsRectItem*>(items[0])->rect(), QRectF(QPointF(-1e300, 2), QPointF(5, 6)));
    EXPECT_EQ(items[1]->transform(), QTransform::fromScale(2, 2));
    EXPECT_EQ(static_cast<QGraphicsLineItem*>(items[2])->line(), QLineF(11, 12, 13, 14));
    EXPECT_EQ(items[2]->sceneTransform(), QTransform::fromTranslate(5, 5));
    EXPECT_EQ(static_cast<QGraphicsPolygonItem*>(items[3])->polygon(), QPolygonF({{0, 0}, {9, 0}, {0, 9}}));
    // Two nested squares in an old file without a fill rule: a brush's union, the inner one painted, not a
    // hole.
    const QPainterPath path = static_cast<QGraphicsPathItem*>(items[4])->path();
    EXPECT_TRUE(path.contains(QPointF(4, 4)) && path.boundingRect() == QRectF(0, 0, 8, 8));
}

// Sizes more than this machine could hold are refused before the scenes or volumes behind them exist.
TEST(ProjectLimits, AbsurdSizesAndSizesOverTheBudgetAreRefused) {
    // An image holds pixels, a mask and an erase overlay (channels + 2 bytes a voxel); a layer's scene 4 KiB.
    struct Case {
        std::uint64_t budget; // 0: the machine's
        QList<Declared> images;
        QString outcome;
    };
    const QString tooBig = "Image: The declared size %1 does not fit in the memory of this machine.";
    const QList<Case> cases = {
        {0, {{4294967295.0, 4294967295.0, 1}}, tooBig.arg("4294967295 x 4294967295 x 1")},
        {0, {{1 << 20, 1 << 20, 3, 3}}, tooBig.arg("1048576 x 1048576 x 3")},
        {0, {{2048, 2048, 3, 3}, {0, 0, 2}}, "read 2"}, // real sizes and unknown ones pass
        {1 << 20, {{512, 400, 1, 3}}, "read 1"},
        {1 << 20, {{512, 512, 1, 3}}, tooBig.arg("512 x 512 x 1")},
        {1 << 20, {{256, 256, 6, 1}}, tooBig.arg("256 x 256 x 6")},
        {1 << 20, {{1, 1, 200}, {1, 1, 50}}, "read 2"},
        {1 << 20, {{1, 1, 300}}, tooBig.arg("1 x 1 x 300")},
        // Each image fits alone; their scenes together do not.
        {1 << 20,
         {{1, 1, 200}, {1, 1, 56}, {1, 1, 1}},
         "Project: The images declare 257 z-layers or more, more than the memory of this machine can hold."},
    };
    pxmtest::TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.outcome.toStdString());
        const pxmtest::BudgetScope budget(c.budget);
        ASSERT_TRUE(pxmtest::writeFile(dir.path("p.json"), document(c.images)));
        EXPECT_EQ(readOutcome(dir.path("p.json")), c.outcome);
    }
}

TEST_F(RecoveryTest, ShadowCopiesOnlyStaleLayersAndCountsRealChanges) {
    KYVO::CImage live = pattern(16, 8, 4, 1);
    VolumeShadow shadow;
    // Until it is first marked, nothing is copied.
    EXPECT_EQ(shadow.refresh(&live, 100), 0u);
    ASSERT_FALSE(shadow.copy());
    shadow.markLayer(2);
    shadow.markAll();
    EXPECT_EQ(shadow.refresh(&live, 3), 1u) << "three of four layers per call";
    EXPECT_EQ(shadow.refresh(&live, 3), 0u);
    ASSERT_TRUE(shadow.copy());
    EXPECT_EQ(std::memcmp(shadow.copy()->data(), live.data(), live.byteCount()), 0);
    EXPECT_TRUE(shadow.changedSinceSave()) << "what was there before the first mark is unknown";
    shadow.markSaved();
    EXPECT_FALSE(shadow.changedSinceSave());
    // A layer marked but equal is no change; a changed layer that was not marked stays out.
    shadow.markLayer(1);
    live.layer(3)[0] ^= 1;
    EXPECT_EQ(shadow.refresh(&live, 100), 0u);
    EXPECT_FALSE(shadow.changedSinceSave());
    EXPECT_NE(shadow.copy()->layer(3)[0], live.layer(3)[0]);
    shadow.markLayer(3);
    shadow.refresh(&live, 100);
    EXPECT_TRUE(shadow.changedSinceSave());
    EXPECT_EQ(std::memcmp(shadow.copy()->data(), live.data(), live.byteCount()), 0);
    // A writer holding the copy keeps it unchanged; the marks wait.
    shadow.beginWrite("mask.okav.gz");
    EXPECT_FALSE(shadow.changedSinceWrite());
    const std::shared_ptr<const KYVO::CImage> held = shadow.copy();
    live.layer(0)[5] ^= 2;
    shadow.markLayer(0);
    EXPECT_EQ(shadow.refresh(&live, 100), 1u);
    EXPECT_NE(held->layer(0)[5], live.layer(0)[5]);
    shadow.endWrite(false);
    EXPECT_TRUE(shadow.changedSinceWrite()) << "a failed write leaves the copy unwritten";
    EXPECT_TRUE(shadow.file().isEmpty());
}

TEST_F(RecoveryTest, FrozenSnapshotIsOfferedOnlyWhenItsWriterIsGoneAndTheNewestRestoresExactly) {
    SampleProject sample;
    Project& project = sample.project;
    LabeledImage* volume = project.images()[1];
    volume->setImagePath("/data/volume.tif");
    const KYVO::CImage mask = pattern(32, 32, 3, 2);
    volume->setMaskPath(dir.path("stack_mask.okav.gz"));
    KYVO::CImageIo2::Save(dir.localPath("stack_mask.okav.gz"), pattern(32, 32, 3, 0));
    volume->setMask(new KYVO::CImage(mask), true, false);
    KYVO::CImage overlay(KYVO::IMAGE_GREY_8, mask.size());
    overlay.layer(1)[3] = 2;
    std::memcpy(volume->eraseOverlay()->data(), overlay.data(), overlay.byteCount());
    VolumeShadow maskShadow, overlayShadow;
    maskShadow.markAll();
    overlayShadow.markAll();
    maskShadow.refresh(volume->mask(), 100);
    overlayShadow.refresh(volume->eraseOverlay(), 100);
    // A project opened by a relative path: the snapshot keeps the absolute one, so recovery saves there.
    const QString started = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    project.setPath("study.json.gz");
    RecoverySnapshot first;
    first.capture(project);
    QDir::setCurrent(started);
    project.setPath(dir.path("study.json.gz"));
    EXPECT_EQ(first.itemCount(), 8u);
    // The copy is frozen: later edits of the project do not reach it.
    const std::string captured = serializerText(project);
    project.labels()[1]->setName("renamed");
    delete project.images()[0]->scene(0)->items().first();
    EXPECT_EQ(snapshotText(first), captured);
    EXPECT_NE(serializerText(project), captured);
    auto owner = std::make_unique<RecoveryFolder>();
    QString error;
    ASSERT_TRUE(owner->create(&error)) << error.toStdString();
    first.addVolume({1, false, maskShadow.copy(), "mask-1.okav.gz", false});
    first.addVolume({1, true, overlayShadow.copy(), "overlay-1.okav.gz", false});
    first.writeTo(owner->path(), 1);
    // A newer snapshot replaces the older one and keeps the volumes it did not change.
    RecoverySnapshot second;
    second.capture(project);
    second.addVolume({1, false, maskShadow.copy(), "mask-1.okav.gz", true});
    second.addVolume({1, true, overlayShadow.copy(), "overlay-1.okav.gz", true});
    second.writeTo(owner->path(), 2);
    EXPECT_EQ(
        QDir(owner->path()).entryList(QDir::Files, QDir::Name),
        QStringList({"lock", "mask-1.okav.gz", "overlay-1.okav.gz", "project-2.json.gz", "snapshot.json"}));
    EXPECT_EQ(pxmtest::readFile(QDir(owner->path()).filePath("lock")).trimmed(),
              QByteArray::number(QCoreApplication::applicationPid()));
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty()) << "a running writer's snapshot is not offered";
    EXPECT_FALSE(RecoveryFolder::discard(owner->path()));
    const QString folder = owner->path();
    owner.reset(); // as if the writer had ended without a word
    const QList<RecoveryFolder::Entry> offered = RecoveryFolder::orphaned();
    ASSERT_EQ(offered.size(), 1);
    EXPECT_EQ(QStringList({offered[0].folder, offered[0].description.projectPath}),
              QStringList({folder, dir.path("study.json.gz")}));
    EXPECT_EQ(offered[0].description.time, second.time());
    Project recovered;
    EXPECT_EQ(RecoveryFolder::restore(offered[0], &recovered), QList<int>{1});
    EXPECT_EQ(QStringList({recovered.path(), recovered.images()[1]->maskPath()}),
              QStringList({dir.path("study.json.gz"), dir.path("stack_mask.okav.gz")}));
    EXPECT_FALSE(recovered.undoStack()->isClean()) << "recovered work counts as unsaved";
    // Items (painted regions included), labels and settings as the project had them.
    RecoverySnapshot again;
    again.capture(recovered);
    EXPECT_EQ(normalised(snapshotText(again)), normalised(serializerText(project)));
    // Mask and overlay voxel by voxel.
    LabeledImage* back = recovered.images()[1];
    ASSERT_TRUE(back->mask() && back->eraseOverlay());
    EXPECT_TRUE(std::memcmp(back->mask()->data(), mask.data(), mask.byteCount()) == 0 &&
                std::memcmp(back->eraseOverlay()->data(), overlay.data(), overlay.byteCount()) == 0);
    // A snapshot that never got its description is not offered.
    QFile::remove(QDir(folder).filePath("snapshot.json"));
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty());
    EXPECT_TRUE(RecoveryFolder::discard(folder));
    EXPECT_FALSE(QFileInfo::exists(folder));
}

// QJsonDocument is the reference: the same texts must pass and give the same values.
TEST(JsonTree, AcceptsAndReadsWhatQtDoes) {
    const QList<QByteArray> texts = {
        "{}", " \t\r\n[ ]\n",
        "{\"a\": [1, -0, 0.5, -2.25e3, 1E+2, 1e-5, 1., .5, -.5], \"b\": {\"c\": null, \"d\": [true, false]}}",
        "{\"s\": \"quote \\\" backslash \\\\ slash \\/ \\b\\f\\n\\r\\t \\u00e9 \\ud83d\\ude00 \\x \\ud800\"}",
        "{\"utf8\": \"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\", \"raw\": \"tab\there\", \"del\": \"\x7f\"}",
        // The first and last code points that take four bytes.
        "[\"\xf0\x90\x80\x80\", \"\xf4\x8f\xbf\xbf\"]", "[\"\xf0\x8f\xbf\xbf\"]",
        "{\"a\": 1, \"a\": 2, \"\\u0061\": 3}", "\xef\xbb\xbf{\"bom\": 1}",
        "[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]",
        "{\"big\": 1e308, \"tiny\": 5e-324, \"long\": 12345678901234567890}",
        // Refused by both:
        "", "   ", "{\"a\": [1, 2,]}", "{\"a\": 01}", "{\"a\": +1}", "{\"a\": -}", "{\"a\": 1e}",
        "{\"a\": .}", "{\"a\": \"\\u12\"}", "{\"a\": \"\xff\"}", "{\"a\": \"\xc0\x80\"}",
        "{\"a\": \"\xed\xa0\x80\"}", "{\"a\": \"\xf4\x90\x80\x80\"}", "{\"a\": \"\xe2\x82\"}", "{\"a\": tru}",
        "{\"a\": nul}", "{\"a\": 1} x", "{\"a\": 1e999}", "{\"a\": 1e-400}", "{\"a\" 1}", "{1: 2}", "{,}",
        "[,]", "{\"a\": \"unterminated}", "{\"a\": [1}", QByteArray(1025, '[') + QByteArray(1025, ']'),
        QByteArray(1000, '[') + QByteArray(1000, ']'),
        // White space that keeps tokens apart must survive compaction.
        "{\"a\": tr ue}", "{\"a\": [1 2]}", "{\"a\": - 1}", "{\"a\": 1 .5}", "{\"a\" \"b\": 1}",
        "{\"a\": \"in \\\" string  \\\\\", \"b\" :\n [ 1 , 2 ] }"};
    for (const QByteArray& text : texts) {
        SCOPED_TRACE(text.left(120).toStdString());
        // The reader parses text compacted piece by piece; pieces of one byte test every seam.
        QByteArray compacted;
        JsonFileReader::Compactor compactor;
        for (const char c : text)
            compactor.append(&c, 1, &compacted);
        JsonTree tree;
        const bool mine = tree.parse(compacted);
        EXPECT_EQ(JsonTree().parse(text), mine);
        QJsonParseError error{};
        const QJsonDocument qt = QJsonDocument::fromJson(text, &error);
        // Qt documents hold an object or an array; other roots the reader refuses as well.
        const bool qtAccepts = error.error == QJsonParseError::NoError;
        ASSERT_EQ(mine && (tree.root().isObject() || tree.root().isArray()), qtAccepts);
        if (!qtAccepts)
            continue;
        const QJsonValue value = tree.root().toQJsonValue();
        const QJsonDocument again =
            value.isObject() ? QJsonDocument(value.toObject()) : QJsonDocument(value.toArray());
        EXPECT_EQ(again.toJson(), qt.toJson());
    }
}

// Qt's JSON writer is the reference: every number must print as QJsonDocument prints it.
TEST(JsonTextWriter, PrintsNumbersAsQtDoes) {
    using L = std::numeric_limits<double>;
    QList<double> numbers = {0.0, -0.0, 1, -1, 0.5, 0.1, 0.0001, 0.00012345, 1e-5, -1.5e-7, 123456789.5,
                             4294967295.0, 1e15, 1e17, 9007199254740993.0, 1e20, 0.30000000000000004,
                             // The ends of the range, and neighbours of numbers with short forms.
                             5e-324, 1e-300, -9223372036854775808.0, 9223372036854775808.0,
                             -1.7976931348623157e308, L::denorm_min(), std::nextafter(1.0, 2.0),
                             std::nextafter(0.0001, 0.0)};
    QRandomGenerator random(3);
    for (int i = 0; i < 5000; ++i) {
        // Mantissas of every length across the whole exponent range, and plain coordinates.
        const double mantissa = random.generateDouble() * 2 - 1;
        numbers << std::ldexp(mantissa, int(random.bounded(-1074, 1024))) << mantissa * 4096
                << std::round(mantissa * 1e6) / 1e3;
    }
    for (const double number : numbers) {
        std::string mine;
        JsonTextWriter::appendNumber(mine, number);
        const QByteArray qt = QJsonDocument(QJsonArray{number}).toJson(QJsonDocument::Compact);
        ASSERT_EQ(mine, qt.mid(1, qt.size() - 2).toStdString()) << "for " << number;
    }
    std::string text;
    JsonTextWriter::appendNumber(text, std::nan(""));
    EXPECT_EQ(text, "null");
}
