#pragma once

#include "habits.h"
#include "numbering.h"

/// Which channel each picture belongs to.
struct Links {
    std::vector<std::uint8_t> channels; ///< per picture: index of the channel, or noChannel for noise
    double cost = 0; ///< how badly the pictures fit behind each other, 0 for perfectly
    /// Where other assignments that are hardly worse part from this one: indices of pictures, in order.
    std::vector<std::uint32_t> partings;
};

enum class Order {
    Turns, ///< picture by picture
    Runs, ///< several pictures of a channel, then several of the next
    EqualRuns, ///< runs whose length is known
};

/// All that an assignment is made from; the parts outlive it.
struct LinkInput {
    VideoCodec codec = VideoCodec::H264;
    const AccessUnits &found;
    const std::vector<ChannelRequest> &channels; ///< at most maximumChannels
    const std::vector<Span> &losses; ///< in file order
    const std::vector<PictureTraits> &traits; ///< of each picture, or none at all
};

/// The order that is supposed. The lengths are those of Order::EqualRuns.
struct Hypothesis {
    Order order = Order::Turns;
    RunLengths runLengths{};
};

/// Assigns the first `count` pictures to channels: follows several assignments at a time from picture to
/// picture and gives the cheapest. Time: linear in the pictures. Memory: 4 bytes a picture and assignment.
[[nodiscard]] Links followPictures(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis,
                                   std::size_t count);
