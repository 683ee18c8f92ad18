#include "encoder.h"

#include "overlay.h"

#include <algorithm>
#include <cmath>
#include <numbers>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace {

constexpr int highDefinition = 720; // lines, from which the colours of BT.709 are usual

Failure failure(const char *what, int code)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(what), avErrorText(code));
}

/// Sends a frame (or, with none, the end) and takes all packets that are ready.
Failure encode(AVCodecContext *codec, const AVFrame *frame, TimedPackets &packets)
{
    if (const int code = avcodec_send_frame(codec, frame); code < 0)
        return failure("cannot encode", code);
    for (;;) {
        PacketPtr packet(av_packet_alloc());
        const int code = avcodec_receive_packet(codec, packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return {};
        if (code < 0)
            return failure("cannot encode", code);
        const double seconds = double(packet->dts) * av_q2d(codec->time_base);
        packets.push_back({seconds, std::move(packet)});
    }
}

QString statusLine(const QDateTime &clock, double speedMps)
{
    return clock.toString(u"yyyy-MM-dd HH:mm:ss")
        + QString::asprintf(" %03d KM/H", static_cast<int>(std::lround(speedMps * 3.6)));
}

} // namespace

ChannelEncoder::ChannelEncoder(const Setup &setup, const Drive &drive)
    : m_setup(setup)
    , m_drive(drive)
    , m_scene(static_cast<Outlook>((setup.channel - 1) % 5), setup.picture, setup.start.time().hour(),
              setup.seed)
    , m_image(setup.picture, QImage::Format_RGB32)
{
}

Failure ChannelEncoder::open()
{
    const AVCodec *coder = avcodec_find_encoder_by_name("libx264");
    if (!coder)
        return QStringLiteral("this machine's libavcodec has no libx264");
    const bool isHigh = m_setup.picture.height() >= highDefinition;
    m_codec.reset(avcodec_alloc_context3(coder));
    m_codec->width = m_setup.picture.width();
    m_codec->height = m_setup.picture.height();
    m_codec->pix_fmt = AV_PIX_FMT_YUV420P;
    m_codec->time_base = {1, m_setup.fps};
    m_codec->framerate = {m_setup.fps, 1};
    m_codec->gop_size = m_setup.fps;
    m_codec->thread_count = 1; // the same bytes on any machine
    m_codec->colorspace = isHigh ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    m_codec->color_range = AVCOL_RANGE_MPEG;
    m_codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    av_opt_set(m_codec->priv_data, "preset", "ultrafast", 0);
    av_opt_set(m_codec->priv_data, "tune", "zerolatency", 0);
    av_opt_set(m_codec->priv_data, "crf", "24", 0);
    // Cameras repeat the parameter sets before each key frame.
    av_opt_set(m_codec->priv_data, "x264-params", "scenecut=0:repeat-headers=1", 0);
    if (const int code = avcodec_open2(m_codec.get(), coder, nullptr); code < 0)
        return failure("cannot open the video encoder", code);

    m_frame.reset(av_frame_alloc());
    m_frame->format = m_codec->pix_fmt;
    m_frame->width = m_codec->width;
    m_frame->height = m_codec->height;
    if (const int code = av_frame_get_buffer(m_frame.get(), 0); code < 0)
        return failure("cannot make a frame", code);
    m_scaler.reset(sws_getContext(m_codec->width, m_codec->height, AV_PIX_FMT_RGB32, m_codec->width,
                                  m_codec->height, m_codec->pix_fmt, SWS_POINT, nullptr, nullptr, nullptr));
    if (!m_scaler)
        return QStringLiteral("cannot convert pictures");
    const int *matrix = sws_getCoefficients(isHigh ? SWS_CS_ITU709 : SWS_CS_ITU601);
    sws_setColorspaceDetails(m_scaler.get(), matrix, 1, matrix, 0, 0, 1 << 16, 1 << 16);
    return {};
}

void ChannelEncoder::drawFrame()
{
    const double seconds = double(m_frameNumber) / m_setup.fps;
    const DriveState state = m_drive.at(seconds);
    QPainter painter(&m_image);
    m_scene.draw(painter, state, seconds);
    overlay::draw(painter, m_setup.picture,
                  {m_setup.channel, m_frameNumber, m_setup.fps,
                   statusLine(m_setup.start.addSecs(static_cast<qint64>(seconds)), state.speedMps)});
}

Failure ChannelEncoder::encodeSecond(TimedPackets &packets)
{
    for (int i = 0; i < m_setup.fps; ++i) {
        drawFrame();
        if (const int code = av_frame_make_writable(m_frame.get()); code < 0)
            return failure("cannot make a frame", code);
        const std::uint8_t *rows[]{m_image.constBits()};
        const int strides[]{static_cast<int>(m_image.bytesPerLine())};
        sws_scale(m_scaler.get(), rows, strides, 0, m_image.height(), m_frame->data, m_frame->linesize);
        m_frame->pts = m_frameNumber++;
        if (Failure failed = encode(m_codec.get(), m_frame.get(), packets))
            return failed;
    }
    return {};
}

SoundEncoder::SoundEncoder(double toneHz, int channelCount)
    : m_toneHz(toneHz)
    , m_channelCount(channelCount)
{
}

Failure SoundEncoder::open()
{
    const AVCodec *coder = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!coder)
        return QStringLiteral("this machine's libavcodec has no AAC encoder");
    m_codec.reset(avcodec_alloc_context3(coder));
    m_codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    m_codec->sample_rate = sampleRate;
    av_channel_layout_default(&m_codec->ch_layout, m_channelCount);
    m_codec->bit_rate = qint64{64000} * m_channelCount;
    m_codec->time_base = {1, sampleRate};
    m_codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    if (const int code = avcodec_open2(m_codec.get(), coder, nullptr); code < 0)
        return failure("cannot open the sound encoder", code);
    m_frame.reset(av_frame_alloc());
    return {};
}

void SoundEncoder::fillFrame(int sampleCount)
{
    constexpr int clickSamples = sampleRate / 50;
    for (int i = 0; i < sampleCount; ++i) {
        const qint64 sample = m_position + i;
        const double seconds = double(sample % sampleRate) / sampleRate;
        double value = 0.08 * std::sin(2 * std::numbers::pi * m_toneHz * double(sample) / sampleRate);
        if (sample % sampleRate < clickSamples)
            value += 0.7 * std::sin(2 * std::numbers::pi * 2500 * seconds) * std::exp(-seconds * 150);
        for (int channel = 0; channel < m_channelCount; ++channel)
            reinterpret_cast<float *>(m_frame->extended_data[channel])[i] = static_cast<float>(value);
    }
}

Failure SoundEncoder::encodeUntil(int second, bool isLast, TimedPackets &packets)
{
    const qint64 end = qint64{second} * sampleRate;
    while (m_position < end) {
        const int count = static_cast<int>(std::min<qint64>(m_codec->frame_size, end - m_position));
        if (count < m_codec->frame_size && !isLast)
            break;
        av_frame_unref(m_frame.get());
        m_frame->format = m_codec->sample_fmt;
        m_frame->nb_samples = count;
        m_frame->sample_rate = sampleRate;
        av_channel_layout_copy(&m_frame->ch_layout, &m_codec->ch_layout);
        if (const int code = av_frame_get_buffer(m_frame.get(), 0); code < 0)
            return failure("cannot make a frame", code);
        fillFrame(count);
        m_frame->pts = m_position;
        m_position += count;
        if (Failure failed = encode(m_codec.get(), m_frame.get(), packets))
            return failed;
    }
    return isLast ? encode(m_codec.get(), nullptr, packets) : Failure{};
}
