#include "indexedfindings.h"

#include "blocks.h"
#include "common/avhandles.h"
#include "parametersets.h"

#include <QFile>

namespace {

bool isSet(VideoCodec codec, int type)
{
    return codec == VideoCodec::H264 ? type == 7 || type == 8 : type >= 32 && type <= 34;
}

/// The sets of an avcC or hvcC, found by walking over its 16-bit lengths.
std::vector<ParameterSet> setsOfConfiguration(VideoCodec codec, Bytes record)
{
    std::vector<ParameterSet> sets;
    std::size_t at = codec == VideoCodec::H264 ? 5 : 22;
    const auto take = [&](int count) {
        for (; count > 0; --count) {
            const std::size_t size = bigEndian16(record.data() + at);
            sets.emplace_back(record.begin() + static_cast<std::ptrdiff_t>(at + 2),
                              record.begin() + static_cast<std::ptrdiff_t>(at + 2 + size));
            at += 2 + size;
        }
    };
    if (codec == VideoCodec::H264) {
        take(record[at++] & 0x1f);
        take(record[at++]);
    } else {
        for (int arrays = record[at++]; arrays > 0; --arrays) {
            const int count = bigEndian16(record.data() + at + 1);
            at += 3;
            take(count);
        }
    }
    return sets;
}

void addPicture(Findings &findings, Channel &channel, Bytes bytes, const AVPacket &packet)
{
    Picture picture;
    picture.firstUnit = static_cast<std::uint32_t>(findings.units.size());
    picture.isSync = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const auto begin = static_cast<std::uint64_t>(packet.pos);
    const auto end = begin + static_cast<std::uint64_t>(packet.size);
    for (std::uint64_t at = begin; at + 4 < end; ++picture.unitCount) {
        Unit unit{at + 4, bigEndian32(bytes.data() + at), 0};
        const std::uint8_t header = bytes[unit.offset];
        unit.type = channel.codec == VideoCodec::H264 ? header & 0x1f : (header >> 1) & 0x3f;
        findings.units.push_back(unit);
        if (isSet(channel.codec, unit.type)) {
            const Bytes set = bytes.subspan(unit.offset, unit.size);
            channel.parameterSets.emplace_back(set.begin(), set.end());
        }
        at = unit.offset + unit.size;
    }
    channel.pictures.push_back(picture);
}

SoundKind kindOf(AVCodecID codec)
{
    switch (codec) {
    case AV_CODEC_ID_AAC: return SoundKind::Aac;
    case AV_CODEC_ID_MP3: return SoundKind::Mp3;
    case AV_CODEC_ID_PCM_S16LE:
    case AV_CODEC_ID_PCM_S16BE: return SoundKind::Pcm16;
    default: return SoundKind::None;
    }
}

} // namespace

Findings findingsOfIndex(const QString &path, Bytes bytes, bool keepTimes)
{
    Findings findings;
    AVFormatContext *context = nullptr;
    if (avformat_open_input(&context, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return findings;
    const DemuxerPtr demuxer(context);
    std::vector<int> channelOf(demuxer->nb_streams, -1);
    for (unsigned i = 0; i < demuxer->nb_streams; ++i) {
        const AVStream *stream = demuxer->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            findings.sound.kind = kindOf(stream->codecpar->codec_id);
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
            continue;
        channelOf[i] = static_cast<int>(findings.channels.size());
        Channel channel;
        channel.codec = stream->codecpar->codec_id == AV_CODEC_ID_H264 ? VideoCodec::H264 : VideoCodec::H265;
        channel.timescale = static_cast<std::uint32_t>(stream->time_base.den);
        findings.channels.push_back(channel);
    }
    const PacketPtr packet(av_packet_alloc());
    for (; av_read_frame(demuxer.get(), packet.get()) >= 0; av_packet_unref(packet.get())) {
        const int number = channelOf[static_cast<std::size_t>(packet->stream_index)];
        if (number < 0) {
            findings.sound.stretches.push_back(
                {static_cast<std::uint64_t>(packet->pos), static_cast<std::uint64_t>(packet->size)});
            continue;
        }
        Channel &channel = findings.channels[static_cast<std::size_t>(number)];
        addPicture(findings, channel, bytes, *packet);
        if (keepTimes)
            channel.times.push_back({packet->dts, static_cast<std::int32_t>(packet->pts - packet->dts)});
    }
    for (unsigned i = 0; i < demuxer->nb_streams; ++i) {
        if (channelOf[i] < 0)
            continue;
        Channel &channel = findings.channels[static_cast<std::size_t>(channelOf[i])];
        const AVCodecParameters *parameters = demuxer->streams[i]->codecpar;
        for (const ParameterSet &set : setsOfConfiguration(
                 channel.codec,
                 {parameters->extradata, static_cast<std::size_t>(parameters->extradata_size)}))
            channel.parameterSets.push_back(set);
    }
    std::vector<Block> blocks;
    for (std::uint64_t at = 0; at + 8 < bytes.size(); ++at)
        if (const auto block = blockAt(bytes, at))
            blocks.push_back(*block);
    findings.clock = clockOf(blocks);
    findings.isIndexTrusted = keepTimes;
    return findings;
}
