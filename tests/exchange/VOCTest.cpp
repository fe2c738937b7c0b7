// SPDX-License-Identifier: MIT
#include "exchange/ExchangeTestSupport.h"
#include "exchange/VOCReader.h"
#include "exchange/VOCWriter.h"

#include <QBuffer>
#include <QRegularExpression>
#include <QXmlStreamWriter>

namespace {

TEST(VOCTest, WrittenAndHandWrittenFilesReadBack) {
    // A 200×100 image and two rectangles, one of a label without a name.
    pxm::Project project;
    pxm::LabeledImage* image = pxmtest::addMemoryImage(project, 200, 100, 1, "/data/set/img.png");
    image->scene(0)->addLabelItem(new QGraphicsRectItem(10, 20, 30, 40),
                                  pxmtest::addLabel(project, "A", 11, 3));
    auto* moved = new QGraphicsRectItem(0.5, 0.25, 3, 3);
    moved->setPos(100, 50);
    image->scene(0)->addLabelItem(moved, pxmtest::addLabel(project, "", 12, 4));
    // Boxes include half the stroke (pen width 0.5 gives a 2.5 pixel pen) on each side.
    // The layout between the tags is the XML writer's own, so it is left out of the comparison.
    const QString expected =
        R"(<?xml version="1.0" encoding="UTF-8"?><annotation><folder>set</folder><filename>img.png</filename>)"
        "<path>/data/set/img.png</path><size><width>200</width><height>100</height><depth>1</depth></size>"
        "<object><name>12</name><bndbox><xmin>99.25</xmin><xmax>104.75</xmax><ymin>49</ymin><ymax>54.5</ymax>"
        "</bndbox></object><object><name>A</name><bndbox><xmin>8.75</xmin><xmax>41.25</xmax>"
        "<ymin>18.75</ymin><ymax>61.25</ymax></bndbox></object></annotation>";
    QByteArray written;
    QBuffer buffer(&written);
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter out(&buffer);
    out.setAutoFormatting(true);
    out.writeStartDocument();
    pxm::writeVOC(out, image->scene(0));
    out.writeEndDocument();
    EXPECT_EQ(QString(written).replace(QRegularExpression(">\\s+<"), "><").trimmed(), expected);

    pxmtest::TempDir dir;
    QDir(dir.path()).mkdir("sub");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("sub/pic.png"), "x"));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("top.png"), "x"));
    // After the images with their items, each image's colour channels, then each label's name and mask id.
    const auto more = [](const pxm::Project& project) {
        QStringList lines;
        for (const pxm::LabeledImage* image : project.images())
            lines << QString("channels %1").arg(image->colorChannels());
        for (const pxm::Label* label : project.labels())
            lines << QString("label %1 %2").arg(label->name()).arg(label->maskId());
        return lines;
    };
    // The end of the document is reported as an element without a name.
    const QString end = "W %1 Ignoring unknown XML element ''.";
    const QString top = dir.path("top.png") + " 0x0x1|channels 0";
    const QString pic = dir.path("sub/pic.png") + " 0x0x1|channels 0";
    pxmtest::expectReads<pxm::VOCReader>(
        dir, "case.xml",
        {
            // The image file is nowhere, so only its size is known; the boxes have grown by the stroke, and
            // new labels take the project's automatic attributes.
            {"the file written above", written,
             end.arg(30) +
                 "| 200x100x1|  12: rect 99.25 49 5.5 5.5|  A: rect 8.75 18.75 32.5 42.5|channels 1|"
                 "label 12 1|label A 2"},
            {"several objects, no image on disk",
             "<annotation>\n<folder>nowhere</folder><filename>missing.jpg</filename>\n"
             "<size><width>640</width><height>480</height><depth>3</depth><unit>px</unit></size>\n"
             "<object><name>cat</name><pose>Left</pose>\n"
             "<bndbox><xmin>1</xmin><ymin>2</ymin><xmax>11</xmax><ymax>22</ymax></bndbox></object>\n"
             "<object><name>dog</name><bndbox><ymax>5</ymax><xmax>5.5</xmax><xmin>1</xmin><ymin>1</ymin>"
             "<zmin>0</zmin></bndbox></object>\n"
             "<object><name> cat "
             "</name><bndbox><xmin>3</xmin><xmax>4</xmax><ymin>3</ymin><ymax>4</ymax></bndbox>"
             "</object>\n<object><name>dog</name></object>\n<segmented>0</segmented>\n</annotation>\n",
             "W 3 Ignoring unknown XML element 'unit'.|W 4 Ignoring unknown XML element 'pose'.|"
             "W 6 Ignoring unknown XML element 'zmin'.|W 9 Ignoring unknown XML element 'segmented'.|" +
                 end.arg(11) +
                 "| 640x480x1|  cat: rect 1 2 10 20|  dog: rect 1 1 4.5 4|  cat: rect 3 3 1 1|  dog: rect 0 "
                 "0 0 "
                 "0|channels 3|label cat 1|label dog 2"},
            {"folder and filename",
             "<annotation><folder>sub</folder><filename>pic.png</filename></annotation>",
             end.arg(1) + "|" + pic},
            {"unknown folder stays in the file's directory",
             "<annotation><folder>nosuch</folder><filename>top.png</filename></annotation>",
             end.arg(1) + "|" + top},
            {"filename alone",
             "<annotation><filename>top.png</filename><path>/no/such/top.png</path></annotation>",
             end.arg(1) + "|" + top},
            {"path as it stands first",
             ("<annotation><path>" + dir.path("sub/pic.png") +
              "</path><filename>top.png</filename></annotation>")
                 .toUtf8(),
             end.arg(1) + "|" + pic},
            {"root that is no annotation", "<foo>\n<annotation/>\n</foo>\n",
             "W 1 Ignoring unknown XML element 'foo'.|" + end.arg(4)},
            {"malformed XML keeps what came before",
             "<annotation><object><name>a</name>\n<bndbox><xmin>1</xmin><xmax>2</xmax></object></annotation>",
             "W 2 Opening and ending tag mismatch.| 0x0x1|  a: rect 1 0 1 0|channels 0|label a 1"},
            {"premature end is no warning", "<annotation><object><name>a</name>",
             " 0x0x1|  a: rect 0 0 0 0|channels 0|label a 1"},
            {"hostile numbers",
             "<annotation><size><width>99999999999</width><height>-5</height><depth>x</depth></size>"
             "<object><name>h</name><bndbox><xmin>-1e308</xmin><xmax>1e308</xmax><ymin>nan</ymin>"
             "<ymax>inf</ymax></bndbox></object></annotation>",
             end.arg(1) + "| 0x0x1|  h: rect -1e+09 0 2e+09 1e+09|channels 0|label h 1"},
            {"deep nesting",
             ("<annotation>" + QString("<x>").repeated(20000) + QString("</x>").repeated(20000) +
              "</annotation>")
                 .toUtf8(),
             "W 1 Ignoring unknown XML element 'x'.|" + end.arg(1) + "| 0x0x1|channels 0"},
            {"no file", {}, "E -1 Could not open " + dir.path("case.xml")},
        },
        more);
}

} // namespace
