// SPDX-License-Identifier: MIT
#include "exchange/BaseReader.h"
#include "exchange/CriticalReadError.h"
#include "exchange/ExchangeTestSupport.h"
#include "exchange/KAROMarkReader.h"
#include "model/commands/LabelCommands.h"
#include "platform/CException.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

/// Pushes one label per file, then fails in the way the file's name asks for.
class ThrowingReader : public pxm::BaseReader {
public:
    QStringList seenPaths;
    QList<pxm::Project*> seenProjects;

    void readFile(const QString& path) override {
        seenPaths << currentPath();
        seenProjects << project();
        auto* label = new pxm::Label;
        label->setName(path);
        project()->undoStack()->push(new pxm::commands::AddLabel(project(), label));
        if (path == "critical")
            throw pxm::CriticalReadError("broken here", 7);
        if (path == "kyvo")
            throw KYVO::CException("platform failure", "f()", "File", 3);
        if (path == "std")
            throw std::runtime_error("standard failure");
        if (path == "qstring")
            throw QString("string failure");
        if (path == "chars")
            throw "plain failure";
        if (path == "int")
            throw 42;
        if (path == "warn")
            addWarning("just a warning", 2);
    }
};

TEST(ReaderTest, EachFailureBecomesOneErrorAndTheImportGoesOn) {
    struct Case {
        QString path;
        QString message;
    };
    const QList<Case> cases = {
        {"critical", "E 7 broken here"},  {"kyvo", "E -1 platform failure"},
        {"std", "E -1 standard failure"}, {"qstring", "E -1 string failure"},
        {"chars", "E -1 plain failure"},  {"int", "E -1 Catched exception of unknown type."},
        {"warn", "W 2 just a warning"},   {"fine", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path.toStdString());
        pxm::Project project;
        ThrowingReader reader;
        QSignalSpy paths(&reader, &pxm::BaseReader::pathChanged);
        QSignalSpy errors(&reader, &pxm::BaseReader::errorAdded);
        QSignalSpy warnings(&reader, &pxm::BaseReader::warningAdded);
        pxmtest::runReader(reader, project, {c.path, "next"});

        EXPECT_EQ(reader.seenPaths, QStringList({c.path, "next"}));
        EXPECT_EQ(reader.seenProjects, QList<pxm::Project*>({&project, &project}));
        EXPECT_EQ(reader.project(), nullptr);
        EXPECT_TRUE(reader.currentPath().isEmpty());
        ASSERT_EQ(paths.count(), 2);
        EXPECT_EQ(paths[0][0].toString(), c.path);
        EXPECT_EQ(pxmtest::messageTexts(reader),
                  c.message.isEmpty() ? QStringList() : QStringList{c.message});
        EXPECT_EQ(errors.count() + warnings.count(), c.message.isEmpty() ? 0 : 1);

        // What was pushed before the failure stays, one undo step per file.
        ASSERT_EQ(project.labels().size(), 2);
        QUndoStack* stack = project.undoStack();
        ASSERT_EQ(stack->count(), 2);
        EXPECT_EQ(stack->text(0), "Import " + c.path);
        EXPECT_EQ(stack->text(1), "Import next");
        stack->undo();
        EXPECT_EQ(project.labels().size(), 1);
        stack->undo();
        EXPECT_TRUE(project.labels().isEmpty());
    }
}

TEST(ReaderTest, MessagesAccumulateOverTheReadersLifeAndKeepTheirOrder) {
    pxm::Project project;
    ThrowingReader reader;
    pxmtest::runReader(reader, project, {"warn", "critical"});
    pxmtest::runReader(reader, project, {"chars"});
    EXPECT_EQ(pxmtest::messageTexts(reader),
              QStringList({"W 2 just a warning", "E 7 broken here", "E -1 plain failure"}));
    EXPECT_EQ(reader.messages().at(1).kind, 1);
    EXPECT_EQ(reader.messages().at(0).kind, 0);
    // Without a project there is nothing to read into.
    reader.read(nullptr, {"warn"});
    EXPECT_EQ(reader.messages().size(), 3);
    EXPECT_EQ(reader.pauseMilliseconds(), 0);
    EXPECT_EQ(pxm::KAROMarkReader().pauseMilliseconds(), 100);
}

TEST(ReaderTest, UnopenableFileIsOneErrorAndTheNextFileIsRead) {
    pxmtest::TempDir dir;
    ASSERT_TRUE(pxmtest::writeFile(dir.path("ok.mark"), "# Image\nnowhere.png\n"));
    pxm::Project project;
    pxm::KAROMarkReader reader;
    pxmtest::runReader(reader, project, {dir.path("missing.mark"), dir.path("ok.mark")});
    EXPECT_EQ(pxmtest::messageTexts(reader), QStringList({"E -1 Could not open the file."}));
    ASSERT_EQ(project.images().size(), 1);
    EXPECT_EQ(project.images()[0]->imagePath(), "nowhere.png");
    EXPECT_EQ(project.undoStack()->count(), 2);
}

TEST(ReaderTest, CriticalReadErrorCarriesTextLineAndLocalText) {
    const pxm::CriticalReadError error("Fehler äöü", 12);
    EXPECT_EQ(error.text(), "Fehler äöü");
    EXPECT_EQ(error.line(), 12);
    EXPECT_EQ(QString::fromLocal8Bit(error.what()), "Fehler äöü");
    EXPECT_EQ(pxm::CriticalReadError("x").line(), -1);
}

} // namespace
