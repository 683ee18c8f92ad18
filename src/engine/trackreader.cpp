#include "trackreader.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/common.h>
}

namespace {

constexpr int longestLead = 64; // packets before the first one that is shown
constexpr int mostBadPackets = 1000; // in a row
constexpr auto measuringTime = std::chrono::seconds(2);
constexpr auto longestLength = std::chrono::hours(24 * 10); // of a recording; more is a fault of the file
constexpr int64_t mostMeasured = int64_t{2} << 30; // bytes
// Whatever a damaged file tells, sums of some times stay within 64 bits. Nine years.
constexpr Nanoseconds farthest(int64_t{1} << 58);

Nanoseconds bounded(int64_t ticks, AVRational timeBase)
{
    const int64_t time = av_rescale_q(ticks, timeBase, nanosecondBase);
    if (time == INT64_MIN) // too large for it
        return ticks < 0 ? -farthest : farthest;
    return std::clamp(Nanoseconds(time), -farthest, farthest);
}

int64_t endOf(const AVPacket &packet) { return av_sat_add64(packet.pts, packet.duration); }

int64_t spanOf(const AVFormatContext &format, const AVStream &stream)
{
    if (stream.duration > 0)
        return stream.duration;
    const int64_t start = std::max<int64_t>(format.start_time, 0);
    return format.duration > start ? av_rescale_q(format.duration - start, AV_TIME_BASE_Q, stream.time_base)
                                   : 0;
}

} // namespace

std::optional<TrackInfo> trackInfoOf(const AVFormatContext &format, int index)
{
    const AVStream &stream = *format.streams[index];
    const AVCodecParameters &codec = *stream.codecpar;
    const bool isVideo =
        codec.codec_type == AVMEDIA_TYPE_VIDEO && !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC);
    if (!isVideo && codec.codec_type != AVMEDIA_TYPE_AUDIO)
        return std::nullopt;
    TrackInfo info;
    info.index = index;
    info.kind = isVideo ? TrackKind::Video : TrackKind::Audio;
    info.durationSeconds = static_cast<double>(spanOf(format, stream)) * av_q2d(stream.time_base);
    info.pictureSize = QSize(codec.width, codec.height);
    return info;
}

std::unique_ptr<TrackReader> TrackReader::open(std::shared_ptr<const MovieSource> source, int index,
                                               MovieError *error)
{
    std::unique_ptr<Demuxer> demuxer = Demuxer::open(std::move(source), error);
    if (!demuxer)
        return nullptr;
    if (index < 0 || index >= static_cast<int>(demuxer->format()->nb_streams)) {
        *error = {MovieError::Kind::NoMovie, QStringLiteral("No such track")};
        return nullptr;
    }
    std::unique_ptr<TrackReader> reader(new TrackReader(std::move(demuxer), index));
    if (!reader->findStart()) {
        *error = {MovieError::Kind::NoMovie, QStringLiteral("The track holds no data that can be read")};
        return nullptr;
    }
    reader->findReadableEnd();
    if (reader->m_duration <= Nanoseconds(0) || reader->m_duration > longestLength)
        reader->measureDuration();
    reader->m_demuxer->setDeadline(std::nullopt);
    return reader;
}

TrackReader::TrackReader(std::unique_ptr<Demuxer> demuxer, int index)
    : m_demuxer(std::move(demuxer))
    , m_stream(m_demuxer->format()->streams[index])
{
    const AVFormatContext &format = *m_demuxer->format();
    for (unsigned i = 0; i < format.nb_streams; i++)
        format.streams[i]->discard = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    m_duration = bounded(spanOf(format, *m_stream), m_stream->time_base);
}

int TrackReader::videoTrackCount() const
{
    const AVFormatContext &format = *m_demuxer->format();
    return static_cast<int>(
        std::count_if(format.streams, format.streams + format.nb_streams, [](const AVStream *stream) {
            return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        }));
}

AVRational TrackReader::sampleAspectRatio(AVFrame *frame) const
{
    return av_guess_sample_aspect_ratio(m_demuxer->format(), m_stream, frame);
}

/// Packets before the start of an edit are needed for decoding alone, so they don't count.
bool TrackReader::findStart()
{
    for (int i = 0; i < longestLead; i++) {
        PacketPtr packet(av_packet_alloc());
        if (!packet || !readFromFile(packet.get()))
            break;
        const bool isShown = !(packet->flags & AV_PKT_FLAG_DISCARD);
        const int64_t shownAt = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        m_pending.push_back(std::move(packet));
        if (isShown || i + 1 == longestLead) {
            // The demuxer's own figure takes into account what sound coders put before the first sample.
            const bool isTold = m_stream->start_time != AV_NOPTS_VALUE;
            m_start = isTold ? m_stream->start_time : std::max<int64_t>(shownAt, 0);
            return true;
        }
    }
    return !m_pending.empty();
}

/// In a file that was cut off the index goes on behind the data.
void TrackReader::findReadableEnd()
{
    const int count = avformat_index_get_entries_count(m_stream);
    int last = count - 1;
    for (; last >= 0; last--) {
        const AVIndexEntry &entry = *avformat_index_get_entry(m_stream, last);
        if (entry.pos >= 0 && entry.pos + entry.size <= m_demuxer->fileSize())
            break;
    }
    if (last >= 0 && last < count - 1)
        m_readableEnd = timeOf(avformat_index_get_entry(m_stream, last)->timestamp);
}

/// For files that don't tell, as fragmented ones: by a walk through the packets. What is too much to walk
/// through is estimated from the part that was seen.
void TrackReader::measureDuration()
{
    const PacketPtr packet(av_packet_alloc());
    Nanoseconds end(0);
    for (const PacketPtr &pending : m_pending)
        end = std::max(end, timeOf(endOf(*pending)));
    const auto until = std::chrono::steady_clock::now() + measuringTime;
    int64_t offset = 0;
    m_demuxer->setDeadline(until); // one read may walk through any number of other tracks' packets
    while (packet && offset < mostMeasured && readFromFile(packet.get())) {
        end = std::max(end, timeOf(endOf(*packet)));
        offset = std::max(offset, packet->pos);
        av_packet_unref(packet.get());
    }
    const bool isPart = offset >= mostMeasured || std::chrono::steady_clock::now() >= until;
    const double part =
        static_cast<double>(offset) / static_cast<double>(std::max<qint64>(m_demuxer->fileSize(), 1));
    const double share = isPart && part > 0 && part < 1 ? part : 1;
    const auto longest = static_cast<double>(Nanoseconds(longestLength).count());
    m_duration =
        Nanoseconds(std::llround(std::clamp(static_cast<double>(end.count()) / share, 0.0, longest)));
    m_demuxer->setDeadline(std::nullopt);
    m_pending.clear();
    m_readUntil = Nanoseconds(0);
    seekToKey(Nanoseconds(0));
}

/// libavformat hands out what is left of a packet at the end of the file.
bool TrackReader::isCutOff(const AVPacket &packet) const
{
    return (packet.flags & AV_PKT_FLAG_CORRUPT) && packet.pos + packet.size >= m_demuxer->fileSize();
}

bool TrackReader::readFromFile(AVPacket *packet)
{
    for (int bad = 0; bad < mostBadPackets; bad++) {
        const int result = av_read_frame(m_demuxer->format(), packet);
        if (result < 0 && result != AVERROR_INVALIDDATA)
            return false;
        const bool isWhole = result >= 0 && !isCutOff(*packet);
        if (isWhole && packet->stream_index == m_stream->index) {
            if (packet->pts == AV_NOPTS_VALUE)
                packet->pts = packet->dts;
            return true;
        }
        av_packet_unref(packet);
        if (result >= 0 && !isWhole)
            return false;
        if (result >= 0)
            bad--; // another track's: no fault
    }
    return false;
}

bool TrackReader::read(AVPacket *packet)
{
    if (m_pending.empty()) {
        if (!readFromFile(packet))
            return false;
    } else {
        av_packet_move_ref(packet, m_pending.front().get());
        m_pending.pop_front();
    }
    m_lastDts = packet->dts;
    if (packet->pts != AV_NOPTS_VALUE && !(packet->flags & AV_PKT_FLAG_DISCARD))
        m_readUntil = std::max(m_readUntil, timeOf(endOf(*packet)));
    return true;
}

std::optional<Nanoseconds> TrackReader::seekToKey(Nanoseconds target)
{
    m_pending.clear();
    m_lastDts = AV_NOPTS_VALUE;
    const int64_t wanted = timestampAt(target);
    // The index goes by decoding time: the key frame that it gives may be shown later than the target. Then
    // the one before is the right one.
    int64_t goTo = wanted;
    std::optional<Nanoseconds> arrivedAt;
    for (int tries = 0; tries < 4; tries++) {
        AVFormatContext *format = m_demuxer->format();
        if (av_seek_frame(format, m_stream->index, goTo, AVSEEK_FLAG_BACKWARD) < 0)
            av_seek_frame(format, m_stream->index, goTo, 0);
        PacketPtr packet(av_packet_alloc());
        m_pending.clear();
        if (!packet || !readFromFile(packet.get()))
            return std::nullopt;
        const int64_t shownAt = packet->pts;
        const int64_t decodedAt = packet->dts;
        m_pending.push_back(std::move(packet));
        arrivedAt = shownAt == AV_NOPTS_VALUE ? std::nullopt : std::optional(timeOf(shownAt));
        const bool isLate =
            arrivedAt > target + sameTime && m_stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (!isLate || decodedAt == AV_NOPTS_VALUE || decodedAt > goTo || shownAt <= m_start)
            break;
        goTo = decodedAt - 1;
    }
    return arrivedAt;
}

bool TrackReader::isInGroupOf(Nanoseconds target) const
{
    const AVIndexEntry *key = keyBefore(target);
    return m_lastDts != AV_NOPTS_VALUE && key && key->timestamp <= m_lastDts;
}

std::optional<Nanoseconds> TrackReader::keyBetweenHereAnd(Nanoseconds time) const
{
    const AVIndexEntry *key = keyBefore(time);
    if (m_lastDts == AV_NOPTS_VALUE || !key || key->timestamp <= m_lastDts)
        return std::nullopt;
    return timeOf(key->timestamp);
}

const AVIndexEntry *TrackReader::keyBefore(Nanoseconds time) const
{
    return avformat_index_get_entry_from_timestamp(m_stream, timestampAt(time), AVSEEK_FLAG_BACKWARD);
}

Nanoseconds TrackReader::timeOf(int64_t timestamp) const
{
    return bounded(av_sat_sub64(timestamp, m_start), m_stream->time_base);
}

int64_t TrackReader::timestampAt(Nanoseconds time) const
{
    return av_sat_add64(m_start, av_rescale_q(time.count(), nanosecondBase, m_stream->time_base));
}

Nanoseconds TrackReader::withinReadable(Nanoseconds target) const
{
    return std::min(target, m_readableEnd.value_or(target));
}
