#include "reading/unitsearch.h"

#include "common/mappedfile.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

constexpr std::uint64_t pieceSize = 1U << 20U; // what is scanned at once stays in the cache for a second look
constexpr std::uint64_t longestStretch = 16U << 20U; // searched at once where no block divides it
constexpr std::size_t mostHits = 1'000'000; // of one stretch
constexpr std::size_t mostBlocks = 1'000'000; // an hour has about 40,000
constexpr std::size_t mostUnits = 4'000'000; // an hour of five channels at 60 pictures a second has 1,100,000
constexpr double decisiveLead = 500; // of one codec's score over the other's

class Search
{
public:
    Search(const MappedFile &file, std::uint64_t begin)
        : m_file(file)
        , m_bytes(file.bytes())
        , m_end(m_bytes.size())
        , m_stretchBegin(std::min(begin, m_end))
        , m_released(m_stretchBegin)
    {
    }

    Landmarks run(const Progress &progress)
    {
        const std::uint64_t begin = m_stretchBegin;
        for (std::uint64_t at = begin; at < m_end; at += pieceSize) {
            const std::uint64_t end = std::min(m_end, at + pieceSize);
            m_file.populate(at, end - at);
            scan(m_bytes, at, end, m_hits);
            divide(end);
            release();
            progress(static_cast<double>(end - begin) / static_cast<double>(m_end - begin));
        }
        searchUntil(m_end, StretchEnd::FileEnd);
        return take();
    }

private:
    /// Searches the stretches that end at a block or box before the end of what was scanned.
    void divide(std::uint64_t scanned)
    {
        for (const std::uint64_t tag : m_hits.tags) {
            if (tag < m_stretchBegin)
                continue;
            if (m_bytes[tag] == 'm')
                takeIndex(tag);
            else
                takeBlock(tag);
        }
        m_hits.tags.clear();
        if (scanned > m_stretchBegin
            && (scanned - m_stretchBegin > longestStretch || m_hits.count() > mostHits))
            searchPart(scanned);
        m_hits.dropBefore(m_stretchBegin);
    }

    void takeBlock(std::uint64_t tag)
    {
        const auto block = m_landmarks.blocks.size() < mostBlocks ? blockAt(m_bytes, tag) : std::nullopt;
        if (!block)
            return;
        searchUntil(tag, StretchEnd::Known);
        m_stretchBegin = block->end();
        m_landmarks.blocks.push_back(*block);
    }

    /// `tag` is where the box' type stands, behind its size.
    void takeIndex(std::uint64_t tag)
    {
        constexpr std::uint64_t sizeSize = 4;
        constexpr std::size_t mostIndexes = 8;
        if (tag < m_stretchBegin + sizeSize || m_landmarks.indexes.size() == mostIndexes)
            return;
        const auto index = indexAt(m_bytes, tag - sizeSize);
        if (!index)
            return;
        searchUntil(index->span.offset, StretchEnd::Known);
        m_landmarks.indexes.push_back(*index);
        m_stretchBegin = index->span.end();
        m_landmarks.boxes.push_back(index->span);
        passBoxes();
    }

    /// Other boxes may stand behind the index.
    void passBoxes()
    {
        while (const auto box = boxAt(m_bytes, m_stretchBegin, m_end)) {
            const bool isKnown = box->is("free") || box->is("skip") || box->is("udta") || box->is("uuid")
                || box->is("meta") || box->is("mfra");
            if (!isKnown || !box->isWhole)
                return;
            m_landmarks.boxes.push_back(box->span);
            m_stretchBegin = box->span.end();
        }
    }

    void searchUntil(std::uint64_t end, StretchEnd kind)
    {
        if (end <= m_stretchBegin)
            return;
        const Span stretch{m_stretchBegin, end - m_stretchBegin};
        for (const VideoCodec codec : {VideoCodec::H264, VideoCodec::H265}) {
            if ((!m_decided || *m_decided == codec) && resultOf(codec).units.size() < mostUnits)
                searchStretch(m_bytes, codec, stretch, kind, m_hits, resultOf(codec));
        }
        decide();
    }

    /// No block for long: searches what there is and goes on behind the last unit that was found.
    void searchPart(std::uint64_t scanned)
    {
        searchUntil(scanned, StretchEnd::Open);
        std::uint64_t begin = scanned - std::min<std::uint64_t>(scanned - m_stretchBegin, maximumUnitSize);
        for (const VideoCodec codec : {VideoCodec::H264, VideoCodec::H265}) {
            const auto &units = resultOf(codec).units;
            if (!units.empty() && (!m_decided || *m_decided == codec))
                begin = std::max(begin, units.back().end());
        }
        // Where the places look alike all over, nothing would ever be dropped.
        m_stretchBegin = m_hits.count() > mostHits ? scanned : begin;
    }

    void decide()
    {
        const double lead = resultOf(VideoCodec::H264).score - resultOf(VideoCodec::H265).score;
        if (!m_decided && std::abs(lead) > decisiveLead)
            m_decided = lead > 0 ? VideoCodec::H264 : VideoCodec::H265;
    }

    void release()
    {
        if (m_stretchBegin <= m_released)
            return;
        m_file.release(m_released, m_stretchBegin - m_released);
        m_released = m_stretchBegin;
    }

    Landmarks take()
    {
        const double lead = resultOf(VideoCodec::H264).score - resultOf(VideoCodec::H265).score;
        m_landmarks.codec = m_decided.value_or(lead >= 0 ? VideoCodec::H264 : VideoCodec::H265);
        m_landmarks.units = std::move(resultOf(m_landmarks.codec).units);
        m_landmarks.soundFrames = std::move(resultOf(m_landmarks.codec).soundFrames);
        return std::move(m_landmarks);
    }

    SearchResult &resultOf(VideoCodec codec) { return m_results[codec == VideoCodec::H264 ? 0 : 1]; }

    const MappedFile &m_file;
    Bytes m_bytes;
    std::uint64_t m_end;
    std::uint64_t m_stretchBegin; ///< all before it is searched
    std::uint64_t m_released;
    ScanHits m_hits;
    std::array<SearchResult, 2> m_results;
    std::optional<VideoCodec> m_decided;
    Landmarks m_landmarks;
};

} // namespace

Landmarks searchUnits(const MappedFile &file, std::uint64_t begin, const Progress &progress)
{
    return Search(file, begin).run(progress);
}
