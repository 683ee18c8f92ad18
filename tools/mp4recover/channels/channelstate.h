#pragma once

#include "channels/numbering.h"

#include <limits>
#include <optional>

/// What the pictures that a channel got so far tell about its next one.
class ChannelState
{
public:
    ChannelState(const ChannelRequest &request, const Numbering &numbering)
        : m_request(request)
        , m_numbering(numbering)
    {
    }

    static constexpr int impossible = std::numeric_limits<int>::max();
    static constexpr int begunInGroup = 30; ///< the fault of a first picture that depends on others
    static constexpr int otherPictureSet = 40;

    /// How badly the picture's headers fit behind those before it: 0 well, `impossible` not at all.
    [[nodiscard]] int faultsOf(const AccessUnit &picture, const AccessUnits &found) const;
    void add(std::uint32_t index, const AccessUnit &picture);

    [[nodiscard]] bool hasStarted() const { return m_numbering.hasStarted(); }
    /// 1 + index of its last picture; 0: none yet.
    [[nodiscard]] std::uint32_t served() const { return m_served; }
    [[nodiscard]] std::optional<int> pictureSetId() const { return m_pictureSetId; }
    [[nodiscard]] const ChannelRequest &request() const { return m_request; }
    /// Its pictures since the last key picture.
    [[nodiscard]] const std::vector<std::uint32_t> &group() const { return m_group; }

private:
    [[nodiscard]] int keyFaults() const;

    ChannelRequest m_request;
    Numbering m_numbering;
    std::uint32_t m_served = 0;
    std::optional<int> m_pictureSetId;
    std::uint16_t m_setsId = 0;
    std::uint16_t m_sliceCount = 0;
    std::uint32_t m_inGroup = 0; ///< pictures since the last key picture, with it and those that are missing
    std::uint32_t m_groupLength = 0;
    bool m_isGroupSure = false; ///< there were two of that length
    std::vector<std::uint32_t> m_group;
};
