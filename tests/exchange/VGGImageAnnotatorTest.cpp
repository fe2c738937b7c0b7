// SPDX-License-Identifier: MIT
#include "exchange/ExchangeTestSupport.h"
#include "exchange/VGGImageAnnotatorWriter.h"

#include <QJsonDocument>

namespace {

TEST(VGGImageAnnotatorTest, WriterGoldenOutputKeyedByFileName) {
    pxm::Project project;
    pxm::Label* cat = pxmtest::addLabel(project, "cat", 11, 1);
    pxm::Label* dog = pxmtest::addLabel(project, "dog", 12, 2);
    // A volume is left out; a later image of the same file name replaces an earlier one.
    for (const auto& [path, depth] : {std::pair{"/d0/volume.tif", 3}, std::pair{"/d0/same.png", 1}}) {
        pxm::LabeledImage* earlier = pxmtest::addMemoryImage(project, 8, 8, depth, path);
        earlier->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), cat);
    }
    pxm::LabeledImage* image = pxmtest::addMemoryImage(project, 50, 40, 1, "/d1/same.png");
    pxm::Scene* scene = image->scene(0);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{0, 0}, {4.4, 0}, {4.6, 3.5}}));
    polygon->setPos(10, 0);
    scene->addLabelItem(polygon, cat);
    auto* rotated = new QGraphicsRectItem(1, 1, 2, 2);
    rotated->setRotation(90);
    scene->addLabelItem(rotated, dog);
    scene->addLabelItem(new QGraphicsEllipseItem(0, 0, 5, 5), cat);
    scene->addLabelItem(new QGraphicsLineItem(0, 0, 5, 5), cat);

    const QByteArray expected = R"({"same.png": {
      "base64_image_data": "", "file_attributes": {}, "fileref": "", "filename": "same.png", "size": 0,
      "regions": {
        "0": {"region_attributes": {"name": "dog"},
              "shape_attributes": {"all_points_x": [-1, -1, -3, -3], "all_points_y": [1, 3, 3, 1], "name": "polygon"}},
        "1": {"region_attributes": {"name": "cat"},
              "shape_attributes": {"all_points_x": [10, 14, 15], "all_points_y": [0, 0, 4], "name": "polygon"}}
      }}})";
    const QJsonDocument golden = QJsonDocument::fromJson(expected);
    ASSERT_FALSE(golden.isNull());
    pxmtest::TempDir dir;
    pxm::VGGImageAnnotatorWriter writer(&project, dir.path("out.vgg.json"));
    EXPECT_EQ(QString(pxmtest::readFile(dir.path("out.vgg.json"))),
              QString(golden.toJson(QJsonDocument::Indented)));
}

} // namespace
