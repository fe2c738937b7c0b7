// SPDX-License-Identifier: MIT
#include "persistence/JsonTextWriter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectSerializer.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace pxm;

// Qt's JSON writer is the reference: every number must print as QJsonDocument prints it.
TEST(JsonTextWriter, PrintsNumbersAsQtDoes) {
    QList<double> numbers = {0.0,
                             -0.0,
                             1,
                             -1,
                             0.5,
                             0.1,
                             0.0001,
                             0.00012345,
                             1e-5,
                             -1.5e-7,
                             5e-324,
                             1e-300,
                             123456789.5,
                             4294967295.0,
                             1e15,
                             1e17,
                             9007199254740993.0,
                             -9223372036854775808.0,
                             9223372036854775808.0,
                             1e20,
                             -1.7976931348623157e308,
                             0.30000000000000004,
                             std::numeric_limits<double>::denorm_min(),
                             std::nextafter(1.0, 2.0),
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

TEST(JsonTextWriter, ProjectTextIsQtsIndentedForm) {
    Project project;
    auto* label = new Label;
    label->setName("a \"quoted\" \\ name\twith tab, é and \u20ac");
    label->setColor(QColor(1, 2, 3, 4));
    label->setId(-5);
    project.addLabel(label);
    project.createLabel();
    for (uint32_t depth : {1u, 3u}) {
        auto* image = new LabeledImage(&project);
        image->setWidth(7);
        image->setHeight(9);
        image->setDepth(depth);
        image->setImagePath(QString("C:\\images\\%1\u00e4.tif").arg(depth));
        image->setMaskPath(depth == 1 ? "" : "m\x01.pgm");
        image->createScenes();
        project.addImage(image);
        image->scene(0)->addLabelItem(
            new QGraphicsPolygonItem(QPolygonF(QVector<QPointF>{{0.1, 1e-7}, {3e9, -2.5}})), label);
        image->scene(0)->addLabelItem(new QGraphicsPathItem, label);
        auto* rect = new QGraphicsRectItem(0.25, 1, 3, 4);
        rect->setTransform(QTransform().rotate(33).scale(1.5, 0.2));
        image->scene(0)->addLabelItem(rect, label);
    }
    project.setSetting("View.cameraMode", 3);
    project.setSetting("Tools.list", QVariantList{1, "two", QVariantMap{{"z", 0.5}, {"a", QVariantList{}}}});
    project.setSetting("Label.name", "\"x\"");

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
}
