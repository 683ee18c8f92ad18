#include "reading/indextables.h"

#include <algorithm>

namespace {

constexpr std::size_t mostTracks = 16;
constexpr std::uint32_t mostSamples = 1'000'000; // of a track; an hour has 216,000 pictures at the most
constexpr std::uint64_t fullHeader = 4; // version and flags

/// Reads a box's content from its beginning; zeros behind its end.
class Reader
{
public:
    Reader(Bytes bytes, const Span &span)
        : m_bytes(bytes.subspan(span.offset, span.size))
    {
    }
    [[nodiscard]] std::size_t left() const { return m_bytes.size(); }
    void skip(std::size_t count) { m_bytes = m_bytes.subspan(std::min(count, m_bytes.size())); }
    std::uint32_t number8() { return number(1); }
    std::uint32_t number16() { return number(2); }
    std::uint32_t number32() { return number(4); }
    std::uint64_t number64()
    {
        const std::uint64_t high = number32();
        return high << 32U | number32();
    }
    Bytes take(std::size_t count)
    {
        const Bytes taken = m_bytes.first(std::min(count, m_bytes.size()));
        skip(count);
        return taken;
    }

private:
    std::uint32_t number(std::size_t size)
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8U | (i < m_bytes.size() ? m_bytes[i] : 0U);
        skip(size);
        return value;
    }

    Bytes m_bytes;
};

/// A box's content behind version and flags.
std::optional<Reader> tableIn(Bytes bytes, const Box &parent, std::string_view name)
{
    const auto box = childOf(bytes, parent, name);
    if (!box || box->content().size < fullHeader)
        return std::nullopt;
    Reader reader(bytes, box->content());
    reader.skip(fullHeader);
    return reader;
}

void addSet(std::vector<ParameterSet> &sets, Bytes set)
{
    if (!set.empty())
        sets.emplace_back(set.begin(), set.end());
}

/// ISO/IEC 14496-15, 5.3.3.1.
std::vector<ParameterSet> setsOfH264(Reader reader)
{
    std::vector<ParameterSet> sets;
    reader.skip(5);
    for (std::uint32_t left = reader.number8() & 0x1fU; left > 0; --left)
        addSet(sets, reader.take(reader.number16()));
    for (std::uint32_t left = reader.number8(); left > 0; --left)
        addSet(sets, reader.take(reader.number16()));
    return sets;
}

/// ISO/IEC 14496-15, 8.3.3.1.
std::vector<ParameterSet> setsOfH265(Reader reader)
{
    std::vector<ParameterSet> sets;
    reader.skip(22);
    for (std::uint32_t arrays = reader.number8(); arrays > 0 && reader.left() > 0; --arrays) {
        reader.skip(1);
        for (std::uint32_t left = reader.number16(); left > 0 && reader.left() > 0; --left)
            addSet(sets, reader.take(reader.number16()));
    }
    return sets;
}

/// What the elementary stream descriptor says of the coding (ISO/IEC 14496-1, 7.2.6).
SoundKind kindOfDescriptor(Reader reader)
{
    constexpr std::uint32_t stream = 3;
    constexpr std::uint32_t decoder = 4;
    constexpr std::uint32_t aac = 0x40;
    constexpr std::uint32_t mp3 = 0x6b;
    constexpr std::uint32_t mp3OfVersion2 = 0x69;
    const auto skipSize = [&reader] {
        for (int i = 0; i < 4 && (reader.number8() & 0x80U) != 0; ++i) { }
    };
    reader.skip(fullHeader);
    while (reader.left() > 0) {
        const std::uint32_t tag = reader.number8();
        skipSize();
        if (tag == stream) {
            reader.skip(3);
            continue;
        }
        if (tag != decoder)
            break;
        const std::uint32_t type = reader.number8();
        return type == aac                         ? SoundKind::Aac
            : type == mp3 || type == mp3OfVersion2 ? SoundKind::Mp3
                                                   : SoundKind::None;
    }
    return SoundKind::None;
}

class TrackReader
{
public:
    TrackReader(Bytes bytes, const Box &track)
        : m_bytes(bytes)
        , m_box(track)
    {
    }

    IndexTrack read()
    {
        const auto media = childOf(m_bytes, m_box, "mdia");
        const auto information = media ? childOf(m_bytes, *media, "minf") : std::nullopt;
        const auto tables = information ? childOf(m_bytes, *information, "stbl") : std::nullopt;
        if (!tables)
            return {};
        m_tables = *tables;
        readHandler(*media);
        readDescription();
        if (m_track.kind == IndexTrack::Kind::Video && (!readSizes() || !readOffsets()))
            m_track.samples.clear();
        return std::move(m_track);
    }

private:
    void readHandler(const Box &media)
    {
        auto handler = tableIn(m_bytes, media, "hdlr");
        if (!handler)
            return;
        handler->skip(4);
        constexpr std::uint32_t video = 0x76696465; // "vide"
        constexpr std::uint32_t sound = 0x736f756e; // "soun"
        const std::uint32_t type = handler->number32();
        m_track.kind = type == video ? IndexTrack::Kind::Video
            : type == sound          ? IndexTrack::Kind::Sound
                                     : IndexTrack::Kind::Other;
    }

    void readDescription()
    {
        const auto descriptions = childOf(m_bytes, m_tables, "stsd");
        if (!descriptions || descriptions->content().size < 8)
            return;
        const Span content = descriptions->content();
        const auto entry = boxAt(m_bytes, content.offset + 8, content.end());
        if (!entry)
            return;
        if (m_track.kind == IndexTrack::Kind::Video)
            readPictureFormat(*entry);
        else if (m_track.kind == IndexTrack::Kind::Sound)
            readSoundFormat(*entry);
    }

    void readPictureFormat(const Box &entry)
    {
        constexpr std::uint64_t fixedSize = 78;
        const bool isH264 = entry.is("avc1") || entry.is("avc3");
        const bool isH265 = entry.is("hvc1") || entry.is("hev1");
        if ((!isH264 && !isH265) || entry.content().size < fixedSize) {
            m_track.kind = IndexTrack::Kind::Other;
            return;
        }
        m_track.codec = isH264 ? VideoCodec::H264 : VideoCodec::H265;
        Reader reader(m_bytes, entry.content());
        reader.skip(24);
        m_track.width = static_cast<int>(reader.number16());
        m_track.height = static_cast<int>(reader.number16());
        Box inner = entry;
        inner.headerSize += static_cast<std::uint32_t>(fixedSize);
        if (const auto configuration = childOf(m_bytes, inner, isH264 ? "avcC" : "hvcC")) {
            const Reader content(m_bytes, configuration->content());
            m_track.parameterSets = isH264 ? setsOfH264(content) : setsOfH265(content);
        }
    }

    void readSoundFormat(const Box &entry)
    {
        constexpr std::uint64_t fixedSize = 28;
        constexpr std::uint64_t sizeOfVersion1 = 16;
        if (entry.content().size < fixedSize)
            return;
        Reader reader(m_bytes, entry.content());
        reader.skip(8);
        const std::uint32_t version = reader.number16();
        reader.skip(6);
        m_track.channelCount = static_cast<int>(reader.number16());
        const std::uint32_t sampleBits = reader.number16();
        reader.skip(4);
        m_track.sampleRateHz = static_cast<int>(reader.number32() >> 16U);
        if (entry.is("sowt") || entry.is("twos")) {
            m_track.sound = sampleBits == 16 ? SoundKind::Pcm16 : SoundKind::None;
        } else if (entry.is(".mp3")) {
            m_track.sound = SoundKind::Mp3;
        } else if (entry.is("mp4a")) {
            Box inner = entry;
            inner.headerSize += static_cast<std::uint32_t>(fixedSize + (version == 1 ? sizeOfVersion1 : 0));
            if (inner.headerSize <= inner.span.size)
                if (const auto descriptor = childOf(m_bytes, inner, "esds"))
                    m_track.sound = kindOfDescriptor(Reader(m_bytes, descriptor->content()));
        }
    }

    [[nodiscard]] bool readSizes()
    {
        auto table = tableIn(m_bytes, m_tables, "stsz");
        if (!table)
            return false;
        const std::uint32_t equalSize = table->number32(); // only sound has one
        const std::uint32_t count = table->number32();
        if (equalSize != 0 || table->left() / 4 < count || count > mostSamples)
            return false;
        m_track.samples.resize(count);
        for (Span &sample : m_track.samples)
            sample.size = table->number32();
        return true;
    }

    /// The places of the samples, by those of their chunks.
    [[nodiscard]] bool readOffsets()
    {
        const bool isLong = !childOf(m_bytes, m_tables, "stco");
        auto chunks = tableIn(m_bytes, m_tables, isLong ? "co64" : "stco");
        auto runs = tableIn(m_bytes, m_tables, "stsc");
        if (!chunks || !runs)
            return false;
        std::uint32_t chunkCount = chunks->number32();
        chunkCount =
            static_cast<std::uint32_t>(std::min<std::size_t>(chunkCount, chunks->left() / (isLong ? 8 : 4)));
        std::uint32_t runsLeft = runs->number32();
        std::uint32_t nextFirst = runs->number32();
        std::uint32_t perChunk = 0;
        std::size_t sample = 0;
        for (std::uint32_t chunk = 1; chunk <= chunkCount; ++chunk) {
            if (runsLeft > 0 && chunk >= nextFirst) {
                perChunk = runs->number32();
                runs->skip(4);
                --runsLeft;
                nextFirst = runs->number32();
            }
            const std::uint64_t offset = isLong ? chunks->number64() : chunks->number32();
            if (!placeSamples(offset, perChunk, sample))
                return false;
        }
        return sample == m_track.samples.size();
    }

    [[nodiscard]] bool placeSamples(std::uint64_t offset, std::uint32_t count, std::size_t &sample)
    {
        for (; count > 0; --count, ++sample) {
            if (sample == m_track.samples.size())
                return false;
            m_track.samples[sample].offset = offset;
            offset += m_track.samples[sample].size;
        }
        return true;
    }

    Bytes m_bytes;
    Box m_box;
    Box m_tables;
    IndexTrack m_track;
};

} // namespace

std::vector<IndexTrack> tracksOf(Bytes bytes, const Box &index)
{
    std::vector<IndexTrack> tracks;
    const Span content = index.content();
    std::uint64_t at = content.offset;
    while (const auto box = boxAt(bytes, at, content.end())) {
        if (box->is("trak") && tracks.size() < mostTracks)
            tracks.push_back(TrackReader(bytes, *box).read());
        at = box->span.end();
    }
    return tracks;
}
