#pragma once

#include "budget.h"
#include "reading/accessunits.h"
#include "sets/trialdecoder.h"

#include <memory>
#include <optional>

inline constexpr std::size_t maximumChannels = 8;
inline constexpr std::uint8_t noChannel = 0xff;

/// A channel with its pictures since the last key picture.
struct Camera {
    std::uint8_t channel = 0;
    const std::vector<std::uint32_t> *group = nullptr;
};

/// Finds out by decoding which camera pictures belong to. A picture goes on where its own camera's last one
/// left off; on another one's it leaves its changes in a picture that they don't belong to, or can't be
/// decoded at all. A process of its own decodes on trial: what comes of it doesn't touch the decoders here.
class CameraTrial
{
public:
    /// `sets` by channel; empty where none are known.
    CameraTrial(Bytes bytes, VideoCodec codec, const AccessUnits &found,
                const std::vector<std::vector<ParameterSet>> &sets, const Budget &budget);

    /// The channel of each of the pictures, all different; none where nothing can be decoded, or where it
    /// makes no difference. `margin` is that of a logarithm by which one way must be better than
    /// another. At most as many pictures as cameras.
    [[nodiscard]] std::optional<std::vector<std::uint8_t>>
    assign(const std::vector<std::uint32_t> &pictures, const std::vector<Camera> &cameras, double margin);

private:
    struct Follower {
        std::unique_ptr<TrialDecoder> decoder;
        std::vector<std::uint32_t> fed; ///< since the last key picture
    };
    [[nodiscard]] bool follow(const Camera &camera);
    [[nodiscard]] Sample sampleOf(std::uint32_t picture) const;

    Bytes m_bytes;
    VideoCodec m_codec;
    const AccessUnits &m_found;
    const std::vector<std::vector<ParameterSet>> &m_sets;
    const Budget &m_budget;
    std::vector<Follower> m_followers;
};
