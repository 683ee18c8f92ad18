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

void SoundDecodeThread::seek(Nanoseconds target, quint64 serial)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_wantedTarget = target;
        m_wantedSerial = serial;
        m_dataEnd.reset();
    }
    m_changed.notify_one();
}

std::optional<Nanoseconds> SoundDecodeThread::dataEnd(quint64 serial) const
{
    const std::scoped_lock lock(m_mutex);
    return serial == m_wantedSerial ? m_dataEnd : std::nullopt;
}

void SoundDecodeThread::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_isStopping) {
        if (m_wantedSerial != m_serving) {
            m_serving = m_wantedSerial;
            const Nanoseconds target = m_wantedTarget;
            lock.unlock();
            begin(target);
            lock.lock();
        } else if (!m_isAtEnd && m_queue->filled() < SoundQueue::depth) {
            lock.unlock();
            decodeSome();
            lock.lock();
        } else if (m_isAtEnd || m_wantedSerial == 0) {
            m_changed.wait(lock);
        } else {
            m_changed.wait_for(lock, roomCheck); // the device doesn't say when it has taken something
        }
    }
}

void SoundDecodeThread::begin(Nanoseconds target)
{
    m_queue->clear();
    m_target = m_reader->withinReadable(target);
    m_reader->seekToKey(m_target - preroll); // at the start, too: coders put a frame before it
    avcodec_flush_buffers(m_decoder.get());
    m_resampler.reset();
    m_isDraining = false;
    m_isAtEnd = false;
}

void SoundDecodeThread::decodeSome()
{
    const int result = avcodec_receive_frame(m_decoder.get(), m_decoded.get());
    if (result >= 0) {
        convert(*m_decoded);
        av_frame_unref(m_decoded.get());
        if (m_queue->filled() >= enoughToStart)
            setReady(m_serving, std::nullopt);
    } else if (result == AVERROR_EOF || m_isDraining) {
        m_isAtEnd = true;
        setReady(m_serving, m_reader->readUntil());
    } else if (m_reader->read(m_packet.get())) {
        avcodec_send_packet(m_decoder.get(), m_packet.get());
        av_packet_unref(m_packet.get());
    } else {
        m_isDraining = true;
        avcodec_send_packet(m_decoder.get(), nullptr);
    }
}

void SoundDecodeThread::setReady(quint64 serial, std::optional<Nanoseconds> end)
{
    if (m_readySerial == serial && !end)
        return;
    if (end) {
        const std::scoped_lock lock(m_mutex);
        if (serial == m_wantedSerial)
            m_dataEnd = end;
    }
    m_readySerial = serial;
    m_notify();
}

void SoundDecodeThread::convert(const AVFrame &decoded)
{
    const bool isTimed = decoded.best_effort_timestamp != AV_NOPTS_VALUE;
    const Nanoseconds time = isTimed ? m_reader->timeOf(decoded.best_effort_timestamp) : m_decodedUntil;
    if (decoded.sample_rate <= 0 || decoded.nb_samples <= 0 || !prepareResampler(decoded))
        return;
    m_decodedUntil =
        time + Nanoseconds(av_rescale(decoded.nb_samples, nanosecondBase.den, decoded.sample_rate));
    if (m_decodedUntil <= m_target)
        return;
    const double lead =
        std::clamp(toSeconds(m_queue->lead()) / correctionSeconds, -largestCorrection, largestCorrection);
    const int window = m_format.sampleRate() * correctionSeconds;
    swr_set_compensation(m_resampler.get(), static_cast<int>(lead * window), window);
    const int room = swr_get_out_samples(m_resampler.get(), decoded.nb_samples);
    if (room <= 0)
        return;
    QByteArray samples(qsizetype{room} * m_queue->bytesPerFrame(), Qt::Uninitialized);
    auto *target = reinterpret_cast<uint8_t *>(samples.data());
    const int count = swr_convert(m_resampler.get(), &target, room,
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
    if (m_resampler && m_resampledRate == decoded.sample_rate && m_resampledFormat == decoded.format
        && m_resampledChannels == channels)
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
    m_resampler.reset(resampler);
    av_channel_layout_uninit(&source);
    av_channel_layout_uninit(&device);
    if (result < 0 || !m_resampler)
        return false;
    av_opt_set_int(m_resampler.get(), "flags", SWR_FLAG_RESAMPLE,
                   0); // even at the same rate, to be able to stretch
    if (swr_init(m_resampler.get()) < 0) {
        m_resampler.reset();
        return false;
    }
    m_resampledRate = decoded.sample_rate;
    m_resampledFormat = decoded.format;
    m_resampledChannels = channels;
    return true;
}
