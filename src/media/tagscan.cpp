#include "tagscan.h"

#include "common/text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <QFile>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr qint64 headerSize = 8;
constexpr qint64 tagSize = 3;
constexpr qint64 pieceSize = 1 << 20; // bounds the candidates that a hostile piece can give
constexpr qint64 readSize =
    128 << 10; // stays in the second-level cache, so that searching costs little beside reading
constexpr size_t threadCount = 2;
constexpr size_t piecesOfABatch = 4 * threadCount;

/// A tag with the number behind it; no number if those 5 characters are none, or if the file ends before
/// them.
struct Candidate {
    qint64 offset = 0;
    BlockKind kind = BlockKind::DAT;
    std::optional<qint32> length;
};

struct Piece {
    qint64 begin = 0;
    qint64 end = 0;
    bool isShort = false; ///< the file ended within
    std::vector<Candidate> candidates;
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

/// Whether a tag may begin at one of the next positions; looks 2 bytes beyond them. The letters of different
/// tags may be mixed: kindAt() has the last word.
[[gnu::always_inline]] inline bool mayHoldTag(const uchar *bytes)
{
    Lanes hits{};
    for (qint64 i = 0; i < lanesAtOnce; i += qint64{sizeof(Lanes)}) {
        Lanes first;
        Lanes second;
        Lanes third;
        std::memcpy(&first, bytes + i, sizeof first);
        std::memcpy(&second, bytes + i + 1, sizeof second);
        std::memcpy(&third, bytes + i + 2, sizeof third);
        hits |= Lanes(((first == 'D') | (first == 'G') | (first == 'S'))
                      & ((second == 'A') | (second == 'P') | (second == 'H'))
                      & ((third == 'T') | (third == 'S') | (third == 'O')));
    }
    std::array<quint64, 4> words;
    static_assert(sizeof words == sizeof hits);
    std::memcpy(words.data(), &hits, sizeof hits);
    return (words[0] | words[1] | words[2] | words[3]) != 0;
}

/// Where a tag may begin, at or behind the position and before the limit; the limit if nowhere.
FOR_EACH_PROCESSOR qint64 nextSuspect(const uchar *bytes, qint64 at, qint64 limit)
{
    while (at + lanesAtOnce <= limit && !mayHoldTag(bytes + at))
        at += lanesAtOnce;
    return at;
}

void addCandidate(const uchar *bytes, qint64 size, qint64 at, qint64 fileOffset,
                  std::vector<Candidate> &candidates)
{
    const auto kind = kindAt(bytes + at);
    if (!kind)
        return;
    const auto length = at + headerSize <= size ? lengthAt(bytes + at + tagSize) : std::nullopt;
    candidates.push_back({fileOffset + at, *kind, length});
}

/// Candidates that begin in the first count bytes of size many.
void search(const uchar *bytes, qint64 count, qint64 size, qint64 fileOffset,
            std::vector<Candidate> &candidates)
{
    const qint64 limit = std::min(count, size - (tagSize - 1));
    qint64 at = 0;
    while ((at = nextSuspect(bytes, at, limit)) + lanesAtOnce <= limit) {
        for (qint64 lane = 0; lane < lanesAtOnce; ++lane)
            addCandidate(bytes, size, at + lane, fileOffset, candidates);
        at += lanesAtOnce;
    }
    for (; at < limit; ++at)
        addCandidate(bytes, size, at, fileOffset, candidates);
}

qint64 readAt(int descriptor, uchar *target, qint64 size, qint64 offset)
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t count =
            pread(descriptor, target + done, static_cast<size_t>(size - done), offset + done);
        if (count <= 0)
            break;
        done += count;
    }
    return done;
}

void searchPiece(int descriptor, Piece &piece)
{
    thread_local std::vector<uchar> buffer(readSize + headerSize);
    for (qint64 offset = piece.begin; offset < piece.end; offset += readSize) {
        const qint64 wanted = std::min(readSize, piece.end - offset);
        // The header of a tag at the very end reaches into what the next turn reads.
        const qint64 got = readAt(descriptor, buffer.data(), wanted + headerSize - 1, offset);
        search(buffer.data(), std::min(wanted, got), got, offset, piece.candidates);
        if (got < wanted) {
            piece.isShort = true;
            return;
        }
    }
}

std::vector<Piece> nextBatch(qint64 begin, qint64 size)
{
    std::vector<Piece> batch;
    for (; begin < size && batch.size() < piecesOfABatch; begin += pieceSize)
        batch.push_back({.begin = begin, .end = std::min(begin + pieceSize, size), .candidates = {}});
    return batch;
}

void searchBatch(int descriptor, std::vector<Piece> &batch)
{
    const auto searchEachNth = [&](size_t first) {
        for (size_t i = first; i < batch.size(); i += threadCount)
            searchPiece(descriptor, batch[i]);
    };
    if (batch.size() == 1)
        return searchEachNth(0);
    std::array<std::jthread, threadCount> threads;
    for (size_t first = 0; first < threadCount; ++first)
        threads[first] = std::jthread(searchEachNth, first);
}

/// Takes the candidates of one kind in file order and keeps those that are blocks.
class BlockSearch
{
public:
    void take(const Candidate &candidate, qint64 fileSize)
    {
        if (m_isOver || candidate.offset < m_position)
            return;
        const qint64 payload = candidate.offset + headerSize;
        if (payload > fileSize) {
            m_isOver = true;
            return;
        }
        if (!candidate.length) {
            m_position = payload;
            return;
        }
        const qint64 end = payload + *candidate.length;
        if (end > fileSize || m_places.size() == maximumBlocksOfAKind) {
            m_isOver = true;
            return;
        }
        m_places.append({payload, *candidate.length});
        m_position = end;
    }
    [[nodiscard]] QList<BlockPlace> takePlaces() { return std::move(m_places); }

private:
    qint64 m_position = 0;
    bool m_isOver = false;
    QList<BlockPlace> m_places;
};

} // namespace

BlockPlaces findBlocks(QFile &file)
{
    const qint64 size = file.size();
    std::array<BlockSearch, blockKindCount> searches;
    qint64 position = 0;
    while (position < size) {
        std::vector<Piece> batch = nextBatch(position, size);
        searchBatch(file.handle(), batch);
        for (const Piece &piece : batch) {
            for (const Candidate &candidate : piece.candidates)
                searches[static_cast<size_t>(candidate.kind)].take(candidate, size);
            if (piece.isShort)
                break;
        }
        position = batch.back().end;
        if (std::any_of(batch.begin(), batch.end(), [](const Piece &piece) { return piece.isShort; }))
            break;
    }
    BlockPlaces places;
    for (size_t kind = 0; kind < searches.size(); ++kind)
        places.ofKind[kind] = searches[kind].takePlaces();
    return places;
}
