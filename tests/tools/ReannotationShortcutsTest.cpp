// SPDX-License-Identifier: MIT
#include "tools/ReannotationShortcuts.h"

#include "ToolTestSupport.h"
#include "model/ReannotationRules.h"

#include <QGraphicsRectItem>
#include <QSignalSpy>

using namespace pxm;
using pxmtest::ToolFixture;

namespace {

class ReannotationShortcutsTest : public ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        label->setName("cat");
        other->setName("dog");
        bird = project.createLabel();
        bird->setName("bird");
        lower = addRect(QRectF(20, 20, 100, 100), label);
        upper = addRect(QRectF(60, 60, 100, 100), other);
        stack()->clear();
    }
    void setRules(const QList<ReannotationRule>& rules) { ReannotationRules(rules).storeIn(&project); }

    Label* bird = nullptr;
    QGraphicsRectItem* lower = nullptr;
    QGraphicsRectItem* upper = nullptr;
};

} // namespace

TEST(ReannotationRulesTest, TextRoundTripsAndBadEntriesAreDropped) {
    const ReannotationRules rules({{"shift+q", "cat", "dog"}, {"1", "", "bird"}});
    const ReannotationRules back = ReannotationRules::fromText(rules.toText());
    ASSERT_EQ(back.rules().size(), 2);
    EXPECT_EQ(back.rules()[0], (ReannotationRule{"Shift+Q", "cat", "dog"})) << "keys are stored canonically";
    EXPECT_EQ(back.rules()[1], (ReannotationRule{"1", "", "bird"}));
    EXPECT_TRUE(ReannotationRules::fromText("not json").isEmpty());
    EXPECT_TRUE(ReannotationRules::fromText(R"({"key": "1"})").isEmpty());
    EXPECT_EQ(
        ReannotationRules::fromText(R"([{"key": "", "to": "a"}, {"key": "2"}, {"key": "Ctrl+X, Y", "to": "b"},
                                              {"key": "3", "to": "c"}])")
            .rules()
            .size(),
        1)
        << "entries without key or target, and chords, are dropped";
    EXPECT_EQ(rules.rulesForKey("Shift+Q").size(), 1);
    EXPECT_TRUE(rules.rulesForKey("Q").isEmpty());
}

TEST_F(ReannotationShortcutsTest, AKeyMovesTheShapeUnderThePointerAsOneUndoStep) {
    setRules({{"1", "cat", "bird"}, {"2", "", "bird"}, {"3", "dog", "nowhere"}});
    ReannotationShortcuts shortcuts(view);
    const QStringList before = snapshot();

    // Where both overlap, "1" applies to the cat below the dog on top.
    EXPECT_TRUE(shortcuts.applyKey("1", QPointF(80, 80)));
    EXPECT_EQ(labelIdOf(lower), bird->id());
    EXPECT_EQ(labelIdOf(upper), other->id());
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_EQ(lower->toolTip(), "bird");

    // No cat under the pointer any more; a rule whose target does not exist does nothing;
    // "2" takes the topmost shape of any label.
    EXPECT_FALSE(shortcuts.applyKey("1", QPointF(80, 80)));
    EXPECT_FALSE(shortcuts.applyKey("3", QPointF(150, 150)));
    EXPECT_FALSE(shortcuts.applyKey("2", QPointF(5, 5))) << "nothing under the pointer";
    EXPECT_EQ(stack()->count(), 1);
    EXPECT_TRUE(shortcuts.applyKey("2", QPointF(80, 80)));
    EXPECT_EQ(labelIdOf(upper), bird->id());
    EXPECT_FALSE(shortcuts.applyKey("2", QPointF(80, 80))) << "already the target";

    stack()->undo();
    stack()->undo();
    EXPECT_EQ(snapshot(), before);
    EXPECT_EQ(lower->toolTip(), "cat");
    stack()->redo();
    EXPECT_EQ(labelIdOf(lower), bird->id());
}

TEST_F(ReannotationShortcutsTest, KeyReleasesOverTheViewApplyRulesAndStopThere) {
    setRules({{"Shift+B", "dog", "bird"}});
    auto* shortcuts = new ReannotationShortcuts(view);
    QSignalSpy applied(shortcuts, &ReannotationShortcuts::applied);
    move(QPointF(150, 150));
    EXPECT_EQ(shortcuts->pointer(), at(QPointF(150, 150)));
    key(QEvent::KeyPress, Qt::Key_B, Qt::ShiftModifier);
    QKeyEvent repeat(QEvent::KeyRelease, Qt::Key_B, Qt::ShiftModifier, QString(), true);
    QApplication::sendEvent(view, &repeat);
    EXPECT_EQ(labelIdOf(upper), other->id()) << "auto-repeat does nothing";
    key(QEvent::KeyRelease, Qt::Key_B, Qt::ShiftModifier);
    EXPECT_EQ(labelIdOf(upper), bird->id());
    ASSERT_EQ(applied.count(), 1);
    EXPECT_EQ(applied[0][2].toString(), "bird");
    key(QEvent::KeyRelease, Qt::Key_B);
    EXPECT_EQ(stack()->count(), 1) << "B without Shift is another key";

    // The rules are read when the key comes, so an edit applies at once.
    setRules({{"X", "bird", "cat"}});
    typeKey(Qt::Key_X);
    EXPECT_EQ(labelIdOf(upper), label->id());
}
