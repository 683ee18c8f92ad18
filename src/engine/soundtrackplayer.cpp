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
        m_decodeThread->seek(target, ++m_decodeSerial);
}

void SoundTrackPlayer::present(Time position)
{
    if (!m_decodeThread)
        return;
    if (isRunning() && m_isSounding) {
        m_output->follow(position);
    } else if (isRunning()) {
        m_isSounding = true;
        m_output->start(position);
    } else if (m_isSounding) {
        m_isSounding = false;
        m_output->stop();
        seekDecoder(position);
    }
}

void SoundTrackPlayer::decoderProgressed()
{
    if (m_decodeThread->readySerial() != m_decodeSerial)
        return;
    if (const std::optional<Nanoseconds> end = m_decodeThread->dataEnd(m_decodeSerial))
        setDataEnd(*end);
    setReady();
    tick();
}
