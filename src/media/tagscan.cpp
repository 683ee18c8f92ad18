#include "tagscan.h"

#include "common/mappedfile.h"
#include "common/text.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr qint64 headerSize = 8;
constexpr qint64 tagSize = 3;
constexpr qint64 pieceSize = 1 << 20;
constexpr unsigned threadCount = 2; // more don't make the memory faster
constexpr size_t piecesAtOnce = 4; // with their size, what bounds the candidates of a hostile file

/// A tag with the number behind it; no number if those 5 characters are none, or if the file ends before
/// them.
struct Candidate {
    qint64 offset = 0;
    BlockKind kind = BlockKind::DAT;
    std::optional<qint32> length;
};

std::optional<BlockKind> kindAt(const uchar *bytes)
{
    if (std::memcmp(bytes, "DAT", tagSize) == 0)
        return BlockKind::DAT;
    if (std::memcmp(bytes, "GPS", tagSize) == 0)
        return BlockKind::GPS;
    if (std::memcmp(bytes, "SHO", tagSize) == 0)
        return BlockKind::SHO;
    return std::nullopt;
}

std::optional<qint32> lengthAt(const uchar *bytes)
{
    const auto number =
        text::parseInteger(QLatin1StringView(reinterpret_cast<const char *>(bytes), 5).toString());
    if (!number || *number < 0)
        return std::nullopt;
    return static_cast<qint32>(*number);
}

// Compiled for the machine it runs on: with the wider registers of newer processors the search takes half the
// time. All that it calls must become part of it for that, hence the attribute.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__clang__)
#define FOR_EACH_PROCESSOR __attribute__((target_clones("avx2", "default")))
#else
#define FOR_EACH_PROCESSOR
#endif

using Lanes = uchar __attribute__((vector_size(32)));
constexpr qint64 lanesAtOnce = 4 * qint64{sizeof(Lanes)};

/// Whether at one of the next positions the first and the last letter of a tag stand, or with isExact, all
/// three; looks 2 bytes beyond the positions.
template <bool isExact> [[gnu::always_inline]] inline bool mayHoldTag(const uchar *bytes)
{
    Lanes hits{};
    for (qint64 i = 0; i < lanesAtOnce; i += qint64{sizeof(Lanes)}) {
        Lanes first;
        Lanes last;
        std::memcpy(&first, bytes + i, sizeof first);
        std::memcpy(&last, bytes + i + 2, sizeof last);
        Lanes dat = Lanes((first == 'D') & (last == 'T'));
        Lanes gps = Lanes((first == 'G') & (last == 'S'));
        Lanes sho = Lanes((first == 'S') & (last == 'O'));
        if constexpr (isExact) {
            Lanes second;
            std::memcpy(&second, bytes + i + 1, sizeof second);
            dat &= Lanes(second == 'A');
            gps &= Lanes(second == 'P');
            sho &= Lanes(second == 'H');
        }
        hits |= dat | gps | sho;
    }
    std::array<quint64, 4> words;
    static_assert(sizeof words == sizeof hits);
    std::memcpy(words.data(), &hits, sizeof hits);
    return (words[0] | words[1] | words[2] | words[3]) != 0;
}

/// The first of the positions among which a tag begins, at or behind the position and before the limit; else
/// the last ones, which are too few for a look at once.
FOR_EACH_PROCESSOR qint64 nextTags(const uchar *bytes, qint64 at, qint64 limit)
{
    while (at + lanesAtOnce <= limit && !(mayHoldTag<false>(bytes + at) && mayHoldTag<true>(bytes + at)))
        at += lanesAtOnce;
    return at;
}

/// Tags that begin in one piece of the bytes.
std::vector<Candidate> search(std::span<const uchar> bytes, size_t piece)
{
    std::vector<Candidate> candidates;
    const auto size = static_cast<qint64>(bytes.size());
    const auto addIfTag = [&](qint64 at) {
        const auto kind = kindAt(bytes.data() + at);
        if (!kind)
            return;
        const auto length = at + headerSize <= size ? lengthAt(bytes.data() + at + tagSize) : std::nullopt;
        candidates.push_back({at, *kind, length});
    };
    qint64 at = static_cast<qint64>(piece) * pieceSize;
    const qint64 limit = std::min(at + pieceSize, size - (tagSize - 1));
    while ((at = nextTags(bytes.data(), at, limit)) + lanesAtOnce <= limit) {
        for (const qint64 end = at + lanesAtOnce; at < end; ++at)
            addIfTag(at);
    }
    for (; at < limit; ++at)
        addIfTag(at);
    return candidates;
}

/// Takes the candidates of one kind in file order and tells which are blocks.
class BlockSearch
{
public:
    /// The payload's length, none if the candidate is no block.
    std::optional<qint64> take(const Candidate &candidate, qint64 fileSize)
    {
        if (m_isOver || candidate.offset < m_position)
            return std::nullopt;
        const qint64 payload = candidate.offset + headerSize;
        const qint64 end = payload + candidate.length.value_or(0);
        m_isOver = end > fileSize || m_count == maximumBlocksOfAKind;
        if (m_isOver)
            return std::nullopt;
        m_position = end;
        if (candidate.length)
            ++m_count;
        return candidate.length;
    }

private:
    qint64 m_position = 0;
    qsizetype m_count = 0;
    bool m_isOver = false;
};

/// The pieces of a file, searched by several threads and taken in their order.
class FileSearch
{
public:
    FileSearch(const MappedFile &file, const BlockHandler &handler)
        : m_file(file)
        , m_bytes(file.bytes())
        , m_pieceCount(static_cast<size_t>((static_cast<qint64>(m_bytes.size()) + pieceSize - 1) / pieceSize))
        , m_handler(handler)
    {
    }
    void run()
    {
        std::vector<std::jthread> helpers;
        while (helpers.size() + 1 < std::min<size_t>(threadCount, m_pieceCount))
            helpers.emplace_back([this] { searchPieces(); });
        searchPieces();
    }

private:
    void searchPieces()
    {
        std::unique_lock lock(m_mutex);
        while (true) {
            m_wasTaken.wait(lock,
                            [this] { return m_next < m_taken + piecesAtOnce || m_next == m_pieceCount; });
            if (m_next == m_pieceCount)
                return;
            const size_t piece = m_next++;
            lock.unlock();
            std::vector<Candidate> candidates = search(m_bytes, piece);
            lock.lock();
            m_found[piece % piecesAtOnce] = std::move(candidates);
            takePieces();
        }
    }
    /// All that are next in the file's order.
    void takePieces()
    {
        while (auto found = std::exchange(m_found[m_taken % piecesAtOnce], std::nullopt)) {
            for (const Candidate &candidate : *found) {
                BlockSearch &blocks = m_searches[static_cast<size_t>(candidate.kind)];
                if (const auto length = blocks.take(candidate, static_cast<qint64>(m_bytes.size())))
                    m_handler(candidate.kind,
                              m_bytes.subspan(static_cast<size_t>(candidate.offset + headerSize),
                                              static_cast<size_t>(*length)));
            }
            m_file.release(m_taken * static_cast<size_t>(pieceSize), pieceSize);
            ++m_taken;
        }
        m_wasTaken.notify_all();
    }

    const MappedFile &m_file;
    const std::span<const uchar> m_bytes;
    const size_t m_pieceCount;
    const BlockHandler &m_handler;
    std::mutex m_mutex; // guards all that follows
    std::condition_variable m_wasTaken;
    size_t m_next = 0; // to be searched
    size_t m_taken = 0;
    std::array<std::optional<std::vector<Candidate>>, piecesAtOnce> m_found;
    std::array<BlockSearch, blockKindCount> m_searches;
};

} // namespace

void findBlocks(const MappedFile &file, const BlockHandler &handler) { FileSearch(file, handler).run(); }
