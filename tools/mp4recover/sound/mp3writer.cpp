#include "sound/mp3writer.h"

#include "failure.h"
#include "writing/outputfile.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
}

namespace {

constexpr std::array mp3Rates{8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
constexpr int bitRate = 128000;
constexpr int lowBitRate = 64000; // all that the lowest rates allow
constexpr int lowestOrdinaryRate = 16000;

void require(int code, const char *step)
{
    if (code == AVERROR(ENOMEM))
        throw std::bad_alloc();
    if (code < 0)
        throw Failure(ExitStatus::Target, std::string(step) + ": " + avErrorText(code).toStdString());
}

template <typename Object> Object *existing(Object *object)
{
    if (!object)
        throw std::bad_alloc();
    return object;
}

} // namespace

int nearestMp3Rate(int sampleRateHz)
{
    return *std::min_element(mp3Rates.begin(), mp3Rates.end(), [sampleRateHz](int a, int b) {
        return std::abs(a - sampleRateHz) < std::abs(b - sampleRateHz);
    });
}

Mp3Muxer::Mp3Muxer(OutputFile &target, const AVCodecParameters *parameters)
    : m_timeBase{1, parameters->sample_rate}
{
    AVFormatContext *context = nullptr;
    require(avformat_alloc_output_context2(&context, nullptr, "mp3", nullptr), "cannot make an MP3");
    m_muxer.reset(context);
    m_muxer->pb = target.io();
    m_muxer->flags |= AVFMT_FLAG_CUSTOM_IO;
    m_muxer->flush_packets = 0;
    AVStream *stream = existing(avformat_new_stream(m_muxer.get(), nullptr));
    require(avcodec_parameters_copy(stream->codecpar, parameters), "cannot make an MP3");
    stream->codecpar->codec_tag = 0;
    stream->time_base = m_timeBase;
    require(avformat_write_header(m_muxer.get(), nullptr), "cannot begin the MP3");
}

void Mp3Muxer::write(AVPacket *packet)
{
    packet->stream_index = 0;
    av_packet_rescale_ts(packet, m_timeBase, m_muxer->streams[0]->time_base);
    require(av_write_frame(m_muxer.get(), packet), "cannot write the sound");
}

void Mp3Muxer::finish() { require(av_write_trailer(m_muxer.get()), "cannot finish the MP3"); }

Mp3Encoder::Mp3Encoder(OutputFile &target, int sampleRateHz, int channels)
    : m_converted(existing(av_frame_alloc()))
{
    const AVCodec *codec = avcodec_find_encoder_by_name("libmp3lame");
    if (!codec)
        throw Failure(ExitStatus::Internal, "this machine's libavcodec has no libmp3lame");
    m_coder.reset(existing(avcodec_alloc_context3(codec)));
    m_coder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    m_coder->sample_rate = sampleRateHz;
    m_coder->time_base = {1, sampleRateHz};
    m_coder->bit_rate = sampleRateHz < lowestOrdinaryRate ? lowBitRate : bitRate;
    av_channel_layout_default(&m_coder->ch_layout, channels);
    require(avcodec_open2(m_coder.get(), codec, nullptr), "cannot open the MP3 encoder");
    AVCodecParameters *parameters = existing(avcodec_parameters_alloc());
    const int code = avcodec_parameters_from_context(parameters, m_coder.get());
    if (code >= 0)
        m_muxer = std::make_unique<Mp3Muxer>(target, parameters);
    avcodec_parameters_free(&parameters);
    require(code, "cannot open the MP3 encoder");
    m_waiting = existing(av_audio_fifo_alloc(m_coder->sample_fmt, channels, m_coder->frame_size));
}

Mp3Encoder::~Mp3Encoder() { av_audio_fifo_free(m_waiting); }

void Mp3Encoder::add(const AVFrame *frame)
{
    convert(frame);
    encodeWhole(false);
}

void Mp3Encoder::addSilence(std::int64_t samples)
{
    const FramePtr silence(existing(av_frame_alloc()));
    silence->format = m_coder->sample_fmt;
    silence->sample_rate = m_coder->sample_rate;
    av_channel_layout_copy(&silence->ch_layout, &m_coder->ch_layout);
    silence->nb_samples = m_coder->frame_size;
    require(av_frame_get_buffer(silence.get(), 0), "no memory for silence");
    av_samples_set_silence(silence->data, 0, silence->nb_samples, silence->ch_layout.nb_channels,
                           m_coder->sample_fmt);
    for (std::int64_t left = samples; left > 0; left -= silence->nb_samples) {
        silence->nb_samples = static_cast<int>(std::min<std::int64_t>(left, m_coder->frame_size));
        require(av_audio_fifo_write(m_waiting, reinterpret_cast<void **>(silence->data), silence->nb_samples),
                "no memory for silence");
        encodeWhole(false);
    }
}

void Mp3Encoder::convert(const AVFrame *frame)
{
    if (!m_resampler)
        m_resampler.reset(existing(swr_alloc()));
    av_frame_unref(m_converted.get());
    m_converted->format = m_coder->sample_fmt;
    m_converted->sample_rate = m_coder->sample_rate;
    av_channel_layout_copy(&m_converted->ch_layout, &m_coder->ch_layout);
    int code = swr_convert_frame(m_resampler.get(), m_converted.get(), frame);
    if (code == AVERROR_INPUT_CHANGED) {
        m_resampler.reset(existing(swr_alloc()));
        code = swr_convert_frame(m_resampler.get(), m_converted.get(), frame);
    }
    if (code >= 0)
        require(av_audio_fifo_write(m_waiting, reinterpret_cast<void **>(m_converted->extended_data),
                                    m_converted->nb_samples),
                "no memory for sound");
}

void Mp3Encoder::encodeWhole(bool isLast)
{
    while (av_audio_fifo_size(m_waiting) >= (isLast ? 1 : m_coder->frame_size)) {
        const FramePtr frame(existing(av_frame_alloc()));
        frame->format = m_coder->sample_fmt;
        frame->sample_rate = m_coder->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &m_coder->ch_layout);
        frame->nb_samples = std::min(av_audio_fifo_size(m_waiting), m_coder->frame_size);
        require(av_frame_get_buffer(frame.get(), 0), "no memory for sound");
        av_audio_fifo_read(m_waiting, reinterpret_cast<void **>(frame->data), frame->nb_samples);
        frame->pts = m_position;
        m_position += frame->nb_samples;
        encode(frame.get());
    }
}

void Mp3Encoder::encode(const AVFrame *frame)
{
    require(avcodec_send_frame(m_coder.get(), frame), "cannot encode the sound");
    const PacketPtr packet(existing(av_packet_alloc()));
    for (;;) {
        const int code = avcodec_receive_packet(m_coder.get(), packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return;
        require(code, "cannot encode the sound");
        m_muxer->write(packet.get());
    }
}

void Mp3Encoder::finish()
{
    encodeWhole(true);
    encode(nullptr);
    m_muxer->finish();
}
