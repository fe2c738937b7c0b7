// SPDX-License-Identifier: MIT
#include "../segment/SegmentTestSupport.h"
#include "ExchangeTestSupport.h"
#include "exchange/CocoReader.h"
#include "exchange/LabelMeWriter.h"
#include "exchange/dataset/CocoFormat.h"
#include "exchange/dataset/DatasetExport.h"
#include "exchange/dataset/DatasetInstances.h"
#include "exchange/dataset/YoloFormat.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"

#include <QBuffer>
#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <nifti1_io.h>
#include <tiffio.h>

using namespace pxmtest;

namespace {

/// A 2D image (80 x 60) with a rectangle, a rotated polygon, an ellipse and a painted region of
/// "Cell" (mask id 1), a rectangle of "Nucleus" (mask id 3), a line, a shape wholly outside and a
/// loaded mask with two regions of mask id 3; and a two-layer volume with one rectangle on z 1.
class DatasetExportTest : public ::testing::Test {
public:
    void SetUp() override {
        cell = addLabel(project, "Cell", 1, 1);
        addLabel(project, "Cell too", 2, 1); // shares the mask id: one category, named "Cell"
        nucleus = addLabel(project, "Nucleus", 3, 3);
        image = addImageFile(project, dir, "plate.png", 80, 60);
        pxm::Scene* scene = image->scene(0);
        addRect(scene, QRectF(2, 3, 10, 8), cell);
        scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{20, 5}, {35, 8}, {30, 20}, {18, 15}})),
                            cell);
        scene->addLabelItem(new QGraphicsEllipseItem(QRectF(40, 4, 14, 10)), cell);
        QPainterPath region;
        region.addRect(60, 30, 6, 6);
        region.addRect(63, 36, 6, 3);
        scene->addLabelItem(new QGraphicsPathItem(region), cell);
        addRect(scene, QRectF(5, 40, 12, 12), nucleus);
        line = new QGraphicsLineItem(QLineF(30, 50, 50, 50));
        scene->addLabelItem(line, nucleus);
        addRect(scene, QRectF(100, 100, 5, 5), nucleus); // outside: skipped
        auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(80, 60, 1));
        cv::Mat values = pxm::segment::layerMat(*mask, 0);
        values(cv::Rect(25, 30, 5, 5)).setTo(3);
        values(cv::Rect(40, 30, 4, 6)).setTo(3);
        image->setMask(mask, true, false);
        volume = addImageFile(project, dir, "stack.tif", 30, 20, 2);
        // 10,000 and 5,000 pixels a centimetre: voxels of 1 x 2 x 1 micrometres.
        TIFF* tiff = TIFFOpen(dir.localPath("stack.tif").c_str(), "r+");
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 10000.0f);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 5000.0f);
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        TIFFRewriteDirectory(tiff);
        TIFFClose(tiff);
        addRect(volume->scene(1), QRectF(4, 4, 6, 5), cell);
    }

    pxm::DatasetOptions options() const {
        pxm::DatasetOptions o;
        o.coco = o.yolo = o.yoloSegments = o.copyImages = true;
        o.nnunet = "Plates";
        return o;
    }

    TempDir dir;
    TempDir out;
    pxm::Project project;
    pxm::Label* cell = nullptr;
    pxm::Label* nucleus = nullptr;
    pxm::LabeledImage* image = nullptr;
    pxm::LabeledImage* volume = nullptr;
    QGraphicsLineItem* line = nullptr;
};

} // namespace

// Every COCO, YOLO and nnU-Net instance agrees with the full label mask; the files pass their checks; COCO
// reads back.
TEST_F(DatasetExportTest, DatasetsAgreeWithTheMaskAndReadBack) {
    cell->setName("Cell \"\u00e9\"\t\\"); // every file format must escape it
    pxm::DatasetExport exporter(&project, out.path(""), options());
    ASSERT_TRUE(exporter.run()) << exporter.errors().join('\n').toStdString();
    EXPECT_TRUE(exporter.warnings().join('\n').contains("no pixel inside the image"));
    for (const QString& path :
         {out.path("yolo"), out.path("yolo-seg"), out.path(""), out.path("Dataset500_Plates")})
        EXPECT_EQ(pxm::checkDataset(path), QStringList()) << path.toStdString();

    const std::unique_ptr<KYVO::CImage> full(image->createLabelMask());
    const cv::Mat truth = pxm::segment::layerMat(*full, 0);
    const QJsonObject coco = QJsonDocument::fromJson(readFile(out.path("instances_default.json"))).object();
    EXPECT_EQ(coco["categories"].toArray().size(), 2);
    EXPECT_EQ(coco["categories"].toArray()[0].toObject()["name"].toString(), cell->name());
    QStringList names;
    for (const QJsonValue& v : coco["images"].toArray())
        names << v.toObject()["file_name"].toString();
    EXPECT_EQ(names, QStringList({"images/plate.png", "images/stack_z0.png", "images/stack_z1.png"}));
    int polygons = 0;
    int rles = 0;
    for (const QJsonValue& v : coco["annotations"].toArray()) {
        const QJsonObject a = v.toObject();
        if (a["image_id"].toInt() != 1)
            continue;
        const QJsonArray b = a["bbox"].toArray();
        const cv::Rect box(b[0].toInt(), b[1].toInt(), b[2].toInt(), b[3].toInt());
        const cv::Mat inTruth = (truth == a["category_id"].toInt());
        cv::Mat mine = cv::Mat::zeros(60, 80, CV_8UC1);
        if (a["segmentation"].isObject()) {
            ++rles;
            QVector<int64_t> counts;
            for (const QJsonValue& c : a["segmentation"].toObject()["counts"].toArray())
                counts << int64_t(c.toDouble());
            mine = pxm::coco::decode(counts, 80, 60);
            ASSERT_FALSE(mine.empty());
            EXPECT_EQ(cv::countNonZero(mine != (inTruth & mine)), 0); // every pixel agrees
            EXPECT_EQ(cv::countNonZero(mine(box)), a["area"].toInt());
        } else {
            ++polygons;
            QPolygonF outline;
            const QJsonArray p = a["segmentation"].toArray()[0].toArray();
            for (int i = 0; i + 1 < p.size(); i += 2)
                outline << QPointF(p[i].toDouble(), p[i + 1].toDouble());
            mine = pxm::segment::polygonMask(outline, 80, 60);
            cv::Mat inBox = cv::Mat::zeros(60, 80, CV_8UC1);
            inTruth(box).copyTo(inBox(box));
            EXPECT_GE(iou(mine, inBox), 0.99);
        }
    }
    EXPECT_EQ(polygons, 3); // two rectangles and the polygon
    EXPECT_EQ(rles, 4);     // ellipse, region and the mask's two regions

    // nnU-Net (NIfTI, as one image is a volume) renumbers mask ids 1 and 3 as 1 and 2, voxel for voxel.
    nifti_image* labels =
        nifti_image_read(QFile::encodeName(out.path("Dataset500_Plates/labelsTr/plate.nii.gz")), 1);
    ASSERT_NE(labels, nullptr);
    const cv::Mat values(60, 80, CV_8UC1, labels->data);
    EXPECT_EQ(cv::countNonZero((values == 1) != (truth == 1)), 0);
    EXPECT_EQ(cv::countNonZero((values == 2) != (truth == 3)), 0);
    nifti_image_free(labels);
    nifti_image* stack =
        nifti_image_read(QFile::encodeName(out.path("Dataset500_Plates/imagesTr/stack_0000.nii.gz")), 0);
    ASSERT_NE(stack, nullptr);
    EXPECT_EQ(std::vector<double>({double(stack->nx), double(stack->ny), double(stack->nz), stack->dx,
                                   stack->dy, stack->dz, double(stack->xyz_units)}),
              std::vector<double>({30, 20, 2, 1, 2, 1, NIFTI_UNITS_MICRON}));
    nifti_image_free(stack);

    // YOLO outlines of the polygon, rasterised back.
    QFile seg(out.path("yolo-seg/labels/plate.txt"));
    ASSERT_TRUE(seg.open(QIODevice::ReadOnly));
    const QStringList second = QString::fromUtf8(seg.readAll()).split('\n')[1].split(' ');
    QPolygonF fromYolo;
    for (int i = 1; i + 1 < second.size(); i += 2)
        fromYolo << QPointF(second[i].toDouble() * 80, second[i + 1].toDouble() * 60);
    const cv::Mat polygonTruth =
        pxm::segment::polygonMask(QPolygonF({{20, 5}, {35, 8}, {30, 20}, {18, 15}}), 80, 60);
    EXPECT_GE(iou(pxm::segment::polygonMask(fromYolo, 80, 60), polygonTruth), 0.99);

    // COCO back in: the same polygons, the regions pixel for pixel.
    pxm::Project again;
    pxm::CocoReader reader;
    runReader(reader, again, {out.path("instances_default.json")});
    ASSERT_EQ(again.images().size(), 3);
    pxm::Scene* back = again.images()[0]->scene(0);
    QList<QPolygonF> read;
    for (QGraphicsItem* item : back->items())
        if (auto* p = qgraphicsitem_cast<QGraphicsPolygonItem*>(item))
            read << p->polygon();
    EXPECT_TRUE(read.contains(QPolygonF({{20, 5}, {35, 8}, {30, 20}, {18, 15}})));
    EXPECT_TRUE(read.contains(QPolygonF(QRectF(2, 3, 10, 8)).mid(0, 4)));
    // The line has no area in COCO; without it the label masks match.
    delete line;
    const std::unique_ptr<KYVO::CImage> withoutLine(image->createLabelMask());
    const std::unique_ptr<KYVO::CImage> reread(again.images()[0]->createLabelMask());
    EXPECT_GE(iou(pxm::segment::layerMat(*reread, 0) > 0, pxm::segment::layerMat(*withoutLine, 0) > 0), 0.99);
    EXPECT_EQ(again.labelByName("Nucleus")->maskId(), 3);

    // Without the volume the dataset is PNG: labels (the line gone) and picture agree pixel for pixel.
    // An image whose file is gone is left out, and not counted.
    const std::unique_ptr<pxm::LabeledImage> taken(project.takeImage(volume));
    addImageByPath(project, dir.path("gone.png"), 80, 60, 1);
    pxm::DatasetOptions flat;
    flat.nnunet = "Flat";
    pxm::DatasetExport flatExport(&project, out.path("png"), flat);
    ASSERT_TRUE(flatExport.run()) << flatExport.errors().join('\n').toStdString();
    EXPECT_EQ(flatExport.warnings(), QStringList("gone could not be read: left out of nnU-Net."));
    auto png = [](const std::string& path) {
        const std::unique_ptr<KYVO::CImage> file(KYVO::CImageIo2::Load(path));
        return pxm::segment::layerMat(*file, 0).clone();
    };
    const cv::Mat flatLabels = png(out.localPath("png/Dataset500_Flat/labelsTr/plate.png"));
    const cv::Mat now = pxm::segment::layerMat(*withoutLine, 0);
    EXPECT_EQ(cv::countNonZero((flatLabels == 1) != (now == 1)) +
                  cv::countNonZero((flatLabels == 2) != (now == 3)),
              0);
    const cv::Mat picture = png(out.localPath("png/Dataset500_Flat/imagesTr/plate_0000.png"));
    EXPECT_EQ(cv::countNonZero(picture != png(dir.localPath("plate.png"))), 0);
}

// Outlines for formats that take any polygon: ellipses follow their curve, and shapes crossing the border
// are cut to it, so that each outline fills the instance's pixels.
TEST_F(DatasetExportTest, OutlinesFillTheirInstances) {
    pxm::Scene* scene = image->scene(0);
    scene->addLabelItem(new QGraphicsEllipseItem(QRectF(-12.5, 18.25, 30.5, 26)), cell);
    scene->addLabelItem(new QGraphicsEllipseItem(QRectF(20.5, 22.5, 43.25, 30.5)), cell);
    addRect(scene, QRectF(0, 0, 30, 10), nucleus)->setTransform(QTransform().translate(70, 40).rotate(35));
    scene->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{70, -6}, {90, 10}, {74, 30}, {60, 8}})),
                        nucleus);
    pxm::DatasetInstances collector;
    collector.setOutlines(true);
    int outlines = 0;
    for (const pxm::DatasetInstance& instance : collector.collect(project, *scene, "plate")) {
        if (instance.outline.isEmpty())
            continue;
        ++outlines;
        for (const QPointF& p : instance.outline)
            EXPECT_TRUE(p.x() >= 0 && p.y() >= 0 && p.x() <= 80 && p.y() <= 60)
                << instance.what.toStdString();
        cv::Mat pixels = cv::Mat::zeros(60, 80, CV_8UC1);
        instance.pixels.copyTo(pixels(instance.box));
        EXPECT_GE(iou(pxm::segment::polygonMask(instance.outline, 80, 60), pixels), 0.99)
            << instance.what.toStdString();
    }
    // Every rectangle, polygon and ellipse inside the image; not the region, nor the ellipse on whole pixels.
    EXPECT_EQ(outlines, 7);
    pxm::DatasetOptions outlinesOnly;
    outlinesOnly.yoloSegments = true;
    pxm::DatasetExport exporter(&project, out.path(""), outlinesOnly);
    ASSERT_TRUE(exporter.run());
    EXPECT_EQ(exporter.warnings().filter("left out of segmentation").size(), 1); // the line alone
}

// Each trap a training loader falls into is caught by the checks.
TEST(DatasetCheck, CatchesTheKnownTraps) {
    const QJsonObject image{{"id", 1}, {"file_name", "a.png"}, {"width", 10}, {"height", 8}};
    const QJsonObject good{{"id", 1},
                           {"image_id", 1},
                           {"category_id", 1},
                           {"iscrowd", 0},
                           {"area", 12.0},
                           {"bbox", QJsonArray{1, 1, 4, 3}},
                           {"segmentation", QJsonArray{QJsonArray{1, 1, 5, 1, 5, 4, 1, 4}}}};
    auto document = [&](QJsonObject annotation, int category = 1) {
        return QJsonObject{{"info", QJsonObject()},
                           {"licenses", QJsonArray()},
                           {"images", QJsonArray{image}},
                           {"categories", QJsonArray{QJsonObject{{"id", category}, {"name", "x"}}}},
                           {"annotations", QJsonArray{annotation}}};
    };
    EXPECT_EQ(pxm::coco::check(document(good)), QStringList());
    auto with = [&](const char* key, const QJsonValue& value) {
        QJsonObject a = good;
        if (value.isUndefined())
            a.remove(key);
        else
            a[key] = value;
        return a;
    };
    const QJsonArray twoPolygons{QJsonArray{1, 1, 5, 1, 5, 4}, QJsonArray{7, 5, 9, 5, 9, 7}};
    const QList<std::pair<const char*, QJsonObject>> traps = {
        {"4 numbers", with("segmentation", QJsonArray{QJsonArray{1, 1, 5, 4}})},
        {"area", with("area", QJsonValue::Undefined)},
        {"iscrowd", with("iscrowd", QJsonValue::Undefined)},
        {"bbox", with("segmentation", twoPolygons)},
        {"image", with("image_id", 7)},
        {"outside", with("segmentation", QJsonArray{QJsonArray{1, 1, 12, 1, 5, 4}})},
        {"RLE size",
         with("segmentation", QJsonObject{{"counts", QJsonArray{80}}, {"size", QJsonArray{10, 8}}})},
        {"RLE counts",
         with("segmentation", QJsonObject{{"counts", QJsonArray{70}}, {"size", QJsonArray{8, 10}}})},
    };
    for (const auto& [name, annotation] : traps)
        EXPECT_FALSE(pxm::coco::check(document(annotation)).isEmpty()) << name;
    EXPECT_FALSE(pxm::coco::check(document(good, 0)).isEmpty()) << "category 0";

    for (const auto& [line, ok] : {std::pair{"0 0.5 0.5 0.2 0.2", true},
                                   {"0 1.5 0.5 0.2 0.2", false},
                                   {"3 0.5 0.5 0.2 0.2", false},
                                   {"0 0.5 0.5 0 0.2", false},
                                   {"0 0.1 0.1 0.5 0.1 0.5 0.5", true},
                                   {"0 0.1 0.1 0.5 0.1 0.5", false}})
        EXPECT_EQ(pxm::yolo::checkLines(line, 2, "a.txt").isEmpty(), ok) << line;
    TempDir yolo;
    QDir().mkpath(yolo.path("labels"));
    ASSERT_TRUE(
        writeFile(yolo.path("data.yaml"), "path: .\ntrain: images\nval: images\nnames:\n  0: a\n  2: b\n"));
    EXPECT_TRUE(pxm::checkDataset(yolo.path("")).join(' ').contains("without gaps"));
    EXPECT_FALSE(pxm::checkDataset(yolo.path("labels")).isEmpty()); // no dataset at all
}

// RLE runs go down the columns and start with zeros; compressed strings decode to the same.
TEST(DatasetCheck, RleRoundTrips) {
    cv::Mat pixels = cv::Mat::zeros(3, 2, CV_8UC1);
    pixels.at<uint8_t>(0, 1) = pixels.at<uint8_t>(1, 1) = 255;
    // A 4 x 5 image with the box at (1, 1): column 2 holds rows 1 and 2.
    EXPECT_EQ(pxm::coco::encode(pixels, {1, 1}, 4, 5), (QVector<int64_t>{11, 2, 7}));
    EXPECT_EQ(pxm::coco::decode({11, 2, 7}, 4, 5).at<uint8_t>(2, 2), 255);
    EXPECT_TRUE(pxm::coco::decode({11, 2, 6}, 4, 5).empty());
    cv::Mat full = cv::Mat::ones(5, 4, CV_8UC1) * 255;
    EXPECT_EQ(pxm::coco::encode(full, {0, 0}, 4, 5), (QVector<int64_t>{0, 20}));
    bool ok = false;
    // pycocotools writes [11, 2, 7] as ";2" followed by "7" in its string form.
    const QVector<int64_t> counts = pxm::coco::decodeString(QByteArray(";27"), &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(counts, (QVector<int64_t>{11, 2, 7}));
    pxm::coco::decodeString(QByteArray("\x7f"), &ok);
    EXPECT_FALSE(ok);
}

// The complete LabelMe file: shape types, transformed points, RGBA colours, regions as polygons, relative
// path.
TEST_F(DatasetExportTest, CompleteLabelMeFile) {
    auto* turned = addRect(image->scene(0), QRectF(0, 0, 10, 4), nucleus);
    turned->setPos(40, 40);
    turned->setRotation(90);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    pxm::writeLabelMeComplete(buffer, image, dir.path("sub"));
    const QJsonObject root = QJsonDocument::fromJson(buffer.data()).object();
    EXPECT_EQ(root["imagePath"].toString(), "../plate.png");
    EXPECT_EQ(root["imageWidth"].toInt(), 80);
    QMap<QString, int> types;
    for (const QJsonValue& v : root["shapes"].toArray()) {
        const QJsonObject shape = v.toObject();
        ++types[shape["shape_type"].toString()];
        EXPECT_EQ(shape["line_color"].toArray().size(), 4);
        if (shape["label"].toString() == "Nucleus" && shape["shape_type"].toString() == "polygon") {
            EXPECT_EQ(shape["points"].toArray()[1].toArray(), (QJsonArray{40, 50})); // (10, 0) turned by 90°
        }
    }
    // Rectangles 2, the turned one, the polygon, the ellipse and the region as polygons, one line.
    EXPECT_EQ(types, (QMap<QString, int>{{"rectangle", 3}, {"polygon", 4}, {"line", 1}}));
}
