// SPDX-License-Identifier: MIT
#pragma once

#include <QVariant>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Pictor {

/// The value range of one channel that spans the display's grey levels.
struct ChannelWindow {
    double min = 0.0;
    double max = 0.0;
    bool operator==(const ChannelWindow& o) const { return min == o.min && max == o.max; }
    bool operator!=(const ChannelWindow& o) const { return !(*this == o); }
};

/// How the values of one image turn into displayed 8-bit levels when the user chose a contrast:
/// a window per channel and one gamma. Only the display follows it; the voxels never change.
///
/// A value v shows as round(255 · t^gamma), t = (v − min) / (max − min) clamped to [0, 1]; NaN shows
/// black. Grey images use the first window; RGB images use the first for all three channels unless
/// `perChannel` is on, in which case red, green and blue each have their own. A contrast whose first
/// window is empty (max ≤ min) or not finite is unset: the image shows as it would without one.
class DisplayContrast {
public:
    std::array<ChannelWindow, 3> channels;
    bool perChannel = false;
    double gamma = 1.0;

    static constexpr double kMinGamma = 0.05;
    static constexpr double kMaxGamma = 20.0;

    /// A contrast with the one window [min, max] for every channel.
    static DisplayContrast of(double min, double max, double gamma = 1.0);

    bool isSet() const;
    /// The window that channel 0, 1 or 2 goes through.
    const ChannelWindow& window(int channel) const {
        return perChannel ? channels[std::size_t(channel)] : channels[0];
    }
    /// The displayed level of `v` through the window of `channel`.
    uint8_t map(double v, int channel = 0) const;
    /// The levels of the values 0, 1, …, count − 1 through the window of `channel`.
    std::vector<uint8_t> table(std::size_t count, int channel = 0) const;

    /// {"min": [..], "max": [..], "gamma": g} with one number per window in use; empty when unset.
    QVariantMap toVariant() const;
    /// Reads what toVariant wrote; anything unusable gives an unset contrast, a bad gamma 1.
    static DisplayContrast fromVariant(const QVariant& value);

    bool operator==(const DisplayContrast& o) const;
    bool operator!=(const DisplayContrast& o) const { return !(*this == o); }
};

} // namespace Pictor
