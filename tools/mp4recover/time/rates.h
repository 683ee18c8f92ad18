#pragma once

#include <vector>

/// Pictures a second, as a fraction.
struct Rate {
    int numerator = 30;
    int denominator = 1;
    [[nodiscard]] double value() const { return double(numerator) / denominator; }
};

/// What is said of a rate; 0 where nothing is.
struct RateHints {
    double inSets = 0; ///< what the encoder was set up with at first
    int requested = 0; ///< a whole number, rounded either way
    bool operator==(const RateHints &) const = default;
};

/// A reading of the clock and how many frame times had passed in the channel by then.
struct FrameReading {
    double seconds = 0;
    double frames = 0;
    std::size_t segment = 0; ///< between two of these it isn't known how many frames passed
};

/// The rate that explains the readings best; what the camera itself says is believed as far as they let it.
/// Readings of a segment stand together.
[[nodiscard]] Rate chooseRate(const std::vector<FrameReading> &readings, const RateHints &hints);
