#pragma once

#include "roads.h"

#include <cstdint>
#include <QList>

enum class DriveKind { Driving, Impact, Parked };

/// Acceleration in the sensor's raw units, 64 to 1 g, calibrated to 0 at rest. Within -128 to 127.
struct Acceleration {
    int x = 0; ///< to the right
    int y = 0; ///< forwards
    int z = 0; ///< upwards
};

/// Where the car is and how it moves at one moment.
struct DriveState {
    Place place;
    double distance = 0; ///< metres since the start of the road
    double speedMps = 0;
    double course = 0; ///< degrees clockwise from north, 0 to 360
    double curvature = 0; ///< of its path, 1/m, to the right positive
    double forceMps2 = 0; ///< acceleration along the road, braking negative
    Acceleration acceleration;
};

/// A drive along one of the sample roads: speed with stops and hard braking, and what the sensors say of it.
class Drive
{
public:
    static constexpr int samplesPerSecond = 10;

    Drive(DriveKind kind, int seconds, std::uint32_t seed);
    /// Any time from the start, in seconds; between the samples the car's place and speed are interpolated.
    [[nodiscard]] DriveState at(double seconds) const;
    [[nodiscard]] const DriveState &sample(int index) const { return m_samples[index]; }

private:
    QList<DriveState> m_samples;
};
