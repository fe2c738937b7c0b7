// SPDX-License-Identifier: MIT
#include "model/Label.h"

#include "platform/CValue.h"
#include "platform/CValueMap.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <memory>

using pxm::Label;

namespace {
/// Records every property signal of a label in order, as "signal=value".
QStringList recordSignals(Label& label, const std::function<void()>& action) {
    QStringList log;
    QObject context;
    QObject::connect(&label, &Label::nameChanged, &context, [&](QString v) { log << "name=" + v; });
    QObject::connect(&label, &Label::colorChanged, &context,
                     [&](QColor v) { log << "color=" + v.name(QColor::HexArgb); });
    QObject::connect(&label, &Label::opacityChanged, &context,
                     [&](double v) { log << QString("opacity=%1").arg(v); });
    QObject::connect(&label, &Label::secondaryOpacityChanged, &context,
                     [&](double v) { log << QString("secondary=%1").arg(v); });
    QObject::connect(&label, &Label::penWidthChanged, &context,
                     [&](double v) { log << QString("pen=%1").arg(v); });
    QObject::connect(&label, &Label::idChanged, &context, [&](int v) { log << QString("id=%1").arg(v); });
    QObject::connect(&label, &Label::maskIdChanged, &context,
                     [&](int v) { log << QString("mask=%1").arg(v); });
    action();
    return log;
}
} // namespace

TEST(Label, SettersClampIgnoreAndSignalOnlyRealChanges) {
    Label label;
    struct Case {
        const char* what;
        std::function<void()> action;
        QStringList expected;
    };
    const Case cases[] = {
        {"trimmed name", [&] { label.setName("  car "); }, {"name=car"}},
        {"same name", [&] { label.setName("car"); }, {}},
        {"pen width floor", [&] { label.setPenWidth(0); }, {"pen=0.01"}},
        {"pen width ceiling", [&] { label.setPenWidth(5); }, {"pen=1"}},
        {"opacity floor", [&] { label.setPrimaryOpacity(-1); }, {"opacity=0"}},
        {"secondary ceiling", [&] { label.setSecondaryOpacity(3); }, {}},
        {"secondary", [&] { label.setSecondaryOpacity(0.25); }, {"secondary=0.25"}},
        {"zero id", [&] { label.setId(0); }, {}},
        {"id", [&] { label.setId(42); }, {"id=42"}},
        {"same id", [&] { label.setId(42); }, {}},
        {"zero mask id", [&] { label.setMaskId(0); }, {}},
        {"mask id", [&] { label.setMaskId(7); }, {"mask=7"}},
        // The colour's alpha moves into the primary opacity, signalled first.
        {"translucent colour",
         [&] { label.setColor(QColor(255, 0, 0, 128)); },
         {QString("opacity=%1").arg(128 / 255.0), "color=#ffff0000"}},
        {"same colour, same alpha", [&] { label.setColor(QColor(255, 0, 0, 128)); }, {}},
        {"opaque colour resets opacity", [&] { label.setColor(QColor(Qt::red)); }, {"opacity=1"}},
        {"colour in another space", [&] { label.setColor(QColor(Qt::red).toHsv()); }, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(recordSignals(label, c.action), c.expected);
    }
    EXPECT_EQ(label.name(), "car");
    EXPECT_EQ(label.color().alpha(), 255);
    EXPECT_EQ(label.id(), 42);
    EXPECT_EQ(label.maskId(), 7);
}

TEST(Label, ValueMapsRoundTripWithTheInvertedReadRule) {
    Label source;
    source.setName("road");
    source.setColor(QColor(255, 0, 0));
    source.setPrimaryOpacity(0.5);
    source.setId(9);
    source.setMaskId(4);
    std::unique_ptr<KYVO::CValueMap> map(source.toValueMap());
    EXPECT_EQ(map->GetString("name"), "road");
    EXPECT_EQ(map->GetLong("color/red"), 255);
    EXPECT_EQ(map->GetLong("color/green"), 0);
    EXPECT_EQ(map->GetLong("color/blue"), 0);
    EXPECT_EQ(map->GetLong("color/alpha"), 255);
    EXPECT_DOUBLE_EQ(map->GetDouble("opacity"), 0.5);
    EXPECT_EQ(map->GetLong("id"), 9);
    EXPECT_EQ(map->GetLong("maskId"), 4);
    EXPECT_FALSE(map->Has("secondaryOpacity"));
    EXPECT_FALSE(map->Has("penWidth"));

    // Reading it back: the colour (alpha 255) sets opacity 1.0, while opacity, id and mask
    // id present in the map are left alone.
    Label copy;
    copy.fromValueMap(*map);
    EXPECT_EQ(copy.name(), "road");
    EXPECT_EQ(copy.color(), QColor(255, 0, 0));
    EXPECT_DOUBLE_EQ(copy.opacity(), 1.0);
    EXPECT_EQ(copy.id(), 0);
    EXPECT_EQ(copy.maskId(), 0);

    KYVO::CValueMap partial;
    partial.SetString("name", "a");
    partial.SetDouble("opacity", 0.4);
    partial.SetLong("id", 7);
    partial.SetLong("maskId", 3);
    Label fromPartial;
    fromPartial.fromValueMap(partial);
    EXPECT_EQ(fromPartial.name(), "a");
    EXPECT_DOUBLE_EQ(fromPartial.opacity(), 1.0);
    EXPECT_EQ(fromPartial.id(), 0);
    EXPECT_EQ(fromPartial.maskId(), 0);

    partial.Remove("opacity");
    Label withoutOpacity;
    withoutOpacity.fromValueMap(partial);
    EXPECT_DOUBLE_EQ(withoutOpacity.opacity(), 0.0) << "a missing opacity applies its default";

    // A colour with a missing channel is ignored as a whole; a name of the wrong type too.
    KYVO::CValueMap broken;
    broken.SetLong("name", 5);
    broken.SetLong("color/red", 10);
    broken.SetLong("color/green", 10);
    broken.SetLong("color/blue", 10);
    Label untouched;
    untouched.setName("keep");
    untouched.fromValueMap(broken);
    EXPECT_EQ(untouched.name(), "keep");
    EXPECT_EQ(untouched.color(), QColor(Qt::black));
}
