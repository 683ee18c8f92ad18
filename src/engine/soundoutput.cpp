#include "soundoutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <QCoreApplication>
#include <QMediaDevices>
#include <QPointer>
#include <QThread>

namespace {

constexpr auto watchInterval = std::chrono::milliseconds(100);
constexpr auto beginWatchInterval = std::chrono::milliseconds(5);
constexpr int standstillLimit = 6; // watches
constexpr int leadsForJudging = 5;
constexpr double leadForJump = 0.06; // seconds: beyond that a jump is better than seconds out of step
constexpr double leadSmoothing = 0.2;

/// One for the process: the sound system keeps objects of the thread that first asked for it.
QThread *soundThread()
{
    static QThread *const thread = [] {
        auto *made = new QThread;
        made->setObjectName(QStringLiteral("sound"));
        made->start(QThread::TimeCriticalPriority);
        qAddPostRoutine([] {
            soundThread()->quit();
            soundThread()->wait();
            delete soundThread();
        });
        return made;
    }();
    return thread;
}

QAudioFormat formatFor(const QAudioDevice &device)
{
    if (device.isNull())
        return {};
    QAudioFormat format = device.preferredFormat();
    if (format.channelCount() > 2 || format.sampleFormat() == QAudioFormat::Unknown) {
        format.setChannelCount(2);
        format.setSampleFormat(QAudioFormat::Int16);
    }
    return format.sampleRate() > 0 && format.channelCount() > 0 && device.isFormatSupported(format)
        ? format
        : QAudioFormat();
}

} // namespace

class SoundOutput::Feed final : public QIODevice
{
public:
    explicit Feed(SoundOutput &output)
        : m_output(output)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 bytesAvailable() const override { return 1 << 20; }

protected:
    qint64 readData(char *target, qint64 size) override { return m_output.fill(target, size); }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    SoundOutput &m_output;
};

SoundOutput *SoundOutput::create(QObject *context, std::function<void(QAudioFormat)> opened)
{
    auto *output = new SoundOutput; // disposed of on its own thread
    output->moveToThread(soundThread());
    QMetaObject::invokeMethod(output, [output, context = QPointer(context), opened = std::move(opened)] {
        output->open();
        QMetaObject::invokeMethod(
            qApp,
            [context, opened, format = output->m_format] {
                if (context)
                    opened(format);
            },
            Qt::QueuedConnection);
    });
    return output;
}

SoundOutput::SoundOutput()
    : m_watch(this)
    , m_beginWatch(this)
{
    m_beginWatch.setInterval(beginWatchInterval);
    m_beginWatch.setTimerType(Qt::PreciseTimer);
    connect(&m_beginWatch, &QTimer::timeout, this, &SoundOutput::lookForBegin);
    m_watch.setInterval(watchInterval);
    connect(&m_watch, &QTimer::timeout, this, &SoundOutput::watch);
}

SoundOutput::~SoundOutput() = default;

void SoundOutput::dispose()
{
    QMetaObject::invokeMethod(this, [this] {
        closeSink();
        deleteLater();
    });
}

void SoundOutput::open() { m_format = formatFor(QMediaDevices::defaultAudioOutput()); }

void SoundOutput::setQueue(std::shared_ptr<SoundQueue> queue)
{
    QMetaObject::invokeMethod(this, [this, queue = std::move(queue)] { m_queue = queue; });
}

void SoundOutput::start(Nanoseconds position, Clock clock, quint64 number)
{
    follow(position);
    m_heldAt = position.count();
    m_isClockHeld = clock == Clock::Held;
    QMetaObject::invokeMethod(this, [this, number] {
        m_startNumber = number;
        m_hasBegun = false;
        startSink();
    });
}

void SoundOutput::stop()
{
    QMetaObject::invokeMethod(this, [this] {
        m_isStarted = false;
        m_watch.stop();
        m_beginWatch.stop();
        if (m_sink)
            m_sink->reset();
    });
}

void SoundOutput::setVolume(float level)
{
    QMetaObject::invokeMethod(this, [this, level] {
        m_volume = level;
        if (m_sink)
            m_sink->setVolume(level);
    });
}

void SoundOutput::follow(Nanoseconds position)
{
    m_clockOffset = (position - std::chrono::steady_clock::now().time_since_epoch()).count();
    m_isClockHeld = false;
}

Nanoseconds SoundOutput::clockPosition() const
{
    if (m_isClockHeld) // until the first sample is heard
        return Nanoseconds(m_heldAt);
    return std::chrono::steady_clock::now().time_since_epoch() + Nanoseconds(m_clockOffset);
}

void SoundOutput::startSink()
{
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (m_queue && !device.isNull())
        openSink(device);
    else
        tellBegun();
}

void SoundOutput::openSink(const QAudioDevice &device)
{
    if (!m_sink)
        m_sink = std::make_unique<QAudioSink>(device, m_format);
    m_sink->setVolume(m_volume);
    m_isStarted = true;
    m_mustAlign = true;
    m_delivered = 0;
    m_nextTime.reset();
    m_leadCount = 0;
    m_lastProcessed = -1;
    m_standstill = 0;
    m_queue->setLead(Nanoseconds(0));
    m_feed = std::make_unique<Feed>(*this);
    m_sink->start(m_feed.get());
    if (m_sink->state() == QAudio::StoppedState) // a failure is told in no other way
        return closeSink();
    m_watch.start();
    m_beginWatch.start();
}

void SoundOutput::lookForBegin()
{
    if (m_sink && m_sink->processedUSecs() > 0)
        tellBegun();
}

void SoundOutput::tellBegun()
{
    m_beginWatch.stop();
    if (!std::exchange(m_hasBegun, true))
        Q_EMIT begun(m_startNumber);
}

void SoundOutput::closeSink()
{
    m_isStarted = false;
    m_watch.stop();
    if (m_sink)
        m_sink->reset();
    m_sink.reset();
    m_feed.reset();
    tellBegun(); // nothing more is to be waited for
}

/// How long what was delivered goes on before the next sample is heard.
Nanoseconds SoundOutput::waiting() const
{
    const Nanoseconds played = std::chrono::microseconds(m_sink ? m_sink->processedUSecs() : 0);
    return std::max(m_queue->durationOf(m_delivered) - played, Nanoseconds(0));
}

/// Always fills it all, since a device that gets less goes idle.
qint64 SoundOutput::fill(char *target, qint64 size)
{
    size -= size % m_queue->bytesPerFrame();
    qint64 done = 0;
    if (m_isStarted && m_mustAlign)
        align(&done, target, size);
    if (m_isStarted && !m_mustAlign) {
        const std::optional<Nanoseconds> first = m_queue->firstTime();
        const qint64 count = m_queue->read(target + done, size - done);
        if (first)
            m_nextTime = *first + m_queue->durationOf(count);
        done += count;
        m_mustAlign = done < size; // ran dry
    }
    const int silence = m_format.sampleFormat() == QAudioFormat::UInt8 ? 0x80 : 0;
    std::memset(target + done, silence, static_cast<size_t>(size - done));
    m_delivered += size;
    return size;
}

/// Drops samples, or lets silence pass, so that the next one is heard at its time.
void SoundOutput::align(qint64 *done, char *target, qint64 size)
{
    const Nanoseconds wanted = clockPosition() + waiting();
    m_queue->dropBefore(wanted);
    const std::optional<Nanoseconds> first = m_queue->firstTime();
    if (!first)
        return;
    const qint64 gap = m_queue->bytesFor(std::max(*first - wanted, Nanoseconds(0)));
    *done = std::min(gap, size);
    const int silence = m_format.sampleFormat() == QAudioFormat::UInt8 ? 0x80 : 0;
    std::memset(target, silence, static_cast<size_t>(*done));
    m_mustAlign = gap > size;
    m_leadCount = 0;
}

/// Compares what is heard with the clock, and sees whether the device is alive.
void SoundOutput::watch()
{
    const qint64 processed = m_sink ? m_sink->processedUSecs() : 0;
    const bool isDead = !m_sink || m_sink->state() == QAudio::StoppedState;
    m_standstill = processed == m_lastProcessed ? m_standstill + 1 : 0;
    m_lastProcessed = processed;
    if (isDead || m_standstill >= standstillLimit)
        return closeSink();
    if (m_mustAlign || !m_nextTime || processed == 0 || m_isClockHeld)
        return;
    const double lead = toSeconds(*m_nextTime - waiting() - clockPosition());
    m_meanLead = m_leadCount == 0 ? lead : m_meanLead + leadSmoothing * (lead - m_meanLead);
    if (++m_leadCount < leadsForJudging)
        return;
    if (std::abs(m_meanLead) > leadForJump) {
        m_mustAlign = true;
        m_queue->setLead(Nanoseconds(0));
    } else {
        m_queue->setLead(Nanoseconds(std::llround(m_meanLead * 1e9)));
    }
}
