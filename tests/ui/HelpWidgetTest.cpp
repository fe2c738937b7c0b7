// SPDX-License-Identifier: MIT
#include "ui/HelpWidget.h"

#include "support/TestSupport.h"
#include "ui/AboutDialog.h"
#include "ui/PanelTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QTextBrowser>
#include <gtest/gtest.h>

using pxm::HelpWidget;

namespace {

// Sets or removes KYVODIR for the life of the object.
class KyvoDir {
public:
    explicit KyvoDir(const QByteArray& value)
        : m_old(qgetenv("KYVODIR")), m_had(qEnvironmentVariableIsSet("KYVODIR")) {
        if (value.isNull())
            qunsetenv("KYVODIR");
        else
            qputenv("KYVODIR", value);
    }
    ~KyvoDir() {
        if (m_had)
            qputenv("KYVODIR", m_old);
        else
            qunsetenv("KYVODIR");
    }

private:
    QByteArray m_old;
    bool m_had;
};

const char* const NotFound =
    "Sorry, The file %KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html is not found!";

} // namespace

TEST(HelpWidget, ShowsThePlatformGuideThenTheBuiltInOneThenTheNotice) {
    pxmtest::TempDir dir;
    const QString guideDir = dir.path("kyvo/doc/nodara/html/lumarka/PPixmarker");
    ASSERT_TRUE(QDir().mkpath(guideDir));
    ASSERT_TRUE(
        pxmtest::writeFile(guideDir + "/index.html", "<html><body><h1>Platform guide</h1></body></html>"));

    {
        KyvoDir env(dir.path("kyvo").toLocal8Bit());
        HelpWidget help;
        EXPECT_EQ(QFileInfo(help.shownFile()).canonicalFilePath(),
                  QFileInfo(guideDir + "/index.html").canonicalFilePath());
        EXPECT_TRUE(help.textBrowser()->toPlainText().contains("Platform guide"));
        EXPECT_EQ(help.textBrowser()->searchPaths(),
                  QStringList({QFileInfo(help.shownFile()).absolutePath()}));
    }
    for (const QByteArray& value : {QByteArray(), QByteArray(""), dir.path("empty").toLocal8Bit()}) {
        KyvoDir env(value);
        HelpWidget help;
        EXPECT_EQ(help.shownFile(), ":/guide/index.html") << value.constData();
        EXPECT_TRUE(help.textBrowser()->toPlainText().contains("Pixmarker user guide"));
    }
    HelpWidget none(QStringList{dir.path("missing.html"), dir.path()});
    EXPECT_TRUE(none.shownFile().isEmpty());
    EXPECT_EQ(none.textBrowser()->toPlainText(), NotFound);
}

TEST(HelpWidget, BuiltInGuideCoversEveryToolAndItsLinksResolve) {
    QFile file(":/guide/index.html");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(file.readAll());
    for (const char* topic :
         {"Rectangle", "Ellipse", "Polygon", "Line", "Point", "Reassign", "Transformation", "Eraser", "Ruler",
          "Import", "Export", "pixmarker-export", "Space", "Backspace"})
        EXPECT_TRUE(html.contains(topic)) << topic;

    QSet<QString> anchors;
    auto names = QRegularExpression("name=\"([^\"]+)\"").globalMatch(html);
    while (names.hasNext())
        anchors.insert(names.next().captured(1));
    auto links = QRegularExpression("href=\"(#?)([^\"]+)\"").globalMatch(html);
    int count = 0;
    while (links.hasNext()) {
        const auto link = links.next();
        const QString target = link.captured(2);
        if (link.captured(1).isEmpty())
            EXPECT_TRUE(QFile::exists(":/guide/" + target)) << target.toStdString(); // a page of its own
        else
            EXPECT_TRUE(anchors.contains(target)) << target.toStdString();
        ++count;
    }
    EXPECT_GT(count, 5);

    // Clicking a link to another page shows it; a link within the page keeps the page.
    HelpWidget help(QStringList{":/guide/index.html"});
    emit help.textBrowser()->anchorClicked(QUrl("#tools"));
    EXPECT_EQ(help.textBrowser()->source(), QUrl("index.html"));
    emit help.textBrowser()->anchorClicked(QUrl("mask-import.html"));
    EXPECT_EQ(help.textBrowser()->source(), QUrl("mask-import.html"));
    EXPECT_TRUE(help.textBrowser()->toPlainText().contains("mask", Qt::CaseInsensitive));
}

TEST(HelpWidget, EscapeClosesItEachTimeItIsShown) {
    QMainWindow window;
    auto* help = new HelpWidget(QStringList{":/guide/index.html"}, &window);
    for (int round = 0; round < 2; ++round) {
        help->show();
        // The key goes to the window's focus widget, the text browser, which passes it on.
        ASSERT_EQ(help->focusWidget(), help->textBrowser()) << "round " << round;
        QTest::keyClick(help->focusWidget(), Qt::Key_Escape);
        EXPECT_FALSE(help->isVisible()) << "round " << round;
    }
}

TEST(AboutDialog, ShowsIconVersionAndClosesWithItsButton) {
    EXPECT_EQ(pxm::AboutDialog::versionText(), "Version: 1-alpha");
    pxm::AboutDialog dialog;
    EXPECT_EQ(dialog.versionLabel()->text(), "Version: 1-alpha");
    EXPECT_FALSE(dialog.iconLabel()->pixmap(Qt::ReturnByValue).isNull());
    EXPECT_FALSE(dialog.organisationLabel()->text().isEmpty());
    bool wasVisible = false;
    pxmtest::whenModal([&](QWidget* modal) {
        wasVisible = modal == &dialog;
        dialog.closeButton()->click();
    });
    dialog.exec();
    EXPECT_TRUE(wasVisible);
    EXPECT_FALSE(dialog.isVisible());
}
