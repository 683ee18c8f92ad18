#include "soundtrackplayer.h"

SoundTrackPlayer::SoundTrackPlayer(std::shared_ptr<MovieTimeline> timeline,
                                   std::shared_ptr<TrackReader> reader,
                                   std::shared_ptr<AVCodecContext> decoder)
    : TimedTrackPlayer(std::move(timeline), reader->duration())
    , m_reader(std::move(reader))
    , m_decoder(std::move(decoder))
    , m_output(SoundOutput::create(this, [this](const QAudioFormat &format) { startDecoding(format); }))
{
}

SoundTrackPlayer::~SoundTrackPlayer() { m_output->dispose(); }

void SoundTrackPlayer::startDecoding(const QAudioFormat &format)
{
    m_isWithoutDevice = !format.isValid();
    if (m_isWithoutDevice)
        return setReady();
    connect(m_output, &SoundOutput::begun, this, [this](quint64 start) {
        if (!m_isSounding || start != m_start)
            return;
        m_hasBegun = true;
        setReady();
    });
    auto queue = std::make_shared<SoundQueue>(format.sampleRate(), format.bytesPerFrame());
    m_output->setQueue(queue);
    m_decodeThread = std::make_unique<SoundDecodeThread>(m_reader, m_decoder, format, queue, [this] {
        QMetaObject::invokeMethod(this, &SoundTrackPlayer::decoderProgressed, Qt::QueuedConnection);
    });
    m_isSounding = false; // what was asked of the output before it had a queue was in vain
    seekDecoder(position());
    tick();
}

void SoundTrackPlayer::startSeek(Time target, quint64)
{
    if (m_isWithoutDevice)
        QMetaObject::invokeMethod(
            this, [this] { setReady(); }, Qt::QueuedConnection);
    seekDecoder(target);
}

void SoundTrackPlayer::seekDecoder(Time target)
{
    if (m_decodeThread)
        m_decodeThread->seek(target);
}

/// The device is started while the time is still held, once everything else is there: so what it needs to get
/// going costs none of the sound.
void SoundTrackPlayer::present(Time position)
{
    if (!m_decodeThread)
        return;
    const bool mayBegin = isPlaying() && timeline().holdStage() == HoldStage::Device;
    if (isRunning() && m_isSounding)
        m_output->follow(position);
    else if (isRunning())
        begin(position, SoundOutput::Clock::Running);
    else if (mayBegin && !m_isSounding)
        begin(position, SoundOutput::Clock::Held);
    else if (!mayBegin && m_isSounding)
        silence(position);
}

void SoundTrackPlayer::begin(Time position, SoundOutput::Clock clock)
{
    m_isSounding = true;
    m_hasBegun = false;
    m_output->start(position, clock, ++m_start);
}

void SoundTrackPlayer::silence(Time position)
{
    m_isSounding = false;
    m_output->stop();
    seekDecoder(position); // what wasn't heard is decoded again
}

std::optional<HoldStage> SoundTrackPlayer::neededToStart()
{
    const bool isNeeded = m_decodeThread && !(m_isSounding && m_hasBegun);
    return isNeeded ? std::optional(HoldStage::Device) : std::nullopt;
}

void SoundTrackPlayer::decoderProgressed()
{
    const SoundDecodeThread::State state = m_decodeThread->state();
    if (!state.isReady)
        return;
    if (state.end)
        setDataEnd(*state.end);
    setReady();
    tick();
}
