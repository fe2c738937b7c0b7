// SPDX-License-Identifier: MIT
#include "exchange/ExchangeTestSupport.h"
#include "exchange/KAROMarkReader.h"
#include "exchange/KAROMarkWriter.h"

#include <QGraphicsView>
#include <QTextStream>

namespace {

QString writeScene(pxm::Scene* scene) {
    QString text;
    QTextStream out(&text);
    pxm::writeKAROMark(out, scene);
    out.flush();
    return text;
}

TEST(KAROMarkTest, WrittenAndHandWrittenFilesReadBack) {
    pxm::Project project;
    pxm::LabeledImage* image = pxmtest::addMemoryImage(project, 200, 100, 1, "/data/img.png");
    pxm::Label* a = pxmtest::addLabel(project, "A", 11, 3);
    pxm::Label* b = pxmtest::addLabel(project, "B", 12, 7);
    pxm::Scene* scene = image->scene(0);
    scene->addLabelItem(new QGraphicsRectItem(10, 20, 30, 40), a);
    scene->addLabelItem(new QGraphicsEllipseItem(5.4, 5.6, 10, 10), b);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{0, 0}, {10, 0}, {5, 8}}));
    polygon->setPos(100, 50);
    scene->addLabelItem(polygon, b);
    scene->addLabelItem(new QGraphicsLineItem(8, 4, 0, 0), a);
    // An item whose label is gone and an item that is no label item are left out.
    auto* orphan = new QGraphicsRectItem(1, 1, 1, 1);
    orphan->setData(pxm::LabelIdDataKey, 999);
    orphan->setZValue(-5);
    scene->addItem(orphan);
    scene->addItem(new QGraphicsRectItem(2, 2, 2, 2));

    const QString marks = "# Mark\n# User: pixmarker\n# Color: 3\n# left righ top bottom\n0 7 0 3\n"
                          "# Mark\n# User: pixmarker\n# Color: 7\n# left righ top bottom\n100 109 50 57\n"
                          "# Mark\n# User: pixmarker\n# Color: 7\n# left righ top bottom\n5 14 6 15\n"
                          "# Mark\n# User: pixmarker\n# Color: 3\n# left righ top bottom\n10 39 20 59\n";
    EXPECT_EQ(writeScene(scene), "# Image\n/data/img.png\n" + marks);

    // The zoom factor is written only while exactly one view shows the scene.
    {
        QGraphicsView view(scene);
        view.scale(1.5, 1.5);
        EXPECT_EQ(writeScene(scene), "# Image\n/data/img.png\n# Zoom factor: 1.5\n" + marks);
        QGraphicsView second(scene);
        EXPECT_EQ(writeScene(scene), "# Image\n/data/img.png\n" + marks);
    }

    pxm::LabeledImage* empty = pxmtest::addMemoryImage(project, 8, 8, 1, "/data/empty.png");
    EXPECT_EQ(writeScene(empty->scene(0)), "# Image\n/data/empty.png\n");

    pxmtest::TempDir dir;
    KYVO::CImageIo2::Save(dir.localPath("flat.pgm"), KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(8, 8, 1)));
    KYVO::CImageIo2::Save(dir.localPath("volume.pgm"),
                          KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(8, 8, 3)));
    // After the images with their items, "label name id #rrggbb" per label; id 0 is no label id: the project
    // gives such a label an id of its own.
    const auto labels = [](const pxm::Project& project) {
        QStringList lines;
        for (const pxm::Label* l : project.labels())
            lines << QString("label %1 %2 %3")
                         .arg(l->name(), l->name() == "KARO Color 0" ? "*" : QString::number(l->id()),
                              l->color().name());
        return lines;
    };
    pxmtest::expectReads<pxm::KAROMarkReader>(
        dir, "case.mark",
        {
            // Boxes shrink by one; the mask id comes back as a label id, each shared by its marks.
            {"the file written above", writeScene(scene).toUtf8(),
             "/data/img.png 0x0x1|  KARO Color 3: rect 0 0 7 3|  KARO Color 7: rect 100 50 9 7|"
             "  KARO Color 7: rect 5 6 9 9|  KARO Color 3: rect 10 20 29 39|label KARO Color 3 3 #000003|"
             "label KARO Color 7 7 #000007"},
            {"#Image starts a block, #  Image does not end one",
             "#Image\na.png\n# Mark\n#Color: 5\n1 2 3 4\n#  Image\nb.png\n",
             "a.png 0x0x1|  KARO Color 5: rect 1 3 1 1|label KARO Color 5 5 #000005"},
            {"#  Image starts a block", "#  Image\nb.png\n", "b.png 0x0x1"},
            {"red label", "# Image\na.png\n# Mark\n# Color: 16711680\n0 10 0 20\n",
             "a.png 0x0x1|  KARO Color 16711680: rect 0 0 10 20|label KARO Color 16711680 16711680 #ff0000"},
            {"minus passed over, trailing text accepted",
             "# Image\na.png\n# Mark\n# User: me\n# Color: 1\n-1 2 3 4\n1 5 2 9 trailing words\n",
             "a.png 0x0x1|  KARO Color 1: rect 1 2 4 7|label KARO Color 1 1 #000001"},
            {"later colour wins, same colour reuses the label",
             "# Image\na.png\n# Mark\n# Color: 1\n# Color: 4\n0 1 0 1\n# Mark\n# Color: 4\n2 3 2 3\n",
             "a.png 0x0x1|  KARO Color 4: rect 0 0 1 1|  KARO Color 4: rect 2 2 1 1|label KARO Color 4 4 "
             "#000004"},
            {"no colour", "# Image\na.png\n# Mark\n# User: me\n1 2 3 4\n",
             "W 4 No color found in 'Mark' block.|a.png 0x0x1"},
            {"file ends inside a mark", "# Image\na.png\n# Mark\n# Color: 1\n",
             "W 3 No bounding box found in 'Mark' block.|a.png 0x0x1"},
            {"empty path line", "junk\n# Image\n\n# Mark\n", "E 2 Expected image path after #Image."},
            {"the line ending a block is consumed", "# Image\na.png\n# Image\nb.png\n# Image\nc.png\n",
             "a.png 0x0x1|c.png 0x0x1"},
            {"a later failure keeps earlier blocks",
             "# Image\na.png\n# Mark\n# Color: 2\n0 1 0 1\n# Image\nx\n# Image\n",
             "E 7 Expected image path after #Image.|a.png 0x0x1|  KARO Color 2: rect 0 0 1 1|"
             "label KARO Color 2 2 #000002"},
            // An image that opens is read with its size; a volume ends the file, the labels before it stay.
            {"a 3D image ends the file",
             QString("# Image\n%1\n# Mark\n# Color: 9\n0 4 0 4\n# Image\nskip\n# Image\n%2\n# Mark\n# Color: "
                     "10\n0 1 0 1\n")
                 .arg(dir.path("flat.pgm"), dir.path("volume.pgm"))
                 .toUtf8(),
             "E 8 KARO mark references a 3D image.|" + dir.path("flat.pgm") +
                 " 8x8x1|  KARO Color 9: rect 0 0 4 4|label KARO Color 9 9 #000009"},
            {"numbers too large",
             "# Image\na.png\n# Mark\n# Color: 99999999999\n1 2 3 4\n# Mark\n# Color: 1\n99999999999 1 2 3\n",
             "W 4 No color found in 'Mark' block.|W 7 No bounding box found in 'Mark' block.|a.png 0x0x1"},
            {"colour 0 reuses its label",
             "# Image\na.png\n# Mark\n# Color: 0\n0 1 0 1\n# Mark\n# Color: 0\n0 2 0 2\n",
             "a.png 0x0x1|  KARO Color 0: rect 0 0 1 1|  KARO Color 0: rect 0 0 2 2|label KARO Color 0 * "
             "#000000"},
            {"CRLF line ends", "# Image\r\na.png\r\n# Mark\r\n# Color: 1\r\n0 1 0 1\r\n",
             "a.png 0x0x1|  KARO Color 1: rect 0 0 1 1|label KARO Color 1 1 #000001"},
            {"binary junk", QByteArray("\xff\xfe\x00\x01# Mark\n\x80\x81\n", 14), ""},
            {"no file", {}, "E -1 Could not open the file."},
        },
        labels);
}

} // namespace
