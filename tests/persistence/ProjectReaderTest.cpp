// SPDX-License-Identifier: MIT
#include "persistence/ProjectReader.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"

#include <QGraphicsItem>
#include <gtest/gtest.h>

using namespace pxm;

namespace {

// A valid document with one item of each kind. Keys stand in reading order, so replacing
// the first occurrence of a text breaks exactly the check that reads it first.
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

QByteArray replaced(const QByteArray& find, const QByteArray& with) {
    const int at = kDocument.indexOf(find);
    return at < 0 ? QByteArray() : QByteArray(kDocument).replace(at, find.size(), with);
}

} // namespace

TEST(ProjectReader, ReportsTheFirstFailingCheck) {
    struct Case {
        QByteArray find, with;
        QString message;
    };
    const QList<Case> cases = {
        {"pxm::Project", "Project", "Project: Expected a JSON object with '$type' 'Project'."},
        {"\"labels\"", "\"labelz\"", "Project: No 'labels' entry found."},
        {"\"labels\":[", "\"labels\":7,\"l\":[", "Project: Expected 'labels' to be an array."},
        {"\"images\"", "\"imagez\"", "Project: No 'images' entry found."},
        {"\"images\":[", "\"images\":7,\"i\":[", "Project: Expected 'images' to be an array."},
        {"\"currentImageIndex\"", "\"x\"", "Project: No 'currentImageIndex' entry found."},
        {"\"currentImageIndex\":0", "\"currentImageIndex\":\"0\"",
         "Project: Expected 'currentImageIndex' to be a number."},
        {"\"settings\":{", "\"settings\":[],\"s\":{", "Project: Expected 'settings' to be an object."},
        {"pxm::Label", "Label", "Label: Expected a JSON object with '$type' 'Label'."},
        {"\"name\":\"cell\"", "\"name\":null", "Label: Expected 'name' to be a string."},
        {"\"$type\":\"QColor\"", "\"$type\":\"QColour\"",
         "QColor: Expected a JSON object with '$type' 'QColor'."},
        {"\"red\":1", "\"red\":true", "QColor: Expected 'red' to be a number."},
        {"\"green\":2", "\"grun\":2", "QColor: Expected 'green' to be a number."},
        {"\"blue\":3", "\"blue\":[3]", "QColor: Expected 'blue' to be a number."},
        {"\"alpha\":255", "\"alpha\":\"255\"", "QColor: Expected 'alpha' to be a number."},
        {"\"opacity\":0.5", "\"opacity\":\"half\"", "Label: Expected 'opacity' to be a number."},
        {"\"id\":7", "\"id\":\"7\"", "Label: Expected 'id' to be a number."},
        {"\"maskId\":1", "\"maskID\":1", "Label: Expected 'maskId' to be a number."},
        {"\"id\":7", "\"id\":1e20", "Label: Expected 'id' to be a whole number within 32 bits."},
        {"\"maskId\":1", "\"maskId\":1.5", "Label: Expected 'maskId' to be a whole number within 32 bits."},
        {"pxm::LabeledImage", "LabeledImage", "Image: Expected a JSON object with '$type' 'LabeledImage'."},
        {"\"width\":40,", "", "Image: No 'width' entry found."},
        {"\"width\":40", "\"width\":\"40\"", "Image: Expected 'width' to be a number."},
        {"\"height\":30,", "", "Image: No 'height' entry found."},
        {"\"height\":30", "\"height\":{}", "Image: Expected 'height' to be a number."},
        {"\"depth\":1,", "", "Image: No 'depth' entry found."},
        {"\"depth\":1", "\"depth\":null", "Image: Expected 'depth' to be a number."},
        {"\"colorChannels\":3,", "", "Image: No 'colorChannels' entry found."},
        {"\"colorChannels\":3", "\"colorChannels\":false", "Image: Expected 'colorChannels' to be a number."},
        {"\"imagePath\":\"i.png\",", "", "Image: No 'imagePath' entry found."},
        {"\"imagePath\":\"i.png\"", "\"imagePath\":1", "Image: Expected 'imagePath' to be a string."},
        {"\"maskPath\":\"\"", "\"maskPath\":null", "Image: Expected 'maskPath' to be a string."},
        {"\"scenes\":[", "\"scenez\":[", "Image: No 'scenes' entry found."},
        {"\"scenes\":[", "\"scenes\":\"\",\"s\":[", "Image: Expected 'scenes' to be an array."},
        {"\"depth\":1", "\"depth\":3", "Image: The size of 'scenes' does not match the image's' depth."},
        // Sizes no image can have: checked against the scenes before anything is created.
        {"\"depth\":1", "\"depth\":1e9", "Image: The size of 'scenes' does not match the image's' depth."},
        {"\"depth\":1", "\"depth\":-1", "Image: The size of 'scenes' does not match the image's' depth."},
        {"\"width\":40", "\"width\":-40",
         "Image: Expected 'width' to be a whole number from 0 to 4294967295."},
        {"\"height\":30", "\"height\":1e10",
         "Image: Expected 'height' to be a whole number from 0 to 4294967295."},
        {"pxm::Scene", "Scene", "Scene: Expected a JSON object with '$type' 'Scene'."},
        {"\"zLayer\":0,", "", "Scene: No 'zLayer' entry found."},
        {"\"zLayer\":0", "\"zLayer\":\"0\"", "Scene: Expected 'zLayer' to be a number."},
        {"\"zLayer\":0", "\"zLayer\":1", "Scene: Expected another 'zLayer' at this point."},
        {"\"labelItems\"", "\"items\"", "Scene: No 'labelItems' entry found."},
        {"\"labelItems\":[", "\"labelItems\":0,\"a\":[", "Scene: Expected 'labelItems' to be an array."},
        {"QGraphicsRectItem", "QGraphicsSquareItem",
         "QGraphicsItem: Expected a JSON object with '$type' to be a known graphics item type."},
        {"\"$type\":\"QRectF\"", "\"$type\":\"QRect\"",
         "QRectF: Expected a JSON object with '$type' 'QRectF'."},
        {"\"x0\":1", "\"x0\":\"1\"", "QRectF: Expected 'x0' to be a number."},
        {"\"x1\":5", "\"x1\":null", "QRectF: Expected 'x1' to be a number."},
        {"\"y0\":2", "\"y\":2", "QRectF: Expected 'y0' to be a number."},
        {"\"y1\":6", "\"y1\":[]", "QRectF: Expected 'y1' to be a number."},
        {"\"$type\":\"QTransform\"", "\"$type\":\"QMatrix\"",
         "QTransform: Expected a JSON object with '$type' 'QTransform'."},
        {"[1,0,0,0,1,0,0,0,1]", "[1,0,0,0,1,0,0,0]",
         "QTransform: Expected 'values' to be a JSON array with 9 numbers."},
        {"[1,0,0,0,1,0,0,0,1]", "[1,0,0,0,1,0,0,0,\"1\"]",
         "QTransform: Expected 'values' to contain only numbers."},
        {"\"labelId\":7", "\"labelId\":\"7\"", "QGraphicsItem: Expected 'labelId' to be a number."},
        {"\"labelId\":7", "\"labelId\":4294967296",
         "QGraphicsItem: Expected 'labelId' to be a whole number within 32 bits."},
        {"\"$type\":\"QLineF\"", "\"$type\":\"QLine\"",
         "QLineF: Expected a JSON object with '$type' 'QLineF'."},
        {"{\"$type\":\"QPointF\",\"x\":11", "{\"x\":11",
         "QPointF: Expected a JSON object with '$type' 'QPointF'."},
        {"\"x\":11", "\"x\":\"11\"", "QPointF: Expected 'x' to be a number."},
        {"\"y\":12", "\"y\":null", "QPointF: Expected 'y' to be a number."},
        {"\"$type\":\"QPolygonF\"", "\"$type\":\"QPolygon\"",
         "QPolygonF: Expected a JSON object with '$type' 'QPolygonF'."},
        {"\"points\":[", "\"points\":null,\"p\":[", "QPolygonF: Expected 'points' to be an array."},
        {"\"$type\":\"QPainterPath\"", "\"$type\":\"QPath\"",
         "QPainterPath: Expected a JSON object with '$type' 'QPainterPath'."},
        {"\"polygons\":[", "\"polygons\":{},\"p\":[", "QPainterPath: Expected 'polygons' to be an array."},
        {"\"polygons\":[", "\"fillRule\":\"Even\",\"polygons\":[",
         "QPainterPath: Expected 'fillRule' to be 'WindingFill' or 'OddEvenFill'."},
        {"\"maskId\":1", "\"maskId\":1,\"penWidth\":\"1\"", "Label: Expected 'penWidth' to be a number."},
        {"\"maskId\":1", "\"maskId\":1,\"secondaryOpacity\":null",
         "Label: Expected 'secondaryOpacity' to be a number."},
        // An empty find stands for a whole document of its own.
        {"", "[{\"$type\":\"pxm::Project\"}]", "Expected a JSON document at '%1'."},
        {"", "", "Expected a JSON document at '%1'."},
        {"\"Label.pen_width\":0.25}}", "\"Label.pen_width\":0.25}",
         "Expected a JSON document at '%1'."},
        {"", "{\"a\":" + QByteArray(3000, '[') + QByteArray(3000, ']') + "}",
         "Expected a JSON document at '%1'."},
    };
    pxmtest::TempDir dir;
    const QString fileName = dir.path("p.json");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message.toStdString() + " <- " + c.with.toStdString());
        const QByteArray text = c.find.isEmpty() ? c.with : replaced(c.find, c.with);
        ASSERT_TRUE(c.find.isEmpty() || !text.isEmpty()) << "no text to replace";
        ASSERT_TRUE(pxmtest::writeFile(fileName, text));
        Project project;
        try {
            ProjectReader::read(fileName, &project);
            ADD_FAILURE() << "no error";
        } catch (const DeserializationError& e) {
            EXPECT_EQ(e.message(), c.message.contains("%1") ? c.message.arg(fileName) : c.message);
        }
    }

    // The file itself: missing, a directory, and damaged gzip data.
    ASSERT_TRUE(
        pxmtest::writeFile(dir.path("broken.json.gz"), QByteArray::fromHex("1f8b0800000000000003abcc")));
    const QList<QPair<QString, QString>> files = {{dir.path("none.json"), "Could not open '%1'."},
                                                  {dir.path("none.json.gz"), "Could not open '%1'."},
                                                  {dir.path(), "Could not open '%1'."},
                                                  {dir.path("broken.json.gz"), "Could not read '%1'."}};
    for (const auto& file : files) {
        SCOPED_TRACE(file.first.toStdString());
        Project project;
        try {
            ProjectReader::read(file.first, &project);
            ADD_FAILURE() << "no error";
        } catch (const DeserializationError& e) {
            EXPECT_EQ(e.message(), file.second.arg(file.first));
            EXPECT_STREQ(e.what(), e.message().toUtf8().constData());
        }
    }
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
    EXPECT_EQ(created->id(), 42);
    EXPECT_EQ(project.labels()[0]->name(), "cell");
    EXPECT_EQ(project.labels()[0]->color(), QColor(1, 2, 3));
    EXPECT_DOUBLE_EQ(project.labels()[0]->opacity(), 0.5);
    EXPECT_EQ(project.currentImageIndex(), 0);
    EXPECT_EQ(project.setting("View.cameraMode").toInt(), 1);

    const LabeledImage* image = project.images()[0];
    EXPECT_EQ(image->width(), 40u);
    EXPECT_EQ(image->colorChannels(), 3u);
    const QList<QGraphicsItem*> items = image->scene(0)->items(Qt::DescendingOrder);
    ASSERT_EQ(items.size(), 5);
    QList<int> types;
    for (const QGraphicsItem* item : items) {
        types << item->type();
        EXPECT_EQ(labelIdOf(item), 42);
        EXPECT_EQ(item->toolTip(), created->name());
        EXPECT_EQ(item->pos(), QPointF());
    }
    // The file lists items topmost first, and they stack that way again.
    EXPECT_EQ(types, (QList<int>{QGraphicsRectItem::Type, QGraphicsEllipseItem::Type, QGraphicsLineItem::Type,
                                 QGraphicsPolygonItem::Type, QGraphicsPathItem::Type}));
    EXPECT_EQ(static_cast<QGraphicsRectItem*>(items[0])->rect(), QRectF(QPointF(-1e300, 2), QPointF(5, 6)));
    EXPECT_EQ(items[1]->transform(), QTransform::fromScale(2, 2));
    EXPECT_EQ(static_cast<QGraphicsLineItem*>(items[2])->line(), QLineF(11, 12, 13, 14));
    EXPECT_EQ(items[2]->sceneTransform(), QTransform::fromTranslate(5, 5));
    EXPECT_EQ(static_cast<QGraphicsPolygonItem*>(items[3])->polygon(), QPolygonF({{0, 0}, {9, 0}, {0, 9}}));
    // Two nested squares: from an old file without a fill rule, only rectangles mean a
    // brush's union, so the inner square is painted over, not a hole.
    const QPainterPath path = static_cast<QGraphicsPathItem*>(items[4])->path();
    EXPECT_TRUE(path.contains(QPointF(4, 4)));
    EXPECT_EQ(path.boundingRect(), QRectF(0, 0, 8, 8));
    // A label from before fill opacity and pen width were kept gets the project's defaults,
    // read from the settings at the file's end.
    EXPECT_DOUBLE_EQ(project.labels()[0]->penWidth(), 0.25);
    EXPECT_DOUBLE_EQ(project.labels()[0]->secondaryOpacity(), 0.3);
}
