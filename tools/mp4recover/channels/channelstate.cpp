#include "channels/channelstate.h"

#include <algorithm>

namespace {

constexpr int otherSets = 20;
constexpr int otherSliceCount = 3;
constexpr int repeated = 12;
constexpr int jump = 4; ///< beside the pictures that are missing then
constexpr int mostCounted = 12;
constexpr int beyondGroup = 4;

} // namespace

int ChannelState::faultsOf(const AccessUnit &picture, const AccessUnits &found) const
{
    if (picture.setsId != 0) {
        const SetGroup &sets = found.sets[picture.setsId - 1U];
        const bool isOther =
            m_request.width != 0 && (sets.width != m_request.width || sets.height != m_request.height);
        if (sets.width != 0 && isOther)
            return impossible;
    }
    if (!hasStarted())
        return picture.slice.isSync ? 0 : begunInGroup;
    int faults = m_pictureSetId == picture.slice.pictureSetId ? 0 : otherPictureSet;
    if (picture.setsId != 0 && m_setsId != 0 && picture.setsId != m_setsId)
        faults += otherSets;
    if (m_sliceCount != picture.sliceCount && !picture.isDamaged)
        faults += otherSliceCount;
    if (picture.slice.isSync)
        return faults + keyFaults();
    const Numbering::Fit fit = m_numbering.fit(picture.slice);
    if (fit.isRepeated)
        faults += repeated;
    if (fit.ahead != 0)
        faults += jump + static_cast<int>(std::min<std::uint32_t>(fit.ahead, mostCounted));
    if (m_isGroupSure && m_inGroup >= m_groupLength)
        faults += beyondGroup;
    return faults;
}

/// Is it time for a key picture?
int ChannelState::keyFaults() const
{
    const std::uint32_t off =
        m_inGroup > m_groupLength ? m_inGroup - m_groupLength : m_groupLength - m_inGroup;
    if (m_groupLength == 0 || off == 0)
        return 0;
    return m_isGroupSure ? jump + static_cast<int>(std::min<std::uint32_t>(off, mostCounted)) : 2;
}

void ChannelState::add(std::uint32_t index, const AccessUnit &picture)
{
    if (picture.slice.isSync) {
        if (hasStarted() && m_inGroup > 0) {
            m_isGroupSure = m_inGroup == m_groupLength;
            m_groupLength = m_inGroup;
        }
        m_inGroup = 0;
        m_group.clear();
    } else if (hasStarted()) {
        const Numbering::Fit fit = m_numbering.fit(picture.slice);
        m_inGroup += fit.isRepeated ? 0 : std::min<std::uint32_t>(fit.ahead, mostCounted);
    }
    ++m_inGroup;
    m_group.push_back(index);
    m_numbering.advance(picture.slice);
    m_served = index + 1;
    m_pictureSetId = picture.slice.pictureSetId;
    if (picture.setsId != 0)
        m_setsId = picture.setsId;
    m_sliceCount = picture.sliceCount;
}
