// SPDX-License-Identifier: MIT
#include <QIcon>
#include <QImage>
#include <QMovie>
#include <QPixmap>
#include <QString>
#include <gtest/gtest.h>

namespace {

// Counts pixels that are drawn (not transparent) and not near-white, i.e. visible on a light tool bar.
int visiblePixels(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.alpha() > 64 && c.lightness() < 230)
                ++count;
        }
    return count;
}

} // namespace

TEST(Icons, EveryActionIconIsBuiltInAndVisibleAtSmallSizes) {
    const char* names[] = {"save_project.svg",  "new_project.svg",    "open_project.svg",
                           "new.svg",           "quit.svg",           "nodara.svg",
                           "rotate_left.svg",   "rotate_right.svg",   "flip_horizontal.svg",
                           "flip_vertical.svg", "restore-view.svg",   "zoom_fit_best.svg",
                           "normalize.svg",     "reannotation.svg",   "rect.svg",
                           "circle.svg",        "polygon.svg",        "line.svg",
                           "pen.svg",           "fill-icon-27.png",   "res-rot-mv.svg",
                           "eraser.svg",        "ruler.svg",          "undo.svg",
                           "redo.svg",          "pixmarker_icon.svg", "add-label.svg",
                           "del-label.svg",     "filter.svg",         "filter-clear.svg",
                           "go-previous.svg",   "go-next.svg",        "remove-image.svg"};
    for (const char* name : names) {
        const QIcon icon(QString(":/icons/") + name);
        for (int size : {16, 24}) {
            const QImage image = icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
            ASSERT_FALSE(image.isNull()) << name;
            // At least a sixteenth of the square is ink, so the symbol is not lost at this size.
            EXPECT_GT(visiblePixels(image), size * size / 16) << name << " at " << size;
        }
    }
}

TEST(Icons, LoadingIndicatorIsAnAnimation) {
    QMovie movie(":/icons/loading.gif");
    ASSERT_TRUE(movie.isValid());
    EXPECT_GT(movie.frameCount(), 1);
    ASSERT_TRUE(movie.jumpToFrame(0));
    const QImage first = movie.currentImage();
    ASSERT_TRUE(movie.jumpToFrame(1));
    EXPECT_NE(movie.currentImage(), first);
}
