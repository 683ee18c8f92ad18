#include "soundqueue.h"

#include "common/avhandles.h"

#include <algorithm>
#include <cstring>

Nanoseconds SoundQueue::durationOf(qint64 bytes) const
{
    return Nanoseconds(av_rescale(bytes / m_bytesPerFrame, nanosecondBase.den, m_sampleRate));
}

qint64 SoundQueue::bytesFor(Nanoseconds duration) const
{
    return av_rescale(duration.count(), m_sampleRate, nanosecondBase.den) * m_bytesPerFrame;
}

void SoundQueue::append(Nanoseconds time, const QByteArray &samples)
{
    const std::scoped_lock lock(m_mutex);
    m_chunks.push_back({time, samples});
    m_bytes += samples.size();
}

void SoundQueue::clear()
{
    const std::scoped_lock lock(m_mutex);
    m_chunks.clear();
    m_consumed = 0;
    m_bytes = 0;
}

Nanoseconds SoundQueue::filled() const
{
    const std::scoped_lock lock(m_mutex);
    return durationOf(m_bytes);
}

std::optional<Nanoseconds> SoundQueue::firstTime() const
{
    const std::scoped_lock lock(m_mutex);
    if (m_chunks.empty())
        return std::nullopt;
    return m_chunks.front().time + durationOf(m_consumed);
}

void SoundQueue::dropBefore(Nanoseconds time)
{
    const std::scoped_lock lock(m_mutex);
    while (!m_chunks.empty()) {
        const Chunk &first = m_chunks.front();
        const qint64 wanted = bytesFor(std::max(time - first.time, Nanoseconds(0)));
        if (wanted < first.samples.size()) {
            if (wanted > m_consumed)
                advance(wanted - m_consumed);
            return;
        }
        advance(first.samples.size() - m_consumed);
    }
}

qint64 SoundQueue::read(char *target, qint64 size)
{
    const std::scoped_lock lock(m_mutex);
    qint64 done = 0;
    while (done < size && !m_chunks.empty()) {
        const Chunk &first = m_chunks.front();
        const qint64 count = std::min<qint64>(size - done, first.samples.size() - m_consumed);
        std::memcpy(target + done, first.samples.constData() + m_consumed, static_cast<size_t>(count));
        done += count;
        advance(count);
    }
    return done;
}

/// Within the first chunk.
void SoundQueue::advance(qint64 bytes)
{
    m_consumed += bytes;
    m_bytes -= bytes;
    if (m_consumed >= m_chunks.front().samples.size()) {
        m_chunks.pop_front();
        m_consumed = 0;
    }
}
