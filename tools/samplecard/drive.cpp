#include "drive.h"

#include "dice.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double step = 1.0 / Drive::samplesPerSecond;
constexpr double gravity = 9.81;
constexpr double unitsPerG = 64;
constexpr double pullAway = 1.8; // m/s²
constexpr double braking = 2.4; // m/s², for a signal
constexpr double hardBraking = 7.0; // m/s², before an impact
constexpr double comfortableTurn = 2; // m/s² to the side

/// Gives the speed of the next step; knows the signals ahead and the impact that may come.
class Driver
{
public:
    Driver(const Road &road, DriveKind kind, int seconds, Dice &dice)
        : m_road(road)
        , m_kind(kind)
        , m_impactStep(seconds * Drive::samplesPerSecond * 6 / 10)
        , m_dice(dice)
    {
        placeSignal(0);
    }

    [[nodiscard]] int stepsSinceImpact(int index) const { return index - m_impactStep; }

    double nextSpeed(int index, double distance, double speed)
    {
        if (m_kind == DriveKind::Parked)
            return 0;
        if (m_kind == DriveKind::Impact && index >= m_impactStep - 8)
            return afterAlarm(index, speed);
        if (m_waitSteps > 0) {
            if (--m_waitSteps == 0)
                placeSignal(distance);
            return 0;
        }
        const double toSignal = m_signal - distance;
        if (speed < 0.3 && toSignal < 3) {
            m_waitSteps = 20 + m_dice.below(40);
            return 0;
        }
        const double turn = std::abs(m_road.curvatureAt(distance + speed));
        const double traffic = m_road.cruiseMps() * (0.88 + 0.12 * std::sin(distance / 260));
        const double wish = std::min(traffic, std::sqrt(comfortableTurn / std::max(turn, 1e-4)));
        if (toSignal < speed * speed / (2 * braking) + 2)
            return std::max(speed - braking * step, 0.0);
        return std::clamp(wish, speed - braking * step, speed + pullAway * step);
    }

private:
    [[nodiscard]] double afterAlarm(int index, double speed) const
    {
        if (index == m_impactStep)
            return speed * 0.4;
        return std::max(speed - hardBraking * step, 0.0);
    }
    void placeSignal(double distance)
    {
        m_signal = m_road.hasSignals() ? distance + m_dice.between(120, 420) : 1e9;
    }

    const Road &m_road;
    DriveKind m_kind;
    int m_impactStep;
    Dice &m_dice;
    double m_signal = 0;
    int m_waitSteps = 0;
};

int toUnits(double mps2)
{
    return static_cast<int>(std::clamp(std::lround(mps2 / gravity * unitsPerG), -128L, 127L));
}

Acceleration felt(const DriveState &state, Dice &dice)
{
    const double rumble = 0.15 + state.speedMps * 0.03;
    return {toUnits(-state.speedMps * state.speedMps * state.curvature + dice.between(-rumble, rumble)),
            toUnits(state.forceMps2 + dice.between(-rumble, rumble)),
            toUnits(dice.between(-2 * rumble, 2 * rumble))};
}

/// A knock that rings for half a second.
void addKnock(Acceleration &acceleration, int stepsSince, int strength)
{
    if (stepsSince < 0 || stepsSince > 4)
        return;
    const int ring = (stepsSince % 2 == 0 ? strength : -strength) >> stepsSince;
    acceleration.x = std::clamp(acceleration.x + ring / 2, -128, 127);
    acceleration.y = std::clamp(acceleration.y - ring, -128, 127);
    acceleration.z = std::clamp(acceleration.z + ring / 3, -128, 127);
}

} // namespace

Drive::Drive(DriveKind kind, int seconds, std::uint32_t seed)
{
    Dice dice(seed);
    const Road &road = sampleRoads()[dice.below(static_cast<int>(sampleRoads().size()))];
    const double start = dice.between(0, std::max(road.length() - road.cruiseMps() * seconds, 1.0));
    double distance = start;
    double speed = kind == DriveKind::Parked ? 0 : road.cruiseMps() * dice.between(0.6, 1.0);
    Driver driver(road, kind, seconds, dice);
    const int knock = kind == DriveKind::Impact ? 118 : 14;

    const int count = seconds * samplesPerSecond + 1;
    for (int i = 0; i < count; ++i) {
        const double before = speed;
        if (i > 0)
            speed = driver.nextSpeed(i, distance - start, speed);
        distance += (before + speed) / 2 * step;
        const double degrees = road.courseAt(distance) * 180 / std::numbers::pi;
        DriveState state{road.placeAt(distance),
                         distance,
                         speed,
                         degrees < 0 ? degrees + 360 : degrees,
                         road.curvatureAt(distance),
                         (speed - before) / step,
                         {}};
        state.acceleration = felt(state, dice);
        if (kind != DriveKind::Driving)
            addKnock(state.acceleration, driver.stepsSinceImpact(i), knock);
        m_samples.append(state);
    }
}

DriveState Drive::at(double seconds) const
{
    const double position = std::clamp(seconds * samplesPerSecond, 0.0, double(m_samples.size() - 1));
    const auto index = static_cast<qsizetype>(position);
    DriveState state = m_samples[index];
    if (index + 1 < m_samples.size()) {
        const DriveState &next = m_samples[index + 1];
        const double part = position - double(index);
        state.distance = std::lerp(state.distance, next.distance, part);
        state.speedMps = std::lerp(state.speedMps, next.speedMps, part);
        state.course += std::remainder(next.course - state.course, 360) * part;
        state.curvature = std::lerp(state.curvature, next.curvature, part);
    }
    return state;
}
