#pragma once

#include <QSettings>

/// What the user chose once and for all runs. A value that was never stored, or can't be understood, reads as
/// its default; defaults are never written. Main thread.
class Preferences
{
public:
    static constexpr int channelCount = 5;

    Preferences(); ///< the user's own file
    explicit Preferences(const QString &iniFile); ///< for example a test's

    [[nodiscard]] double volume() const; ///< linear amplitude from 0 to 1; 0.5
    [[nodiscard]] double lastVolume() const; ///< the one before muting; 0.5
    [[nodiscard]] double brightness() const; ///< from 0 to 1; 0.5
    [[nodiscard]] int flip(int channel) const; ///< mode of the channel 0 to 4; 0
    /// Of the map service's pictures, with {z}, {x} and {y}; empty for none. OpenStreetMap's.
    [[nodiscard]] QString mapTileAddress() const;
    [[nodiscard]] QString mapAttribution() const; ///< what the map service wants to be named as

private:
    [[nodiscard]] double number(const QString &key, double byDefault) const;

    QSettings m_store;
};
