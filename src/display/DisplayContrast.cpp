// SPDX-License-Identifier: MIT
#include "display/DisplayContrast.h"

#include <algorithm>
#include <cmath>

namespace Pictor {

DisplayContrast DisplayContrast::of(double min, double max, double gamma) {
    DisplayContrast c;
    c.channels.fill({min, max});
    c.gamma = gamma;
    return c;
}

bool DisplayContrast::isSet() const {
    const ChannelWindow& w = channels[0];
    return w.max > w.min && std::isfinite(w.max - w.min);
}

uint8_t DisplayContrast::map(double v, int channel) const {
    const ChannelWindow& w = window(channel);
    if (!(w.max > w.min))
        return 0;
    double t = (v - w.min) / (w.max - w.min);
    // The negated test also sends NaN to black.
    if (!(t > 0.0))
        return 0;
    if (t >= 1.0)
        return 255;
    if (gamma != 1.0)
        t = std::pow(t, gamma);
    return uint8_t(t * 255.0 + 0.5);
}

std::vector<uint8_t> DisplayContrast::table(std::size_t count, int channel) const {
    std::vector<uint8_t> levels(count);
    for (std::size_t v = 0; v < count; ++v)
        levels[v] = map(double(v), channel);
    return levels;
}

QVariantMap DisplayContrast::toVariant() const {
    QVariantMap map;
    if (!isSet())
        return map;
    QVariantList mins, maxs;
    for (int c = 0; c < (perChannel ? 3 : 1); ++c) {
        mins << channels[std::size_t(c)].min;
        maxs << channels[std::size_t(c)].max;
    }
    map["min"] = mins;
    map["max"] = maxs;
    map["gamma"] = gamma;
    return map;
}

DisplayContrast DisplayContrast::fromVariant(const QVariant& value) {
    DisplayContrast c;
    const QVariantMap map = value.toMap();
    const QVariantList mins = map.value("min").toList();
    const QVariantList maxs = map.value("max").toList();
    if ((mins.size() != 1 && mins.size() != 3) || maxs.size() != mins.size())
        return c;
    c.perChannel = mins.size() == 3;
    for (int i = 0; i < 3; ++i) {
        const int from = c.perChannel ? i : 0;
        c.channels[std::size_t(i)] = {mins[from].toDouble(), maxs[from].toDouble()};
    }
    // A hand-edited window that is unusable in one channel would show that channel black.
    for (const ChannelWindow& w : c.channels)
        if (!(w.max > w.min) || !std::isfinite(w.max - w.min))
            return DisplayContrast();
    bool ok = false;
    const double gamma = map.value("gamma").toDouble(&ok);
    c.gamma = ok && gamma >= kMinGamma && gamma <= kMaxGamma ? gamma : 1.0;
    return c;
}

bool DisplayContrast::operator==(const DisplayContrast& o) const {
    if (isSet() != o.isSet())
        return false;
    if (!isSet())
        return true;
    for (int c = 0; c < 3; ++c)
        if (window(c) != o.window(c))
            return false;
    return gamma == o.gamma;
}

} // namespace Pictor
