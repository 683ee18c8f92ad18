#pragma once

#include "channels/cameratrial.h"

/// The channel of each picture: its index, or noChannel.
struct Links {
    std::vector<std::uint8_t> channels;
    std::int64_t faults = 0; ///< how badly the pictures fit behind each other, 0 for perfectly
    std::vector<std::uint32_t> ties; ///< pictures that the headers leave to whose turn it is
    std::size_t outOfTurn = 0; ///< pictures that came though others waited longer, by their headers
    std::size_t answers = 0; ///< ties that were asked about
    std::size_t contradictions = 0; ///< of these, not as the turns say
    std::size_t doubtful = 0; ///< pictures behind losses that could be of several channels
};

/// Which ties are to be decoded.
enum class Asking {
    Nothing,
    BehindLosses,
    Some, ///< and as many others as it takes to tell whether channels take turns
    All,
};

/// Gives pictures to channels by their headers: the sizes in parameter sets, the ids in use, the numbers that
/// go on per channel, the length of its groups. Where several channels are left it is the turn of the one
/// that waited longest, unless `trial` is asked and says otherwise. Time: linear in the pictures but for
/// decoding.
[[nodiscard]] Links linkChannels(VideoCodec codec, const AccessUnits &found,
                                 const std::vector<ChannelRequest> &channels, const std::vector<Span> &losses,
                                 Asking asking = Asking::Nothing, CameraTrial *trial = nullptr);

/// How many channels there are, if nothing tells: as many as there are picture sizes in the parameter sets,
/// and more of a size where the pictures' numbers fit much better then. At least one.
[[nodiscard]] std::vector<ChannelRequest> guessChannels(VideoCodec codec, const AccessUnits &found,
                                                        const std::vector<Span> &losses);

/// Whether the sizes of the pictures in bytes show that the turns are kept: channels so different that a
/// picture on another's place would stand out, and none that does.
[[nodiscard]] bool doSizesShowTurns(const AccessUnits &found, const Links &links, std::size_t channelCount);
