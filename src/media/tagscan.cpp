#include "tagscan.h"

#include "common/mappedfile.h"
#include "common/text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace {

constexpr qint64 headerSize = 8;
constexpr qint64 tagSize = 3;
constexpr qint64 pieceSize = 1 << 20;
constexpr unsigned threadCount = 2; // more don't make the memory faster
constexpr size_t piecesAtOnce = 4; // with their size, what bounds the candidates of a hostile file
constexpr size_t piecesToRelease = 8; // at once, as each time interrupts the other processors

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

constexpr qint64 positionsAtOnce = 128;

/// Whether a tag begins at the position, by its first and its last letter.
bool mayBeTag(const uchar *bytes)
{
    const uchar first = bytes[0];
    const uchar last = bytes[2];
    return (first == 'D' && last == 'T') || (first == 'G' && last == 'S') || (first == 'S' && last == 'O');
}

qint64 nextPlainly(const uchar *bytes, qint64 at, qint64 limit)
{
    while (at + positionsAtOnce <= limit && !mayBeTag(bytes + at))
        ++at;
    return at;
}

#ifdef __x86_64__

/// A bit for each position at which the letters fit. The first letters of the tags differ in their lower four
/// bits, so these look up which letter that is and which last letter belongs to it.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i fittingLetters(const uchar *bytes)
{
    // A zero byte would look up a zero, which is no letter, but equal to it: hence the 1.
    const __m256i firstLetters =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 0, 0, 'S', 'D', 0, 0, 'G', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i lastLetters =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 0, 0, 'O', 'T', 0, 0, 'S', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
    const __m256i last = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes + 2));
    return _mm256_and_si256(_mm256_cmpeq_epi8(_mm256_shuffle_epi8(firstLetters, first), first),
                            _mm256_cmpeq_epi8(_mm256_shuffle_epi8(lastLetters, first), last));
}

/// The same with the wide registers of newer processors.
[[gnu::target("avx2")]] qint64 nextWidely(const uchar *bytes, qint64 at, qint64 limit)
{
    constexpr qint64 width = sizeof(__m256i);
    for (; at + positionsAtOnce <= limit; at += positionsAtOnce) {
        __m256i fitting = _mm256_setzero_si256();
        for (qint64 i = 0; i < positionsAtOnce; i += width)
            fitting = _mm256_or_si256(fitting, fittingLetters(bytes + at + i));
        if (_mm256_testz_si256(fitting, fitting))
            continue;
        for (unsigned mask = 0;; at += width) {
            mask = static_cast<unsigned>(_mm256_movemask_epi8(fittingLetters(bytes + at)));
            if (mask != 0)
                return at + std::countr_zero(mask);
        }
    }
    return at;
}

#endif

/// The first position, at or behind the one given, at which a tag may begin; else one with less than
/// positionsAtOnce before the limit, which have to be looked at one by one.
qint64 nextPosition(const uchar *bytes, qint64 at, qint64 limit)
{
#ifdef __x86_64__
    static const bool isWide = __builtin_cpu_supports("avx2");
    if (isWide)
        return nextWidely(bytes, at, limit);
#endif
    return nextPlainly(bytes, at, limit);
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
    while ((at = nextPosition(bytes.data(), at, limit)) + positionsAtOnce <= limit)
        addIfTag(at++);
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
        m_isCutShort = end <= fileSize && m_count == maximumBlocksOfAKind;
        m_isOver = end > fileSize || m_isCutShort;
        if (m_isOver)
            return std::nullopt;
        m_position = end;
        if (candidate.length)
            ++m_count;
        return candidate.length;
    }

    [[nodiscard]] bool isCutShort() const { return m_isCutShort; }

private:
    qint64 m_position = 0;
    qsizetype m_count = 0;
    bool m_isOver = false;
    bool m_isCutShort = false; // since there are too many
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
    /// False if there are too many blocks.
    bool run()
    {
        std::vector<std::jthread> helpers;
        while (helpers.size() + 1 < std::min<size_t>(threadCount, m_pieceCount))
            helpers.emplace_back([this] { searchPieces(); });
        searchPieces();
        helpers.clear();
        return std::none_of(m_searches.begin(), m_searches.end(),
                            [](const BlockSearch &search) { return search.isCutShort(); });
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
            if (++m_taken % piecesToRelease == 0)
                m_file.release((m_taken - piecesToRelease) * size_t{pieceSize},
                               piecesToRelease * size_t{pieceSize});
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

bool findBlocks(const MappedFile &file, const BlockHandler &handler)
{
    return FileSearch(file, handler).run();
}
