#include "recording.h"

#include "damage.h"
#include "encoder.h"
#include "interruption.h"
#include "telemetry.h"

#include <algorithm>
#include <future>
#include <limits>
#include <QFile>

namespace {

Failure failure(const QString &path, int code)
{
    return QStringLiteral("cannot write %1: %2").arg(path, avErrorText(code));
}

/// The MP4 file that is being written. Blocks go between the packets, outside of every sample.
class Container
{
public:
    explicit Container(QString path)
        : m_path(std::move(path))
    {
    }
    ~Container()
    {
        if (m_format)
            avio_closep(&m_format->pb);
    }
    Container(const Container &) = delete;
    Container &operator=(const Container &) = delete;

    [[nodiscard]] Failure open()
    {
        AVFormatContext *format = nullptr;
        int code = avformat_alloc_output_context2(&format, nullptr, "mp4", nullptr);
        m_format.reset(format);
        if (code >= 0)
            code = avio_open(&m_format->pb, m_path.toLocal8Bit().constData(), AVIO_FLAG_WRITE);
        if (code < 0)
            return failure(m_path, code);
        m_format->flags |= AVFMT_FLAG_BITEXACT;
        return {};
    }

    void addTrack(const AVCodecContext *codec)
    {
        AVStream *stream = avformat_new_stream(m_format.get(), nullptr);
        avcodec_parameters_from_context(stream->codecpar, codec);
        stream->time_base = codec->time_base;
        stream->avg_frame_rate = codec->framerate;
        stream->disposition = AV_DISPOSITION_DEFAULT; // every track is switched on
        m_timeBases.append(codec->time_base);
    }

    [[nodiscard]] Failure begin()
    {
        if (const int code = avformat_write_header(m_format.get(), nullptr); code < 0)
            return failure(m_path, code);
        m_mediaStart = avio_tell(m_format->pb) - boxHeaderSize;
        return {};
    }

    void writeBlock(const QByteArray &block)
    {
        avio_write(m_format->pb, reinterpret_cast<const unsigned char *>(block.constData()),
                   static_cast<int>(block.size()));
    }

    [[nodiscard]] Failure writePacket(int track, AVPacket *packet)
    {
        m_lastPacketStart = avio_tell(m_format->pb);
        packet->stream_index = track;
        av_packet_rescale_ts(packet, m_timeBases[track], m_format->streams[track]->time_base);
        if (const int code = av_write_frame(m_format.get(), packet); code < 0)
            return failure(m_path, code);
        m_lastPacketEnd = avio_tell(m_format->pb);
        return {};
    }

    /// Writes the index. The muxer counts its own samples only, so the size of the media data is set
    /// afterwards.
    [[nodiscard]] Failure finish()
    {
        const qint64 mediaEnd = avio_tell(m_format->pb);
        if (mediaEnd - m_mediaStart > std::numeric_limits<std::uint32_t>::max())
            return QStringLiteral("cannot write %1: longer than 4 GiB").arg(m_path);
        if (const int code = av_write_trailer(m_format.get()); code < 0)
            return failure(m_path, code);
        avio_seek(m_format->pb, m_mediaStart, SEEK_SET);
        avio_wb32(m_format->pb, static_cast<unsigned>(mediaEnd - m_mediaStart));
        return close();
    }

    /// As if the power went: no index, and the last frame is there by half.
    [[nodiscard]] Failure breakOff()
    {
        const qint64 cut = (m_lastPacketStart + m_lastPacketEnd) / 2;
        if (Failure failed = close())
            return failed;
        QFile file(m_path);
        if (!file.resize(cut))
            return QStringLiteral("cannot write %1: %2").arg(m_path, file.errorString());
        return {};
    }

private:
    static constexpr int boxHeaderSize = 8;

    [[nodiscard]] Failure close()
    {
        avio_flush(m_format->pb);
        const int written = m_format->pb->error;
        const int code = avio_closep(&m_format->pb);
        if (written < 0 || code < 0)
            return failure(m_path, written < 0 ? written : code);
        return {};
    }

    QString m_path;
    MuxerPtr m_format;
    QList<AVRational> m_timeBases;
    qint64 m_mediaStart = 0;
    qint64 m_lastPacketStart = 0;
    qint64 m_lastPacketEnd = 0;
};

/// Something that goes into the file at its time: a block, or the packet of a track.
struct Item {
    double seconds = 0;
    QByteArray block;
    int track = -1;
    AVPacket *packet = nullptr;
};

class Recorder
{
public:
    Recorder(const RecordingPlan &plan, const QString &path)
        : m_plan(plan)
        , m_drive(plan.drive, plan.seconds, plan.seed)
        , m_sound(180 + 20.0 * (plan.seed % 17), 1 + static_cast<int>(plan.seed % 2))
        , m_container(path)
    {
        for (int i = 0; i < plan.pictures.size(); ++i)
            m_channels.push_back(std::make_unique<ChannelEncoder>(
                ChannelEncoder::Setup{i + 1, plan.pictures[i], plan.fps, plan.seed, plan.start}, m_drive));
    }

    [[nodiscard]] Failure open()
    {
        if (Failure failed = m_container.open())
            return failed;
        for (const auto &channel : m_channels) {
            if (Failure failed = channel->open())
                return failed;
            m_container.addTrack(channel->codec());
        }
        if (m_plan.hasSound) {
            if (Failure failed = m_sound.open())
                return failed;
            m_container.addTrack(m_sound.codec());
        }
        return m_container.begin();
    }

    [[nodiscard]] Failure record()
    {
        m_container.writeBlock(telemetry::channelBlock(m_plan.pictures, m_plan.fps));
        for (int second = 0; second < m_plan.seconds; ++second) {
            if (interruption::isAsked())
                return QStringLiteral("interrupted");
            if (Failure failed = recordSecond(second))
                return failed;
        }
        return m_plan.ending == Ending::PowerCut ? m_container.breakOff() : m_container.finish();
    }

    [[nodiscard]] QList<QByteArray> parameterSets() const
    {
        QList<QByteArray> sets;
        for (const auto &channel : m_channels)
            sets += splitUnits({reinterpret_cast<const char *>(channel->codec()->extradata),
                                channel->codec()->extradata_size});
        return sets;
    }

private:
    [[nodiscard]] Failure recordSecond(int second)
    {
        std::vector<TimedPackets> tracks(m_channels.size() + 1);
        std::vector<std::future<Failure>> running;
        for (std::size_t i = 0; i < m_channels.size(); ++i)
            running.push_back(
                std::async(std::launch::async, [channel = m_channels[i].get(), packets = &tracks[i]] {
                    return channel->encodeSecond(*packets);
                }));
        Failure failed;
        if (m_plan.hasSound)
            failed = m_sound.encodeUntil(second + 1, second + 1 == m_plan.seconds, tracks.back());
        for (std::future<Failure> &channel : running)
            if (Failure inChannel = channel.get(); inChannel && !failed)
                failed = inChannel;
        return failed ? failed : writeInOrder(blocksOf(second), tracks);
    }

    [[nodiscard]] std::vector<Item> blocksOf(int second) const
    {
        const QDateTime clock = m_plan.start.addSecs(second);
        std::vector<Item> items{{double(second), telemetry::positionBlock(clock, m_drive.at(second))}};
        for (int i = 0; i < Drive::samplesPerSecond; ++i) {
            const DriveState &sample = m_drive.sample(second * Drive::samplesPerSecond + i);
            items.push_back({second + double(i) / Drive::samplesPerSecond,
                             telemetry::accelerationBlock(clock, sample.acceleration)});
        }
        return items;
    }

    [[nodiscard]] Failure writeInOrder(std::vector<Item> items, const std::vector<TimedPackets> &tracks)
    {
        for (std::size_t track = 0; track < tracks.size(); ++track)
            for (const TimedPacket &timed : tracks[track])
                items.push_back({timed.seconds, {}, static_cast<int>(track), timed.packet.get()});
        std::stable_sort(items.begin(), items.end(),
                         [](const Item &a, const Item &b) { return a.seconds < b.seconds; });
        for (const Item &item : items) {
            if (!item.packet)
                m_container.writeBlock(item.block);
            else if (Failure failed = m_container.writePacket(item.track, item.packet))
                return failed;
        }
        return {};
    }

    const RecordingPlan &m_plan;
    Drive m_drive;
    SoundEncoder m_sound;
    Container m_container;
    std::vector<std::unique_ptr<ChannelEncoder>> m_channels;
};

} // namespace

Failure writeRecording(const RecordingPlan &plan, const QString &path)
{
    Recorder recorder(plan, path);
    if (Failure failed = recorder.open())
        return failed;
    if (Failure failed = recorder.record())
        return failed;
    if (plan.ending == Ending::FirstSetsDamaged || plan.ending == Ending::AllSetsDamaged)
        return damageParameterSets(path, recorder.parameterSets(), plan.ending == Ending::AllSetsDamaged);
    return {};
}
