#include "sounddecodethread.h"

#include <algorithm>
#include <pthread.h>

extern "C" {
#include <libavutil/opt.h>
}

namespace {

constexpr Nanoseconds preroll = std::chrono::milliseconds(60); // sound coders need the frames before
constexpr Nanoseconds enoughToStart = std::chrono::milliseconds(200);
constexpr auto roomCheck = std::chrono::milliseconds(50);
// A lead is made good over this time. At the limit the pitch is off by 0.3 %, a twentieth of a semitone.
constexpr int correctionSeconds = 10;
constexpr double largestCorrection = 0.003;

AVSampleFormat sampleFormat(QAudioFormat::SampleFormat format)
{
    switch (format) {
    case QAudioFormat::UInt8: return AV_SAMPLE_FMT_U8;
    case QAudioFormat::Int16: return AV_SAMPLE_FMT_S16;
    case QAudioFormat::Int32: return AV_SAMPLE_FMT_S32;
    default: return AV_SAMPLE_FMT_FLT;
    }
}

} // namespace

SoundDecodeThread::SoundDecodeThread(std::shared_ptr<TrackReader> reader,
                                     std::shared_ptr<AVCodecContext> decoder, const QAudioFormat &format,
                                     std::shared_ptr<SoundQueue> queue, std::function<void()> notify)
    : m_reader(std::move(reader))
    , m_decoder(std::move(decoder))
    , m_format(format)
    , m_queue(std::move(queue))
    , m_notify(std::move(notify))
    , m_packet(av_packet_alloc())
    , m_decoded(av_frame_alloc())
{
    m_thread = std::thread([this] { run(); });
    pthread_setname_np(m_thread.native_handle(), "decode sound");
}

SoundDecodeThread::~SoundDecodeThread()
{
    m_reader->cancel();
    {
        const std::scoped_lock lock(m_mutex);
        m_isStopping = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void SoundDecodeThread::seek(Nanoseconds target)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_seek = {.number = m_seek.number + 1, .target = target};
    }
    m_changed.notify_one();
}

SoundDecodeThread::State SoundDecodeThread::state() const
{
    const std::scoped_lock lock(m_mutex);
    return m_seek.state;
}

void SoundDecodeThread::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_isStopping) {
        if (m_seek.number != m_run.number) {
            const Nanoseconds target = m_seek.target;
            const quint64 number = m_seek.number;
            lock.unlock();
            begin(target, number);
            lock.lock();
        } else if (m_run.isAtEnd || m_run.number == 0) {
            m_changed.wait(lock);
        } else if (m_queue->filled() < SoundQueue::depth) {
            lock.unlock();
            decodeSome();
            lock.lock();
        } else {
            m_changed.wait_for(lock, roomCheck); // the device doesn't say when it has taken something
        }
    }
}

void SoundDecodeThread::begin(Nanoseconds target, quint64 number)
{
    m_queue->clear();
    target = m_reader->withinReadable(target);
    m_run = {.number = number, .target = target, .decodedUntil = target};
    m_reader->seekToKey(target - preroll); // at the start, too: coders put a frame before it
    avcodec_flush_buffers(m_decoder.get());
}

void SoundDecodeThread::decodeSome()
{
    const int result = avcodec_receive_frame(m_decoder.get(), m_decoded.get());
    if (result >= 0) {
        convert(*m_decoded);
        av_frame_unref(m_decoded.get());
        if (m_queue->filled() >= enoughToStart)
            setState({.isReady = true});
    } else if (result == AVERROR_EOF || m_run.isDraining) {
        m_run.isAtEnd = true;
        setState({.isReady = true, .end = m_reader->readUntil()});
    } else if (m_reader->read(m_packet.get())) {
        avcodec_send_packet(m_decoder.get(), m_packet.get());
        av_packet_unref(m_packet.get());
    } else {
        m_run.isDraining = true;
        avcodec_send_packet(m_decoder.get(), nullptr);
    }
}

void SoundDecodeThread::setState(const State &state)
{
    {
        const std::scoped_lock lock(m_mutex);
        const bool isNews = !m_seek.state.isReady || state.end;
        if (m_run.number != m_seek.number || !isNews)
            return;
        m_seek.state = state;
    }
    m_notify();
}

void SoundDecodeThread::convert(const AVFrame &decoded)
{
    const bool isTimed = decoded.best_effort_timestamp != AV_NOPTS_VALUE;
    const Nanoseconds time = isTimed ? m_reader->timeOf(decoded.best_effort_timestamp) : m_run.decodedUntil;
    if (decoded.sample_rate <= 0 || decoded.nb_samples <= 0 || !prepareResampler(decoded))
        return;
    m_run.decodedUntil =
        time + Nanoseconds(av_rescale(decoded.nb_samples, nanosecondBase.den, decoded.sample_rate));
    if (m_run.decodedUntil <= m_run.target)
        return;
    const double lead =
        std::clamp(toSeconds(m_queue->lead()) / correctionSeconds, -largestCorrection, largestCorrection);
    const int window = m_format.sampleRate() * correctionSeconds;
    swr_set_compensation(m_run.resampler.get(), static_cast<int>(lead * window), window);
    const int room = swr_get_out_samples(m_run.resampler.get(), decoded.nb_samples);
    if (room <= 0)
        return;
    QByteArray samples(qsizetype{room} * m_queue->bytesPerFrame(), Qt::Uninitialized);
    auto *target = reinterpret_cast<uint8_t *>(samples.data());
    const int count = swr_convert(m_run.resampler.get(), &target, room,
                                  const_cast<const uint8_t **>(decoded.extended_data), decoded.nb_samples);
    if (count <= 0)
        return;
    samples.truncate(qsizetype{count} * m_queue->bytesPerFrame());
    m_queue->append(time, samples);
}

/// A track may change its form on the way.
bool SoundDecodeThread::prepareResampler(const AVFrame &decoded)
{
    const int channels = decoded.ch_layout.nb_channels;
    if (m_run.resampler && m_run.resampledRate == decoded.sample_rate
        && m_run.resampledFormat == decoded.format && m_run.resampledChannels == channels)
        return true;
    AVChannelLayout source = {};
    if (decoded.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&source, channels);
    else if (av_channel_layout_copy(&source, &decoded.ch_layout) < 0)
        return false;
    AVChannelLayout device = {};
    av_channel_layout_default(&device, m_format.channelCount());
    SwrContext *resampler = nullptr;
    const int result = swr_alloc_set_opts2(
        &resampler, &device, sampleFormat(m_format.sampleFormat()), m_format.sampleRate(), &source,
        static_cast<AVSampleFormat>(decoded.format), decoded.sample_rate, 0, nullptr);
    m_run.resampler.reset(resampler);
    av_channel_layout_uninit(&source);
    av_channel_layout_uninit(&device);
    if (result < 0 || !m_run.resampler)
        return false;
    av_opt_set_int(m_run.resampler.get(), "flags", SWR_FLAG_RESAMPLE,
                   0); // even at the same rate, to be able to stretch
    if (swr_init(m_run.resampler.get()) < 0) {
        m_run.resampler.reset();
        return false;
    }
    m_run.resampledRate = decoded.sample_rate;
    m_run.resampledFormat = decoded.format;
    m_run.resampledChannels = channels;
    return true;
}
