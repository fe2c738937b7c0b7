// SPDX-License-Identifier: MIT
#include "exchange/ExchangeTestSupport.h"
#include "exchange/LabelMeReader.h"
#include "exchange/LabelMeWriter.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QByteArray writeImage(pxm::LabeledImage* image) {
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    pxm::writeLabelMe(buffer, image);
    return data;
}

/// "name #rrggbb opacity" per label, in list order.
QStringList labelColors(const pxm::Project& project) {
    QStringList lines;
    for (const pxm::Label* label : project.labels())
        lines
            << QString("%1 %2 %3").arg(label->name(), label->color().name()).arg(label->opacity(), 0, 'f', 3);
    return lines;
}

TEST(LabelMeTest, WrittenAndHandWrittenFilesReadBack) {
    pxm::Project project;
    pxm::LabeledImage* image = pxmtest::addMemoryImage(project, 40, 30, 1, "/data/a.png");
    pxm::Label* cat = pxmtest::addLabel(project, "cat", 11, 1, Qt::red);
    pxm::Label* dog = pxmtest::addLabel(project, "dog", 12, 2, Qt::green);
    pxm::Scene* scene = image->scene(0);
    scene->addLabelItem(new QGraphicsRectItem(QRectF(10, 10, -4, -2)), cat);
    auto* ellipse = new QGraphicsEllipseItem(1, 2, 3, 4);
    ellipse->setPos(100, 100); // points stay in the item's own coordinates
    scene->addLabelItem(ellipse, dog);
    scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{0, 0}, {4, 0}, {4, 4}})), cat);
    scene->addLabelItem(new QGraphicsLineItem(1, 1, 5, 6), dog);
    QPainterPath path(QPointF(0, 0));
    path.lineTo(3, 3);
    scene->addLabelItem(new QGraphicsPathItem(path), dog);
    auto* orphan = new QGraphicsRectItem(0, 0, 1, 1);
    orphan->setData(pxm::LabelIdDataKey, 999);
    scene->addItem(orphan);

    // Topmost first; the path gets no points, the orphan is left out.
    const QByteArray expected = R"({
      "flags": {}, "imageData": null, "imageHeight": 30, "imagePath": "/data/a.png", "imageWidth": 40,
      "shapes": [
        {"fill_color": [255, 0, 255, 0], "flags": {}, "group_id": null, "label": "dog"},
        {"fill_color": [255, 0, 255, 0], "flags": {}, "group_id": null, "label": "dog",
         "points": [[1, 1], [5, 6]]},
        {"fill_color": [255, 255, 0, 0], "flags": {}, "group_id": null, "label": "cat",
         "points": [[0, 0], [4, 0], [4, 4]]},
        {"fill_color": [255, 0, 255, 0], "flags": {}, "group_id": null, "label": "dog",
         "points": [[1, 2], [4, 6]]},
        {"fill_color": [255, 255, 0, 0], "flags": {}, "group_id": null, "label": "cat",
         "points": [[6, 8], [10, 10]]}
      ],
      "version": "4.0.0"})";
    const QJsonDocument golden = QJsonDocument::fromJson(expected);
    ASSERT_FALSE(golden.isNull());
    EXPECT_EQ(QString(writeImage(image)), QString(golden.toJson(QJsonDocument::Indented)));

    pxm::Project bare;
    pxm::LabeledImage unsized(&bare);
    EXPECT_EQ(QJsonDocument::fromJson(writeImage(&unsized)).object().value("shapes").toArray().size(), 0);

    pxmtest::TempDir dir;
    // A file of the image "a.png" with the given items of its "shapes" array.
    const auto file = [](const QByteArray& shapes, const QByteArray& header = {}) {
        return "{" + header + R"("imagePath": "a.png", "shapes": [)" + shapes + "]}";
    };
    const QString a = dir.path("a.png") + " 0x0x1", json = dir.path("f.json");
    const QString notJson = "E %1 Expected a JSON document at '" + json + "'.";
    const QString point = R"({"imagePath": "a.png", "shapes": [{"label": "early", "fill_color": [1, 2, 3]}, )"
                          R"({"label": "x", "shape_type": "polygon", "points": %1}]})";
    const QString noType = "|log 'shape' item does not have a 'shape_type' attribute.";
    const QString pointFault =
        "E -1 Expected a 'point' to be a JSON array%1.|early #010203 1.000|x #000000 1.000" + noType;
    // After the images with their items, each label's colour, then the debug log: faults in single shapes go
    // there, and the image is added without the shape.
    pxmtest::expectReads<pxm::LabelMeReader>(
        dir, "f.json",
        {
            // The written file imports the labels, but no items.
            {"the file written above", writeImage(image),
             "/data/a.png 40x30x1|dog #00ff00 1.000|cat #ff0000 1.000" + noType.repeated(5)},
            // Out-of-range components are clamped; the fill colour wins over the line colour.
            {"every shape and colour form",
             file(R"({"label": "box", "points": [[30, 20], [10, 10]], "shape_type": "rectangle",
                 "line_color": [0, 0, 255], "fill_color": null, "group_id": null, "flags": {}},
                {"label": "ball", "points": [[10, 10], [30, 20]], "shape_type": "circle", "fill_color": [128, 255, 0, 0]},
                {"label": "area", "points": [[0, 0], [4, 0], [4, 4]], "shape_type": "polygon",
                 "line_color": [0, 255, 0, 128], "fill_color": [0, 300, 0]},
                {"label": "edge", "points": [[1, 1], [5, 6], [9, 9]], "shape_type": "line"},
                {"label": "box", "points": [[0, 0], [1, 1]], "shape_type": "rectangle", "line_color": [0, 0, 255]},
                {"label": "dot", "points": [[3, 3]], "shape_type": "point"})"),
             a + "|  box: rect 10 10 20 10|  ball: ellipse 10 10 20 10|  area: polygon 0,0 4,0 4,4|"
                 "  edge: line 1,1 5,6|  box: rect 0 0 1 1|box #0000ff 1.000|ball #ff0000 0.502|"
                 "area #00ff00 1.000|edge #000000 1.000|dot #000000 1.000|log Unsupported "
                 "'shape_type': point"},
            {"hostile numbers are bounded",
             file(R"({"label": "h", "shape_type": "polygon", "points": [[1e300, -1e300], [2.5, 3]]},
                {"label": "h", "shape_type": "line", "points": [[0, 0], [1e20, 1]]})",
                  R"("imageWidth": 1e300, "imageHeight": -5, )"),
             a + "|  h: polygon 1e+09,-1e+09 2.5,3|  h: line 0,0 1e+09,1|h #000000 1.000"},
            // Other tools write such files; the last value counts, and a replaced array must not leak.
            {"repeated keys keep their last value",
             file(
                 R"({"label": "x", "label": "cat", "shape_type": "rectangle", "points": [[0, 0]], "points": [[1, 2], [4, 6]]})",
                 R"("imagePath": [1], "shapes": [[2, 3], 4], )"),
             a + "|  cat: rect 1 2 3 4|cat #000000 1.000"},
            {"no label", file("{}"), a + "|log Missing 'label' attribute in 'shapes' object."},
            {"label no string", file(R"({"label": 3})"), a + "|log Expected 'label' to be a JSON string."},
            {"no shape type", file(R"({"label": "a"})"), a + "|a #000000 1.000" + noType},
            {"shape type no string", file(R"({"label": "a", "shape_type": 1})"),
             a + "|a #000000 1.000|log Expected 'shape_type' to be a string."},
            {"points no array", file(R"({"label": "a", "shape_type": "circle", "points": {}})"),
             a + "|a #000000 1.000|log Expected 'points' to be a JSON array."},
            {"one corner", file(R"({"label": "a", "shape_type": "rectangle", "points": [[1, 1]]})"),
             a + "|a #000000 1.000|log Expected at least two points for a 'rectangle' shape."},
            {"short colour", file(R"({"label": "a", "fill_color": [1, 2]})"),
             a + "|a #000000 1.000|log Expected at least 3 values for an RGB(A) color." + noType},
            {"colour of text", file(R"({"label": "a", "line_color": [1, "x", 2]})"),
             a + "|a #000000 1.000|log Expected only numbers for RGB(A) values." + noType},
            // Image data and the image's own path are taken from the file; a colour is set once per label.
            {"image data and path",
             R"({"imagePath": "pics/../pics/x.jpg", "imageData": "iVBORw0KGgo=", "imageHeight": 30, "imageWidth": 40,
               "shapes": [{"label": "box", "points": [[0, 0], [1, 1]], "shape_type": "rectangle"},
                          {"label": "dot", "fill_color": [1, 2, 3]}, {"label": "dot", "fill_color": [1, 2, 3]}]})",
             dir.path("pics/x.jpg") +
                 " 40x30x1|  box: rect 0 0 1 1|box #000000 1.000|dot #010203 1.000"
                 "|log The 'imageData' attribute is currently not supported." +
                 noType.repeated(2)},
            // Faults that end the file: labels pushed before them stay; the line is where the text stops
            // being JSON, 0-based.
            {"open object", "{", notJson.arg(0)},
            {"double comma",
             "{\n  \"imagePath\": \"a.png\",\n  \"shapes\": [\n    {\"label\": \"y\",,}\n  ]\n}\n",
             notJson.arg(3)},
            {"CRLF and a stray brace", "{\"imagePath\": \"a.png\",\r\n\"shapes\": []}\r\n\r\n}",
             notJson.arg(3)},
            {"array", "[]", "E -1 Expected a JSON object in '" + json + "'."},
            {"no image path", "{}", "E -1 Missing 'imagePath' key."},
            {"image path no string", R"({"imagePath": 5, "shapes": []})",
             "E -1 Expected 'imagePath' to be a string."},
            {"shapes no array", R"({"imagePath": "a.png", "shapes": {}})",
             "E -1 Expected 'shapes' to be a JSON array."},
            {"shape no object", R"({"imagePath": "a.png", "shapes": [{"label": "early"}, 5]})",
             "E -1 Expected 'shapes' items to be JSON objects.|early #000000 1.000" + noType},
            {"point no array", point.arg("[5]").toUtf8(), pointFault.arg("")},
            {"point of one number", point.arg("[[1]]").toUtf8(), pointFault.arg(" with two numbers")},
            {"point of text", point.arg(R"([[1, "a"]])").toUtf8(), pointFault.arg(" with two numbers")},
            {"point of three numbers", point.arg("[[1, 2, 3]]").toUtf8(),
             pointFault.arg(" with two numbers")},
            {"no file", {}, "E -1 Could not open '" + json + "'."},
        },
        labelColors);
}

TEST(LabelMeTest, ColoursOfExistingLabelsAndImagePaths) {
    struct Case {
        const char* name;
        QByteArray shape;
        int copies;
        QString expected;
        int recolourings;
    };
    const QList<Case> cases = {
        {"translucent fill", R"("fill_color": [128, 255, 0, 0])", 3, "cat #ff0000 0.502", 1},
        {"line colour when fill is absent", R"("line_color": [0, 255, 0])", 1, "cat #00ff00 1.000", 1},
        {"fill wins over line", R"("line_color": [0, 255, 0], "fill_color": [255, 0, 0])", 1,
         "cat #ff0000 1.000", 1},
        // Once the label has the fill colour, the line colour is the one that differs.
        {"then the line colour", R"("line_color": [0, 255, 0], "fill_color": [255, 0, 0])", 2,
         "cat #00ff00 1.000", 2},
        {"same colour, no change", R"("fill_color": [0, 0, 255])", 1, "cat #0000ff 1.000", 0},
        {"too long, unset", R"("fill_color": [1, 2, 3, 4, 5])", 1, "cat #0000ff 1.000", 0},
    };
    pxmtest::TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        pxm::Project project;
        pxmtest::addLabel(project, "cat", 11, 1, Qt::blue);
        QByteArrayList shapes;
        for (int i = 0; i < c.copies; ++i)
            shapes << (i % 2 ? R"({"label": " cat ", )" : R"({"label": "cat", )") + c.shape + "}";
        pxmtest::readText<pxm::LabelMeReader>(project, dir, "c.json",
                                              R"({"imagePath": "/abs/../x.png", "shapes": [)" +
                                                  shapes.join(", ") + "]}");
        EXPECT_EQ(labelColors(project), QStringList({c.expected}));
        ASSERT_EQ(project.images().size(), 1);
        EXPECT_EQ(project.images()[0]->imagePath(), "/abs/../x.png");
        // The file is one undo step, colour changes included; a colour is set once per label.
        EXPECT_EQ(project.undoStack()->command(0)->childCount(), 1 + c.recolourings);
        project.undoStack()->undo();
        EXPECT_EQ(labelColors(project), QStringList({"cat #0000ff 1.000"}));
    }
}

} // namespace
