#include "journal.h"

#include <algorithm>
#include <cstring>
#include <ext2fs/ext2fs.h>
#include <unordered_map>

// The journal is big-endian. Each of its own blocks begins with mark, kind, sequence (4 bytes each); a
// transaction is descriptor blocks, each followed by copies of the blocks that its tags name, revoke blocks,
// and a commit block. A revoke record says that copies of that block in this and earlier transactions don't
// count.

namespace {

enum Kind : std::uint32_t { Descriptor = 1, Commit = 2, SuperBlockV1 = 3, SuperBlockV2 = 4, Revoke = 5 };
enum Compatible : std::uint32_t { OldChecksum = 0x1 };
enum Incompatible : std::uint32_t {
    Revokes = 0x1,
    Wide = 0x2, ///< block numbers of 64 bits
    AsyncCommit = 0x4,
    ChecksumV2 = 0x8,
    ChecksumV3 = 0x10,
    FastCommit = 0x20,
    AllKnown = 0x3f
};
enum TagFlag : std::uint32_t { Escaped = 1, SameUuid = 2, LastTag = 8 };

constexpr std::size_t headerSize = 12;
constexpr std::size_t superBlockSize = 1024;
constexpr std::size_t superBlockChecksumAt = 0xfc;
constexpr std::size_t commitChecksumAt = 16;
constexpr std::size_t revokeHeaderSize = 16;
constexpr std::size_t tailSize = 4; ///< checksum at the end of descriptor and revoke blocks
constexpr std::size_t uuidSize = 16;

using Block = std::vector<std::byte>;

std::uint32_t big16(const Block &block, std::size_t at)
{
    return std::to_integer<std::uint32_t>(block[at]) << 8 | std::to_integer<std::uint32_t>(block[at + 1]);
}

std::uint32_t big32(const Block &block, std::size_t at)
{
    return big16(block, at) << 16 | big16(block, at + 2);
}

std::uint32_t crc32c(std::uint32_t seed, const void *bytes, std::size_t size)
{
    return ext2fs_crc32c_le(seed, static_cast<const unsigned char *>(bytes), size);
}

/// Sequence numbers wrap around.
bool isLater(std::uint32_t a, std::uint32_t b) { return static_cast<std::int32_t>(a - b) > 0; }

struct Copy {
    std::uint64_t block;
    std::uint32_t position; ///< in the journal
    std::uint32_t sequence;
    std::uint32_t checksum;
    bool isEscaped;
};

class Follower
{
public:
    Follower(const CardView &view, const std::vector<std::uint64_t> &places, std::uint32_t blockSize)
        : m_view(view)
        , m_places(places)
        , m_block(blockSize)
    {
    }

    JournalReplay follow();

private:
    bool readSuperBlock();
    bool hasGoodFeatures();
    void scan();
    bool takeDescriptor();
    bool takeCommit();
    std::size_t takeTag(std::size_t at, Copy &copy, bool &isLast) const;
    [[nodiscard]] bool isOldChecksumGood(const Block &commit);
    [[nodiscard]] bool areCopiesGood();
    [[nodiscard]] bool isTailGood(Block block) const;
    void applyRevokes();
    std::vector<JournalledBlock> newestCopies() const;
    void lookForFastCommits();

    [[nodiscard]] bool readAt(std::uint32_t position, Block &block) const
    {
        return position < m_places.size()
            && m_view.read(m_places[position] * m_block.size(), std::span(block.data(), block.size()));
    }
    [[nodiscard]] bool hasChecksums() const { return (m_incompatible & (ChecksumV2 | ChecksumV3)) != 0; }
    [[nodiscard]] std::size_t tagSize() const;
    [[nodiscard]] std::uint32_t after(std::uint32_t position) const
    {
        return position + 1 < m_end ? position + 1 : m_first;
    }
    bool end(const char *problem)
    {
        m_problem = problem;
        return false;
    }

    const CardView &m_view;
    const std::vector<std::uint64_t> &m_places;
    Block m_block; ///< the one at m_position
    std::uint32_t m_first = 0, m_end = 0; ///< the positions that the log runs around in
    std::uint32_t m_fastEnd = 0; ///< end of the fast-commit area, which begins at m_end
    std::uint32_t m_position = 0, m_sequence = 0;
    std::uint32_t m_steps = 0; ///< positions passed, at most once around
    std::uint32_t m_compatible = 0, m_incompatible = 0, m_seed = 0;
    std::vector<Copy> m_pending, m_committed;
    std::vector<std::uint32_t> m_pendingDescriptors;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> m_pendingRevokes, m_revokes; ///< position, sequence
    std::unordered_map<std::uint64_t, std::uint32_t>
        m_revokedThrough; ///< block: sequence, for blocks with copies
    const char *m_problem = nullptr;
};

bool Follower::readSuperBlock()
{
    if (m_block.size() < superBlockSize || !readAt(0, m_block))
        return end("journal-unreadable");
    const std::uint32_t kind = big32(m_block, 4);
    if (std::memcmp(m_block.data(), journalMark.data(), journalMark.size()) != 0
        || (kind != SuperBlockV1 && kind != SuperBlockV2) || big32(m_block, 12) != m_block.size())
        return end("journal-damaged");
    const std::uint32_t length = big32(m_block, 16);
    m_first = big32(m_block, 20);
    m_sequence = big32(m_block, 24);
    m_position = big32(m_block, 28);
    if (kind == SuperBlockV2 && !hasGoodFeatures())
        return false;
    const std::uint32_t fastBlocks = (m_incompatible & FastCommit) == 0 ? 0
        : big32(m_block, 84) != 0                                       ? big32(m_block, 84)
                                                                        : 256;
    if (length > m_places.size() || fastBlocks >= length || m_first == 0 || m_first >= length - fastBlocks)
        return end("journal-damaged");
    m_end = length - fastBlocks;
    m_fastEnd = length;
    if (m_position != 0 && (m_position < m_first || m_position >= m_end))
        return end("journal-damaged");
    return true;
}

bool Follower::hasGoodFeatures()
{
    m_compatible = big32(m_block, 36);
    m_incompatible = big32(m_block, 40);
    if ((m_incompatible & ~AllKnown) != 0)
        return end("journal-unknown-features");
    if (!hasChecksums())
        return true;
    m_seed = crc32c(~0U, m_block.data() + 48, uuidSize);
    Block copy(m_block.begin(), m_block.begin() + superBlockSize);
    std::fill_n(copy.begin() + superBlockChecksumAt, 4, std::byte{0});
    if (crc32c(~0U, copy.data(), copy.size()) != big32(m_block, superBlockChecksumAt))
        return end("journal-checksum");
    return true;
}

std::size_t Follower::tagSize() const
{
    if ((m_incompatible & ChecksumV3) != 0)
        return 16;
    return 8U + ((m_incompatible & ChecksumV2) != 0 ? 2U : 0U) + ((m_incompatible & Wide) != 0 ? 4U : 0U);
}

bool Follower::isTailGood(Block block) const
{
    if (!hasChecksums())
        return true;
    const std::size_t at = block.size() - tailSize;
    const std::uint32_t told = big32(block, at);
    std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(at), tailSize, std::byte{0});
    return crc32c(m_seed, block.data(), block.size()) == told;
}

/// Gives the number of bytes that the tag takes.
std::size_t Follower::takeTag(std::size_t at, Copy &copy, bool &isLast) const
{
    const bool isV3 = (m_incompatible & ChecksumV3) != 0;
    const std::uint32_t flags = isV3 ? big32(m_block, at + 4) : big16(m_block, at + 6);
    copy.block = big32(m_block, at);
    if ((m_incompatible & Wide) != 0)
        copy.block |= static_cast<std::uint64_t>(big32(m_block, at + 8)) << 32;
    copy.checksum = isV3 ? big32(m_block, at + 12) : big16(m_block, at + 4);
    copy.isEscaped = (flags & Escaped) != 0;
    isLast = (flags & LastTag) != 0;
    return tagSize() + ((flags & SameUuid) != 0 ? 0 : uuidSize);
}

bool Follower::takeDescriptor()
{
    if (!isTailGood(m_block))
        return end("journal-checksum");
    m_pendingDescriptors.push_back(m_position);
    const std::size_t limit = m_block.size() - (hasChecksums() ? tailSize : 0);
    bool isLast = false;
    for (std::size_t at = headerSize; !isLast && at + tagSize() <= limit;) {
        Copy copy{};
        at += takeTag(at, copy, isLast);
        m_position = after(m_position);
        if (++m_steps >= m_end - m_first)
            return false;
        copy.position = m_position;
        copy.sequence = m_sequence;
        m_pending.push_back(copy);
    }
    return true;
}

/// The older checksum covers each descriptor with its copies, in the order of the log.
bool Follower::isOldChecksumGood(const Block &commit)
{
    const std::uint32_t told = big32(commit, commitChecksumAt);
    const bool isThere = std::to_integer<int>(commit[12]) == 1 && std::to_integer<int>(commit[13]) == 4;
    if (!isThere)
        return commit[12] == std::byte{0} && commit[13] == std::byte{0} && told == 0;
    std::vector<std::uint32_t> positions = m_pendingDescriptors;
    for (const Copy &copy : m_pending)
        positions.push_back(copy.position);
    const auto turn = [start = m_pendingDescriptors.empty() ? 0 : m_pendingDescriptors.front(), this](
                          std::uint32_t p) { return p >= start ? p - start : p - m_first + (m_end - start); };
    std::sort(positions.begin(), positions.end(),
              [&turn](std::uint32_t a, std::uint32_t b) { return turn(a) < turn(b); });
    std::uint32_t sum = ~0U;
    Block block(m_block.size());
    for (const std::uint32_t position : positions) {
        if (!readAt(position, block))
            return false;
        sum = ext2fs_crc32_be(sum, reinterpret_cast<const unsigned char *>(block.data()), block.size());
    }
    return sum == told;
}

bool Follower::areCopiesGood()
{
    std::array<unsigned char, 4> sequence{};
    for (std::size_t i = 0; i < sequence.size(); ++i)
        sequence[i] = static_cast<unsigned char>(m_sequence >> (24 - 8 * i));
    const std::uint32_t seed = crc32c(m_seed, sequence.data(), sequence.size());
    const std::uint32_t mask = (m_incompatible & ChecksumV3) != 0 ? ~0U : 0xffffU;
    Block block(m_block.size());
    return std::all_of(m_pending.begin(), m_pending.end(), [&](const Copy &copy) {
        return readAt(copy.position, block)
            && (crc32c(seed, block.data(), block.size()) & mask) == (copy.checksum & mask);
    });
}

bool Follower::takeCommit()
{
    if (hasChecksums()) {
        Block zeroed = m_block;
        std::fill_n(zeroed.begin() + commitChecksumAt, 4, std::byte{0});
        if (crc32c(m_seed, zeroed.data(), zeroed.size()) != big32(m_block, commitChecksumAt)
            || !areCopiesGood())
            return end("journal-checksum");
    } else if ((m_compatible & OldChecksum) != 0 && !isOldChecksumGood(m_block)) {
        return end("journal-checksum");
    }
    m_committed.insert(m_committed.end(), m_pending.begin(), m_pending.end());
    m_revokes.insert(m_revokes.end(), m_pendingRevokes.begin(), m_pendingRevokes.end());
    m_pending.clear();
    m_pendingRevokes.clear();
    m_pendingDescriptors.clear();
    ++m_sequence;
    return true;
}

void Follower::scan()
{
    for (; m_steps < m_end - m_first; ++m_steps, m_position = after(m_position)) {
        if (!readAt(m_position, m_block)) {
            end("journal-unreadable");
            return;
        }
        if (std::memcmp(m_block.data(), journalMark.data(), journalMark.size()) != 0
            || big32(m_block, 8) != m_sequence)
            return;
        const std::uint32_t kind = big32(m_block, 4);
        if (kind == Revoke)
            m_pendingRevokes.emplace_back(m_position, m_sequence);
        else if (!(kind == Descriptor && takeDescriptor()) && !(kind == Commit && takeCommit()))
            return;
    }
}

/// Records are read only now, and only those of blocks with copies are kept: there may be far more than
/// memory holds.
void Follower::applyRevokes()
{
    for (const Copy &copy : m_committed)
        m_revokedThrough.try_emplace(copy.block, m_committed.front().sequence - 1);
    const std::size_t width = (m_incompatible & Wide) != 0 ? 8 : 4;
    for (const auto &[position, sequence] : m_revokes) {
        if (!readAt(position, m_block) || !isTailGood(m_block)) {
            end("journal-checksum");
            continue;
        }
        const std::size_t limit = std::min<std::size_t>(big32(m_block, headerSize),
                                                        m_block.size() - (hasChecksums() ? tailSize : 0));
        for (std::size_t at = revokeHeaderSize; at + width <= limit; at += width) {
            std::uint64_t block = big32(m_block, at);
            if (width == 8)
                block = block << 32 | big32(m_block, at + 4);
            const auto known = m_revokedThrough.find(block);
            if (known != m_revokedThrough.end() && isLater(sequence, known->second))
                known->second = sequence;
        }
    }
}

std::vector<JournalledBlock> Follower::newestCopies() const
{
    std::unordered_map<std::uint64_t, JournalledBlock> newest;
    for (const Copy &copy : m_committed) {
        if (isLater(copy.sequence, m_revokedThrough.at(copy.block)))
            newest[copy.block] = {copy.block, m_places[copy.position], copy.isEscaped};
    }
    std::vector<JournalledBlock> blocks;
    blocks.reserve(newest.size());
    for (const auto &[block, copy] : newest)
        blocks.push_back(copy);
    std::sort(blocks.begin(), blocks.end(),
              [](const JournalledBlock &a, const JournalledBlock &b) { return a.block < b.block; });
    return blocks;
}

/// Fast commits (not made unless asked for when formatting) are told, not followed. Their area,
/// little-endian, begins with a head: tag 9, length 8, features, sequence.
void Follower::lookForFastCommits()
{
    if (m_fastEnd == m_end || !readAt(m_end, m_block))
        return;
    constexpr std::array head{std::byte{9}, std::byte{0}, std::byte{8}, std::byte{0}};
    std::uint32_t sequence = 0;
    for (std::size_t i = 4; i-- > 0;)
        sequence = sequence << 8 | std::to_integer<std::uint32_t>(m_block[8 + i]);
    if (std::memcmp(m_block.data(), head.data(), head.size()) == 0 && sequence == m_sequence)
        end("journal-fast-commits");
}

JournalReplay Follower::follow()
{
    if (readSuperBlock() && m_position != 0) {
        scan();
        applyRevokes();
        lookForFastCommits();
    }
    return {newestCopies(), static_cast<std::uint32_t>(m_block.size()), m_problem};
}

} // namespace

JournalReplay replayJournal(const CardView &view, const std::vector<std::uint64_t> &places,
                            std::uint32_t blockSize)
{
    return Follower(view, places, blockSize).follow();
}
