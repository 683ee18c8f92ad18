#include "writing/mp4writer.h"

#include "common/avhandles.h"
#include "failure.h"
#include "writing/outputfile.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

namespace {

constexpr std::size_t lengthSize = 4;

void require(int code, const char *step)
{
    if (code < 0)
        throw Failure(ExitStatus::Target, std::string(step) + ": " + avErrorText(code).toStdString());
}

bool isParameterSet(VideoCodec codec, unsigned type)
{
    return codec == VideoCodec::H264 ? type == 7 || type == 8 : type >= 32 && type <= 34;
}

/// The bytes of one sample: where they lie in the source if they lie there in one piece, else put together.
class SampleBytes
{
public:
    SampleBytes(Bytes source, const std::vector<Unit> &units)
        : m_source(source)
        , m_units(units)
    {
    }

    [[nodiscard]] Bytes of(const VideoTrack &track, const Picture &picture)
    {
        const Unit *first = m_units.data() + picture.firstUnit;
        const Unit *end = first + picture.unitCount;
        bool isWhole = true;
        for (const Unit *unit = first; unit != end; ++unit) {
            const bool isAdjacent =
                unit == first || unit->offset == (unit - 1)->offset + (unit - 1)->size + lengthSize;
            isWhole = isWhole && isAdjacent && isKept(track, *unit) && hasLength(*unit);
        }
        if (isWhole && first != end) {
            const std::uint64_t begin = first->offset - lengthSize;
            return m_source.subspan(begin, (end - 1)->offset + (end - 1)->size - begin);
        }
        m_joined.clear();
        for (const Unit *unit = first; unit != end; ++unit)
            if (isKept(track, *unit))
                join(*unit);
        return m_joined;
    }

private:
    [[nodiscard]] bool isKept(const VideoTrack &track, const Unit &unit) const
    {
        return !isParameterSet(track.channel->codec, unit.type)
            || std::any_of(track.sets->begin(), track.sets->end(), [&](const ParameterSet &set) {
                   return std::ranges::equal(set, m_source.subspan(unit.offset, unit.size));
               });
    }
    [[nodiscard]] bool hasLength(const Unit &unit) const
    {
        return unit.offset >= lengthSize
            && bigEndian32(m_source.data() + unit.offset - lengthSize) == unit.size;
    }
    void join(const Unit &unit)
    {
        for (unsigned shift : {24U, 16U, 8U, 0U})
            m_joined.push_back(static_cast<std::uint8_t>(unit.size >> shift));
        const Bytes bytes = m_source.subspan(unit.offset, unit.size);
        m_joined.insert(m_joined.end(), bytes.begin(), bytes.end());
    }

    Bytes m_source;
    const std::vector<Unit> &m_units;
    std::vector<std::uint8_t> m_joined;
};

void addTrack(AVFormatContext *muxer, const VideoTrack &track)
{
    AVStream *stream = avformat_new_stream(muxer, nullptr);
    if (!stream)
        throw std::bad_alloc();
    AVCodecParameters *parameters = stream->codecpar;
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = track.channel->codec == VideoCodec::H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    if (parameters->codec_id == AV_CODEC_ID_HEVC)
        parameters->codec_tag = MKTAG('h', 'v', 'c', '1');
    parameters->width = track.width;
    parameters->height = track.height;
    const std::size_t size = track.configuration.size();
    parameters->extradata = static_cast<std::uint8_t *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters->extradata)
        throw std::bad_alloc();
    std::copy(track.configuration.begin(), track.configuration.end(), parameters->extradata);
    parameters->extradata_size = static_cast<int>(size);
    stream->time_base = {1, track.times.timescale};
    stream->disposition = AV_DISPOSITION_DEFAULT; // every channel is switched on
}

/// A track on its way out.
struct Cursor {
    const VideoTrack *track;
    std::size_t next = 0;

    [[nodiscard]] bool isAtEnd() const { return next >= track->channel->pictures.size(); }
    [[nodiscard]] double seconds() const
    {
        return double(track->times.decode[next]) / track->times.timescale;
    }
    [[nodiscard]] std::int64_t duration() const
    {
        const std::vector<std::int64_t> &decode = track->times.decode;
        return next + 1 < decode.size() ? decode[next + 1] - decode[next] : track->times.lastDuration;
    }
};

void writeSample(AVFormatContext *muxer, AVPacket *packet, const Cursor &cursor, int streamIndex, Bytes bytes)
{
    const VideoTimes &times = cursor.track->times;
    const AVRational own{1, times.timescale};
    const AVRational written = muxer->streams[streamIndex]->time_base;
    // The edit list begins with the picture shown first: decoding begins before the zero of the track.
    const std::int64_t decode = times.decode[cursor.next] - times.firstShown;
    const std::int64_t shown = decode + (times.shownLater.empty() ? 0 : times.shownLater[cursor.next]);
    packet->data = const_cast<std::uint8_t *>(bytes.data()); // only read: no filter is in the way
    packet->size = static_cast<int>(bytes.size());
    packet->stream_index = streamIndex;
    packet->dts = av_rescale_q(decode, own, written);
    packet->pts = av_rescale_q(shown, own, written);
    packet->duration = av_rescale_q(cursor.duration(), own, written);
    packet->flags = cursor.track->channel->pictures[cursor.next].isSync ? AV_PKT_FLAG_KEY : 0;
    require(av_write_frame(muxer, packet), "cannot write a sample");
}

void writeSamples(AVFormatContext *muxer, Bytes source, const std::vector<Unit> &units,
                  const std::vector<VideoTrack> &tracks, const std::function<void(double)> &progress)
{
    std::vector<Cursor> cursors;
    std::size_t total = 0;
    for (const VideoTrack &track : tracks) {
        cursors.push_back({&track});
        total += track.channel->pictures.size();
    }
    const PacketPtr packet(av_packet_alloc());
    SampleBytes samples(source, units);
    for (std::size_t done = 0; done < total; ++done) {
        const auto earliest =
            std::min_element(cursors.begin(), cursors.end(), [](const Cursor &a, const Cursor &b) {
                return !a.isAtEnd() && (b.isAtEnd() || a.seconds() < b.seconds());
            });
        const Picture &picture = earliest->track->channel->pictures[earliest->next];
        writeSample(muxer, packet.get(), *earliest, static_cast<int>(earliest - cursors.begin()),
                    samples.of(*earliest->track, picture));
        ++earliest->next;
        constexpr std::size_t step = 256;
        if (done % step == 0)
            progress(double(done) / double(total));
    }
}

} // namespace

void writeMp4(OutputFile &target, Bytes source, const std::vector<Unit> &units,
              const std::vector<VideoTrack> &tracks, const std::function<void(double)> &progress)
{
    AVFormatContext *context = nullptr;
    require(avformat_alloc_output_context2(&context, nullptr, "mp4", nullptr), "cannot make an MP4");
    const MuxerPtr muxer(context);
    muxer->pb = target.io();
    muxer->flags |= AVFMT_FLAG_CUSTOM_IO;
    muxer->flush_packets = 0;
    for (const VideoTrack &track : tracks)
        addTrack(muxer.get(), track);
    require(avformat_write_header(muxer.get(), nullptr), "cannot begin the MP4");
    writeSamples(muxer.get(), source, units, tracks, progress);
    require(av_write_trailer(muxer.get()), "cannot write the index");
    progress(1);
}
