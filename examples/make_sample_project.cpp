// SPDX-License-Identifier: MIT
// Builds the sample project next to this file: the coins photograph with a loaded label mask
// and one shape of every kind, a small synthetic 3D volume with shapes on three of its layers,
// and four labels. Image paths are stored relative to this folder, so the project is opened
// from here (scripts/run.sh does that). Rebuild it with scripts/make_sample_project.sh.
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QApplication>
#include <QDir>
#include <QGraphicsEllipseItem>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <cmath>
#include <cstdio>
#include <random>

namespace {

/// Fills a disc of the given mask id into layer z of an 8-bit volume.
void paintDisc(KYVO::CImage& volume, int cx, int cy, int z, int radius, uint8_t value) {
    const KYVO::CSize size = volume.size();
    for (int y = std::max(0, cy - radius); y <= std::min(int(size.y) - 1, cy + radius); ++y)
        for (int x = std::max(0, cx - radius); x <= std::min(int(size.x) - 1, cx + radius); ++x)
            if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius)
                volume.data()[(std::size_t(z) * size.y + std::size_t(y)) * size.x + std::size_t(x)] = value;
}

/// A 96 x 96 x 12 volume of noisy background with three bright nuclei of different sizes.
KYVO::CImage makeVolume() {
    const int w = 96, h = 96, d = 12;
    KYVO::CImage volume(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0.0, 6.0);
    struct Nucleus {
        double x, y, z, r;
    };
    const Nucleus nuclei[] = {{30, 34, 5, 14}, {66, 60, 6, 18}, {70, 22, 3, 8}};
    for (int z = 0; z < d; ++z)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                double value = 40 + noise(random);
                for (const Nucleus& n : nuclei) {
                    const double dist = std::sqrt((x - n.x) * (x - n.x) + (y - n.y) * (y - n.y) +
                                                  4.0 * (z - n.z) * (z - n.z)) / n.r;
                    if (dist < 1.0)
                        value += 170 * (1.0 - dist * dist);
                }
                volume.data()[(std::size_t(z) * h + y) * w + x] = uint8_t(std::clamp(value, 0.0, 255.0));
            }
    return volume;
}

template <typename Item> Item* tagged(Item* item, pxm::Scene* scene, const pxm::Label* label) {
    scene->addLabelItem(item, label);
    return item;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    VanduInit(-1);
    int code = 0;
    {
        QApplication app(argc, argv);
        const QDir dir(QString::fromLocal8Bit(argv[1]));
        // The project names its files relative to its own folder.
        QDir::setCurrent(dir.absolutePath());

        KYVO::CImageIo2::Save("nuclei_volume.tif", makeVolume());
        KYVO::CImage mask(KYVO::IMAGE_GREY_8, KYVO::CSize(384, 303, 1));
        paintDisc(mask, 45, 124, 0, 21, 2);  // worn coins, painted pixel by pixel
        paintDisc(mask, 103, 126, 0, 20, 2);
        paintDisc(mask, 347, 186, 0, 31, 1); // a coin
        KYVO::CImageIo2::Save("coins_mask.pgm", mask);

        pxm::Project project;
        // Every image is fitted into the view when shown: the volume is small.
        project.setSetting("View.cameraMode", "reset");
        const char* names[] = {"Coin", "Worn coin", "Scratch", "Nucleus"};
        pxm::Label* labels[4];
        for (int i = 0; i < 4; ++i) {
            labels[i] = project.createLabel();
            labels[i]->setName(names[i]);
            // Fixed ids keep the file the same from one generation to the next.
            labels[i]->setId(101 + i);
        }
        // Outlines thick enough to see at the zoom that fits the window.
        for (pxm::Label* label : labels)
            label->setPenWidth(2.0);

        auto* coins = new pxm::LabeledImage(&project);
        coins->setImagePath("coins.png");
        coins->setMaskPath("coins_mask.pgm");
        coins->loadImage();
        coins->loadMask(true, true);
        project.addImage(coins);
        pxm::Scene* flat = coins->scene(0);
        if (!flat) {
            std::fprintf(stderr, "cannot read coins.png in %s\n", argv[1]);
            return 1;
        }
        tagged(new QGraphicsRectItem(78, 34, 44, 44), flat, labels[0]);
        tagged(new QGraphicsEllipseItem(131, 27, 48, 47), flat, labels[0]);
        QPolygonF octagon;
        for (int i = 0; i < 8; ++i) {
            const double a = M_PI / 4 * i + M_PI / 8;
            octagon << QPointF(333 + 30 * std::cos(a), 42 + 30 * std::sin(a));
        }
        tagged(new QGraphicsPolygonItem(octagon), flat, labels[0]);
        tagged(new QGraphicsLineItem(190, 232, 232, 212), flat, labels[2]);
        tagged(new QGraphicsEllipseItem(186, 168, 52, 50), flat, labels[1]);
        // A free-hand stroke across a worn coin, as the brush paints it: pixel squares along
        // the way, united by the winding rule.
        QPainterPath stroke;
        stroke.setFillRule(Qt::WindingFill);
        for (int step = 0; step <= 30; ++step)
            stroke.addRect(QRect(22 + step, 137 + (step * step) / 60, 7, 7));
        tagged(new QGraphicsPathItem(stroke), flat, labels[2]);

        auto* volume = new pxm::LabeledImage(&project);
        volume->setImagePath("nuclei_volume.tif");
        volume->loadImage();
        project.addImage(volume);
        if (volume->scenes().size() < 7) {
            std::fprintf(stderr, "cannot read nuclei_volume.tif\n");
            return 1;
        }
        tagged(new QGraphicsEllipseItem(16, 20, 28, 28), volume->scene(5), labels[3]);
        tagged(new QGraphicsEllipseItem(48, 42, 36, 36), volume->scene(6), labels[3]);
        tagged(new QGraphicsRectItem(61, 13, 18, 18), volume->scene(3), labels[3]);

        // The mask is saved over itself, so the project keeps naming coins_mask.pgm.
        pxm::ProjectSerializer::write(&project, "sample_project.json", true);
        std::printf("wrote %s\n", qPrintable(dir.absoluteFilePath("sample_project.json")));
        code = 0;
    }
    VanduExit();
    return code;
}
