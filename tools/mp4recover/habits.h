#pragma once

#include "accessunits.h"
#include "traits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

/// Most channels that are told apart.
inline constexpr std::size_t maximumChannels = 8;

/// The channel of a picture that is none.
inline constexpr std::uint8_t noChannel = 0xff;

/// How many pictures of each channel stand in a row.
using RunLengths = std::array<float, maximumChannels>;

/// The usual size of a channel's pictures, as logarithm to the base 2.
class SizeModel
{
public:
    /// How far off a size is: 0.5 for one standard deviation as cameras have it. Nothing while little is
    /// known.
    [[nodiscard]] double surprise(double size, double variance) const
    {
        const double deviation = size - m_mean;
        const double known = static_cast<double>(m_count) / (m_count + 1.0);
        return deviation * deviation / (2 * variance) * known;
    }
    [[nodiscard]] double deviation(double size) const { return m_count == 0 ? 0 : size - m_mean; }
    void learn(double size)
    {
        constexpr float slowest = 0.05F;
        m_count = std::min<std::uint8_t>(m_count, 200);
        m_mean +=
            std::max(slowest, 1.0F / static_cast<float>(++m_count)) * (static_cast<float>(size) - m_mean);
    }

private:
    float m_mean = 0;
    std::uint8_t m_count = 0;
};

/// Key pictures, reference pictures and others are as large and as alike as others of their kind.
inline constexpr std::size_t sizeClassCount = 3;
[[nodiscard]] std::size_t sizeClass(const AccessUnit &picture);
/// Logarithm to the base 2 of its size in bytes.
[[nodiscard]] double logSize(const AccessUnit &picture);

/// What a first assignment tells of a recording.
struct Habits {
    /// As requested; at least one.
    explicit Habits(const std::vector<ChannelRequest> &requests)
    {
        rates.fill(requests[0].framesPerSecond > 0 ? requests[0].framesPerSecond : 30);
        for (std::size_t i = 0; i < std::min(requests.size(), rates.size()); ++i) {
            if (requests[i].framesPerSecond > 0)
                rates[i] = requests[i].framesPerSecond;
        }
    }

    [[nodiscard]] bool ratesDiffer(std::size_t channelCount) const
    {
        return std::any_of(rates.begin(), rates.begin() + static_cast<std::ptrdiff_t>(channelCount),
                           [this](double rate) { return rate != rates[0]; });
    }

    std::array<double, maximumChannels> rates{}; ///< pictures a second; only their ratios matter
    double turnCost = 3; ///< of each channel that is passed over
    std::array<double, 3> sizeVariances{0.4, 0.4, 0.4}; ///< by size class
    std::array<double, 3> usualDistances{}; ///< of the traits of neighbours, by size class; 0: not known
};

/// How long runs of pictures of one channel may be meant to last, in seconds.
[[nodiscard]] std::vector<double> runDurations(const AccessUnits &found,
                                               const std::vector<std::uint8_t> &channels,
                                               const Habits &habits, const std::vector<Span> &losses);

/// How often another channel was waiting longer than the one that came.
[[nodiscard]] std::size_t countPassedOver(const std::vector<std::uint8_t> &channels,
                                          std::size_t channelCount);

/// The usual distance of the traits of neighbours of one channel, by size class; 0 where nothing is known.
[[nodiscard]] std::array<double, sizeClassCount> usualDistancesOf(const AccessUnits &found,
                                                                  const std::vector<std::uint8_t> &channels,
                                                                  const std::vector<PictureTraits> &traits);

/// The same, without knowing the channels: each picture resembles one of those shortly before it.
[[nodiscard]] std::array<double, sizeClassCount> nearestDistancesOf(const AccessUnits &found,
                                                                    std::size_t channelCount,
                                                                    const std::vector<PictureTraits> &traits);

/// How often channels were passed over, and how much the sizes of their pictures vary.
[[nodiscard]] Habits habitsOf(const AccessUnits &found, const std::vector<std::uint8_t> &channels,
                              const std::vector<ChannelRequest> &requests);
