#pragma once

#include "linkbeam.h"
#include "linkstate.h"

/// Where a picture stands.
struct Place {
    bool isDamageNear = false; ///< numbers may jump
    bool isGap = false; ///< something else stands between it and the picture before
    bool isTurnLost = false; ///< bytes are lost since the turns before
};

/// What it costs to give a picture to a channel that it fits badly, and what the channel is like with it.
/// Costs are about natural logarithms of probabilities.
class LinkCosts
{
public:
    LinkCosts(const LinkInput &input, const Habits &habits, const Hypothesis &hypothesis);

    [[nodiscard]] LinkState first() const;
    [[nodiscard]] double of(const LinkState &state, std::uint8_t channel, std::uint32_t picture,
                            const Place &place) const;
    /// Of taking the picture for none at all.
    [[nodiscard]] static double ofNoise(const AccessUnit &picture);

    /// The channel gets the picture.
    void serve(LinkState &state, std::uint8_t channel, std::uint32_t picture) const;
    /// The channel whose turn it is has lost a picture. A run is over when no more than `runEnd` pictures are
    /// left of it.
    void skipTurn(LinkState &state, std::uint32_t nextPicture, double runEnd = 0) const;
    /// Whether the run could as well be over now as a picture later or earlier.
    [[nodiscard]] bool mayRunEnd(const LinkState &state) const;

private:
    [[nodiscard]] double headerFaults(const LinkedChannel &channel, const AccessUnit &picture,
                                      bool isDamageNear) const;
    [[nodiscard]] double keyFaults(const LinkedChannel &channel, const AccessUnit &picture) const;
    [[nodiscard]] double identityFaults(const LinkState &state, std::uint8_t index, const AccessUnit &picture,
                                        std::uint32_t pictureIndex, bool isDamageNear) const;
    [[nodiscard]] double sizeCost(const LinkedChannel &channel, const AccessUnit &picture) const;
    [[nodiscard]] double traitsCost(const LinkedChannel &channel, std::uint8_t channelIndex,
                                    std::uint32_t index) const;
    [[nodiscard]] double orderCost(const LinkState &state, std::uint8_t index, const AccessUnit &picture,
                                   const Place &place) const;
    [[nodiscard]] double runCost(const LinkState &state, bool isStay) const;
    [[nodiscard]] double countEarlier(const LinkState &state, std::uint8_t index, double time) const;
    [[nodiscard]] double precedence(const LinkState &state, std::size_t otherIndex, std::size_t index,
                                    double time) const;
    [[nodiscard]] std::uint8_t nextInTurn(const LinkState &state, double runEnd) const;
    void passTurn(LinkState &state, std::uint8_t index, std::uint32_t served, double pictures) const;
    void passOver(LinkState &state, std::uint8_t index, std::uint32_t pictureIndex, double time) const;
    void keepUp(const LinkState &state, LinkedChannel &channel, std::uint8_t index) const;
    [[nodiscard]] double beginOf(const LinkState &state, std::uint8_t index) const;
    [[nodiscard]] double rateOf(std::size_t index) const { return m_habits.rates[index]; }
    /// When its next picture should come.
    [[nodiscard]] double dueOf(const LinkedChannel &channel, std::size_t index) const;
    [[nodiscard]] double timeOf(const LinkedChannel &channel, std::size_t index,
                                const AccessUnit &picture) const;

    bool m_doNumbersTellTime; ///< those of H.264 repeat too soon to tell how many pictures a hole took
    const AccessUnits &m_found;
    const std::vector<ChannelRequest> &m_requests;
    const std::vector<PictureTraits> &m_traits;
    Habits m_habits;
    Order m_order;
    RunLengths m_runLengths;
    std::size_t m_count;
    int m_counterBits;
    Numbering m_numbering;
    bool m_doKeyIdsVary = false;
};
