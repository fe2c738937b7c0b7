// SPDX-License-Identifier: MIT
// Importing and writing the foreign annotation formats at the scale of large data sets.
#include "exchange/KAROMarkReader.h"
#include "exchange/LabelMeReader.h"
#include "exchange/LabelMeWriter.h"
#include "exchange/VOCReader.h"
#include "model/Project.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtMath>
#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>

namespace {

QTemporaryDir& scratch() {
    static QTemporaryDir dir;
    return dir;
}

void writeBytes(const QString& path, const QByteArray& data) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
        qFatal("cannot write %s", qPrintable(path));
}

/// A LabelMe file of a 4096×4096 image with `count` 12-vertex polygons of 20 labels.
QString labelMeFile(int count) {
    const QString path = scratch().filePath(QString("polygons%1.json").arg(count));
    if (QFile::exists(path))
        return path;
    QRandomGenerator random(7);
    QJsonArray shapes;
    for (int i = 0; i < count; ++i) {
        const double x = random.bounded(4096.0), y = random.bounded(4096.0), r = 5 + random.bounded(60.0);
        QJsonArray points;
        for (int k = 0; k < 12; ++k) {
            const double a = 2 * M_PI * k / 12;
            points.append(QJsonArray{x + r * std::cos(a), y + r * std::sin(a)});
        }
        const int label = i % 20;
        shapes.append(QJsonObject{{"label", QString("class %1").arg(label)},
                                  {"fill_color", QJsonArray{255, label * 12, 255 - label * 12, 128}},
                                  {"shape_type", "polygon"},
                                  {"points", points}});
    }
    const QJsonObject root{
        {"imagePath", "/data/large.png"}, {"imageWidth", 4096}, {"imageHeight", 4096}, {"shapes", shapes}};
    writeBytes(path, QJsonDocument(root).toJson(QJsonDocument::Indented));
    return path;
}

/// A VOC file with `count` objects of 20 classes.
QString vocFile(int count) {
    const QString path = scratch().filePath(QString("objects%1.xml").arg(count));
    if (QFile::exists(path))
        return path;
    QByteArray xml = "<annotation><filename>large.png</filename>"
                     "<size><width>4096</width><height>4096</height><depth>3</depth></size>\n";
    for (int i = 0; i < count; ++i)
        xml += QString("<object><name>class %1</name><bndbox><xmin>%2</xmin><ymin>%3</ymin><xmax>%4</xmax>"
                       "<ymax>%5</ymax></bndbox></object>\n")
                   .arg(i % 20)
                   .arg(i % 4000)
                   .arg(i / 4)
                   .arg(i % 4000 + 30)
                   .arg(i / 4 + 20)
                   .toUtf8();
    xml += "</annotation>\n";
    writeBytes(path, xml);
    return path;
}

/// A KARO mark file with `count` marks of 20 colours.
QString markFile(int count) {
    const QString path = scratch().filePath(QString("marks%1.mark").arg(count));
    if (QFile::exists(path))
        return path;
    QByteArray text = "# Image\n/data/none.png\n";
    for (int i = 0; i < count; ++i)
        text += QString("# Mark\n# User: bench\n# Color: %1\n# left righ top bottom\n%2 %3 %4 %5\n")
                    .arg(1 + i % 20)
                    .arg(i % 4000)
                    .arg(i % 4000 + 30)
                    .arg(i / 4)
                    .arg(i / 4 + 20)
                    .toUtf8();
    writeBytes(path, text);
    return path;
}

template <class Reader> void importInto(benchmark::State& state, const QString& path) {
    for (auto _ : state) {
        auto project = std::make_unique<pxm::Project>();
        Reader reader;
        reader.setPauseMilliseconds(0);
        reader.read(project.get(), {path});
        // VOC files end with one warning about the document's end; errors mean a broken import.
        bool failed = project->images().size() != 1;
        for (const pxm::ReadMessage& message : reader.messages())
            failed = failed || message.kind == pxm::ReadMessage::Error;
        if (failed)
            state.SkipWithError("unexpected import result");
        state.PauseTiming();
        project.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ImportLabelMePolygons(benchmark::State& state) {
    importInto<pxm::LabelMeReader>(state, labelMeFile(int(state.range(0))));
}
BENCHMARK(BM_ImportLabelMePolygons)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_ImportVOCObjects(benchmark::State& state) {
    importInto<pxm::VOCReader>(state, vocFile(int(state.range(0))));
}
BENCHMARK(BM_ImportVOCObjects)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_ImportKAROMarks(benchmark::State& state) {
    importInto<pxm::KAROMarkReader>(state, markFile(int(state.range(0))));
}
BENCHMARK(BM_ImportKAROMarks)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_WriteLabelMe(benchmark::State& state) {
    pxm::Project project;
    pxm::LabelMeReader reader;
    reader.setPauseMilliseconds(0);
    reader.read(&project, {labelMeFile(int(state.range(0)))});
    pxm::LabeledImage* image = project.images().value(0);
    if (!image) {
        state.SkipWithError("import failed");
        return;
    }
    for (auto _ : state) {
        QByteArray data;
        QBuffer buffer(&data);
        buffer.open(QIODevice::WriteOnly);
        pxm::writeLabelMe(buffer, image);
        benchmark::DoNotOptimize(data.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WriteLabelMe)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
