// SPDX-License-Identifier: MIT
#include "exchange/CriticalReadError.h"
#include "exchange/ExchangeTestSupport.h"
#include "model/commands/LabelCommands.h"
#include "platform/CException.h"

#include <QSignalSpy>
#include <functional>
#include <map>
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
        const std::map<QString, std::function<void()>> failures = {
            {"critical", [] { throw pxm::CriticalReadError("broken here", 7); }},
            {"kyvo", [] { throw KYVO::CException("platform failure", "f()", "File", 3); }},
            {"std", [] { throw std::runtime_error("standard failure"); }},
            {"qstring", [] { throw QString("string failure"); }},
            {"chars", [] { throw "plain failure"; }},
            {"int", [] { throw 42; }},
            {"warn", [this] { addWarning("just a warning", 2); }},
        };
        if (failures.count(path))
            failures.at(path)();
    }
};

TEST(ReaderTest, EachFailureBecomesOneErrorAndTheImportGoesOn) {
    const QList<QPair<QString, QString>> cases = {
        {"critical", "E 7 broken here"},  {"kyvo", "E -1 platform failure"},
        {"std", "E -1 standard failure"}, {"qstring", "E -1 string failure"},
        {"chars", "E -1 plain failure"},  {"int", "E -1 Catched exception of unknown type."},
        {"warn", "W 2 just a warning"},   {"fine", ""},
    };
    for (const auto& [path, message] : cases) {
        SCOPED_TRACE(path.toStdString());
        pxm::Project project;
        ThrowingReader reader;
        QSignalSpy paths(&reader, &pxm::BaseReader::pathChanged);
        QSignalSpy errors(&reader, &pxm::BaseReader::errorAdded);
        QSignalSpy warnings(&reader, &pxm::BaseReader::warningAdded);
        pxmtest::runReader(reader, project, {path, "next"});

        EXPECT_EQ(reader.seenPaths, QStringList({path, "next"}));
        EXPECT_EQ(reader.seenProjects, QList<pxm::Project*>({&project, &project}));
        EXPECT_TRUE(!reader.project() && reader.currentPath().isEmpty()) << "nothing is held after the run";
        ASSERT_TRUE(paths.count() == 2 && paths[0][0].toString() == path);
        EXPECT_EQ(pxmtest::messageTexts(reader), message.isEmpty() ? QStringList() : QStringList{message});
        EXPECT_EQ(errors.count() + warnings.count(), message.isEmpty() ? 0 : 1);

        // What was pushed before the failure stays, one undo step per file.
        QUndoStack* stack = project.undoStack();
        ASSERT_EQ(stack->count(), 2);
        EXPECT_EQ(QStringList({stack->text(0), stack->text(1)}),
                  QStringList({"Import " + path, "Import next"}));
        stack->undo();
        EXPECT_EQ(project.labels().size(), 1);
        stack->undo();
        EXPECT_TRUE(project.labels().isEmpty());
    }
    // A critical error's what() is its text in the local encoding.
    EXPECT_EQ(QString::fromLocal8Bit(pxm::CriticalReadError("Fehler äöü").what()), "Fehler äöü");
}

} // namespace
