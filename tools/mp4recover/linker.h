#pragma once

#include "linkbeam.h"

/// Tells the channels of a recording apart by the headers of the pictures alone: the sizes in parameter sets,
/// the ids in use, the numbers that go on per channel, the length of its groups of pictures, the sizes of
/// its pictures in bytes, and the order in which the channels take their turns. Several assignments are
/// followed at a time, and the cheapest is kept; once for channels that take turns picture by picture, once
/// for channels that come in runs. Near the losses, stretches of the file in their order, numbers may jump.
/// Time: linear in the pictures. Memory: 16 bytes a picture.
/// `traits`, if there are any, tell of the same pictures what they are like.
[[nodiscard]] Links linkChannels(VideoCodec codec, const AccessUnits &found,
                                 const std::vector<ChannelRequest> &channels, const std::vector<Span> &losses,
                                 const std::vector<PictureTraits> &traits = {});

/// The pictures whose channel the headers leave open: all where channels overtake each other, those around
/// losses, and what is needed to decode them. Empty if there are none.
[[nodiscard]] std::vector<bool> doubtfulPictures(const AccessUnits &found, const Links &links,
                                                 const std::vector<ChannelRequest> &channels,
                                                 const std::vector<Span> &losses);

/// How many channels there are, if nothing tells: as many as there are picture sizes in the parameter sets,
/// and more of a size where the pictures' numbers fit much better then. Sizes are 0 where they aren't known.
/// At least one.
[[nodiscard]] std::vector<ChannelRequest> guessChannels(VideoCodec codec, const AccessUnits &found,
                                                        const std::vector<Span> &losses);
