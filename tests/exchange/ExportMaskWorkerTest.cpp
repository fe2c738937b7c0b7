// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskWorker.h"

#include "exchange/ExchangeTestSupport.h"

#include <QRegularExpression>
#include <QSignalSpy>

using namespace pxm;
using namespace pxmtest;

namespace {

const QString kEveryTarget = "full bool snapshot karo voc vgg labelme";

/// Image files in `in`, a worker that writes into `out`.
class ExportMaskWorkerTest : public ::testing::Test {
protected:
    /// Chooses the pattern and the targets named in the list (see kEveryTarget).
    static void prepare(ExportMaskWorker& worker, const QString& directory, const QString& pattern,
                        const QString& targets) {
        const QStringList names = targets.split(' ');
        worker.setDirectory(directory);
        worker.setFilename(pattern);
        worker.setFullMask(names.contains("full"));
        worker.setBoolMask(names.contains("bool"));
        worker.setSnapshot(names.contains("snapshot"));
        worker.setKaroMark(names.contains("karo"));
        worker.setVoc(names.contains("voc"));
        worker.setVggImageAnnotator(names.contains("vgg"));
        worker.setLabelMe(names.contains("labelme"));
    }
    void prepare(const QString& pattern, const QString& targets) {
        prepare(worker, out.path(), pattern, targets);
    }
    TempDir in;
    TempDir out;
    Project project;
    ExportMaskWorker worker{&project};
};

} // namespace

TEST_F(ExportMaskWorkerTest, BuildsFileNamesFromThePattern) {
    const Label* nucleus = addLabel(project, "nucleus", 12, 3);
    const Label* odd = addLabel(project, "x{image_name}", 4, 4);
    const LabeledImage* image = addMemoryImage(project, 1, 1, 3, "/data/a.b.png");
    worker.setDirectory("/out");

    const QString standard = "{image_name}_{label_id}_{z_layer}";
    struct Case {
        QString pattern;
        const LabeledImage* image;
        const Scene* scene;
        const Label* label;
        QString suffix;
        QString expected;
    };
    // The standard pattern's names are checked with the written files below.
    const QList<Case> cases = {
        {standard, image, image->scene(2), nucleus, ".mark", "/out/a.b_12_2.mark"},
        // Repeated placeholders all expand; the names are case-sensitive; nothing is escaped.
        {"{label_name}-{label_name}/{Label_id}", nullptr, nullptr, nucleus, ".x",
         "/out/nucleus-nucleus/{Label_id}.x"},
        // Label names are expanded before image names.
        {"{label_name}", image, nullptr, odd, ".json", "/out/xa.b.json"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pattern.toStdString() + c.suffix.toStdString());
        worker.setFilename(c.pattern);
        EXPECT_EQ(worker.makeFilename(c.image, c.scene, c.label, c.suffix), c.expected);
    }
}

TEST_F(ExportMaskWorkerTest, WritesEveryTargetAndSkipsUnlabeledImagesByTheirShare) {
    addExportImages(project, in);
    // Image one also gets a mask file with b's mask id inside a's rectangle, loaded only by the export, and a
    // rectangle of b over a's.
    KYVO::CImage oneMask(KYVO::IMAGE_GREY_8, KYVO::CSize(12, 10, 1));
    *oneMask.voxel(1, 1, 0) = 8;
    KYVO::CImageIo2::Save(in.localPath("one_mask.pgm"), oneMask);
    project.images()[0]->setMaskPath(in.path("one_mask.pgm"));
    addRect(project.images()[0]->scene(0), QRectF(3, 2, 4, 3), project.labels()[1]);
    // One mark and VOC file per layer, no LabelMe file for 3D; placeholders without a value stay empty.
    const QStringList all = sorted(
        QString("__.vgg.json one___fullmask.pgm one___snapshot.png one__.json one__0.mark one__0.voc "
                "one_10__mask.pbm one_20__mask.pbm two___fullmask.okav.gz two___snapshot.tiff two__0.mark "
                "two__0.voc two__1.mark two__1.voc two_10__mask.okav.gz two_20__mask.okav.gz "
                "three___fullmask.okav.gz three___snapshot.tiff three__0.mark three__0.voc three__1.mark "
                "three__1.voc three_10__mask.okav.gz three_20__mask.okav.gz")
            .split(' '));
    for (const bool skip : {false, true}) {
        SCOPED_TRACE(skip ? "skipping" : "exporting all");
        const TempDir target;
        ExportMaskWorker run(&project);
        prepare(run, target.path(), "{image_name}_{label_id}_{z_layer}", kEveryTarget);
        run.setSkipUnlabeled(skip);
        QSignalSpy progress(&run, &ExportMaskWorker::progressChanged);
        QSignalSpy failed(&run, &ExportMaskWorker::writeFailed);
        run.exportProject();

        EXPECT_EQ(filesIn(target.path()),
                  skip ? QStringList(all).filter(QRegularExpression("^(?!two)")) : all);
        EXPECT_TRUE(failed.isEmpty() && run.failureCount() == 0);
        // Per 2D image: full 1 + bool 2 + snapshot 1 + mark 1 + VOC 1 + LabelMe 1 = 7; per 3D image
        // 1 + 2 + 1 + 2 + 2 + 1 = 9. The VGG step comes on top of the total; a skipped image is one
        // emission of its share and its VGG share.
        EXPECT_EQ(run.progressTotal(), 7 + 9 + 9);
        QList<int> steps, emitted;
        for (int i = 1; i <= 26 + skip; ++i)
            if (!skip || i <= 7 || i >= 17)
                steps << i;
        for (const QList<QVariant>& call : progress)
            emitted << call.at(0).toInt();
        EXPECT_EQ(emitted, steps);
        EXPECT_EQ(run.progress(), steps.last());
        for (const LabeledImage* image : project.images())
            EXPECT_TRUE(image->usageCount() == 0u && !image->image())
                << "every image is released after its export";

        // Full masks hold mask ids, not label ids, inside the shapes only (not in the triangle's bounding
        // box) and on their own layers; the loaded mask wins over shapes, and where shapes overlap the lower
        // one. Each label's own mask holds 1 over all of its shapes and nothing of the loaded mask.
        auto at = [&](const char* file, int x, int y, int z) {
            const auto mask = load(target.path(file));
            return mask ? mask->value(x, y, z) : -1.0;
        };
        EXPECT_EQ(
            QList<double>({at("one___fullmask.pgm", 2, 2, 0), at("one___fullmask.pgm", 10, 4, 0),
                           at("one___fullmask.pgm", 7, 8, 0), at("one___fullmask.pgm", 0, 0, 0),
                           at("one___fullmask.pgm", 1, 1, 0), at("one___fullmask.pgm", 4, 3, 0),
                           at("three___fullmask.okav.gz", 3, 2, 1), at("three___fullmask.okav.gz", 3, 2, 0),
                           at("three___fullmask.okav.gz", 0, 4, 1), at("one_10__mask.pbm", 2, 2, 0),
                           at("one_20__mask.pbm", 2, 2, 0), at("one_10__mask.pbm", 1, 1, 0),
                           at("one_20__mask.pbm", 1, 1, 0), at("one_20__mask.pbm", 4, 3, 0)}),
            QList<double>({3, 8, 0, 0, 8, 3, 8, 0, 0, 1, 0, 1, 0, 1}));
        for (const char* file : {"one___fullmask.pgm", "three___fullmask.okav.gz", "one_10__mask.pbm"})
            EXPECT_EQ(load(target.path(file))->size(),
                      QString(file).contains("three") ? KYVO::CSize(6, 5, 2) : KYVO::CSize(12, 10, 1))
                << file;
        const auto snapshot = load(target.path("three___snapshot.tiff"));
        ASSERT_TRUE(snapshot);
        EXPECT_TRUE(snapshot->size() == KYVO::CSize(6, 5, 2) && snapshot->channels() == 3);
        const auto flatSnapshot = load(target.path("one___snapshot.png"));
        ASSERT_TRUE(flatSnapshot);
        EXPECT_GT(flatSnapshot->value(8, 9, 0), flatSnapshot->value(0, 9, 0))
            << "the image itself shows under the shapes, though no window shows it";
    }
}

TEST_F(ExportMaskWorkerTest, ReportsFilesItCannotWriteAndGoesOn) {
    const Label* a = addLabel(project, "a", 1, 6);
    LabeledImage* image = addImageFile(project, in, "img.pgm", 6, 6);
    addRect(image->scene(0), QRectF(1, 1, 2, 2), a);
    // Directories in the way of five targets make their files unwritable.
    for (const char* blocked : {"img_fullmask.pgm", "img.mark", "img.voc", "img.json", ".vgg.json"})
        ASSERT_TRUE(QDir(out.path()).mkdir(blocked));

    prepare("{image_name}", "full bool karo voc vgg labelme");
    QSignalSpy failed(&worker, &ExportMaskWorker::writeFailed);
    worker.exportProject();

    // Every target that failed reaches the window, not only the log.
    QStringList paths;
    for (const QList<QVariant>& f : qAsConst(failed)) {
        paths << f[0].toString();
        EXPECT_FALSE(f[1].toString().isEmpty()) << "a reason for " << f[0].toString().toStdString();
    }
    EXPECT_EQ(paths, QStringList({out.path("img_fullmask.pgm"), out.path("img.mark"), out.path("img.voc"),
                                  out.path("img.json"), out.path(".vgg.json")}));
    EXPECT_EQ(worker.failureCount(), 5);
    EXPECT_EQ(worker.progress(), worker.progressTotal() + 1) << "every step still counts";
    // The rest is written, and no temporary file is left behind.
    EXPECT_EQ(filesIn(out.path()),
              sorted({".vgg.json", "img.json", "img.mark", "img.voc", "img_fullmask.pgm", "img_mask.pbm"}));
}

TEST_F(ExportMaskWorkerTest, RunsOnItsThreadWithOneImagePinnedAndStopsWhenAsked) {
    const Label* a = addLabel(project, "a", 1, 2);
    for (const char* name : {"i0.pgm", "i1.pgm", "i2.pgm", "i3.pgm"})
        addRect(addImageFile(project, in, name, 16, 16)->scene(0), QRectF(2, 2, 4, 4), a);

    prepare("{image_name}", "full bool");
    int mostLoaded = 0;
    QList<LabeledImage*> current;
    // Direct: the slot runs on the export's thread, between two steps.
    QObject::connect(
        &worker, &ExportMaskWorker::progressChanged, &worker,
        [&](int) {
            int loaded = 0;
            for (const LabeledImage* image : project.images())
                loaded += image->image() ? 1 : 0;
            mostLoaded = std::max(mostLoaded, loaded);
            current << worker.currentImage();
        },
        Qt::DirectConnection);
    worker.start();
    ASSERT_TRUE(worker.wait(60000));
    EXPECT_TRUE(worker.progress() == 8 && filesIn(out.path()).size() == 8);
    EXPECT_EQ(mostLoaded, 0) << "masks need the image's size only, never its pixels";
    ASSERT_EQ(current.size(), 8);
    EXPECT_TRUE(current[0] == project.images()[0] && current[7] == project.images()[3]);

    // A stop asked for during the third step ends the export after it.
    pxmtest::TempDir stopped;
    worker.setDirectory(stopped.path());
    QObject::connect(&worker, &ExportMaskWorker::progressChanged, &worker, [&](int value) {
        if (value == 3)
            worker.requestStop();
    });
    worker.exportProject();
    EXPECT_EQ(worker.progress(), 3);
    EXPECT_EQ(filesIn(stopped.path()), sorted({"i0_fullmask.pgm", "i0_mask.pbm", "i1_fullmask.pgm"}));
    for (const LabeledImage* image : project.images())
        EXPECT_EQ(image->usageCount(), 0u) << "a stopped export releases its pin";
}
