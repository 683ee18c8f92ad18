#include "ggraphbuffer.h"

void GGraphBuffer::append(const GSample &sample)
{
    m_samples.append(sample);
    Q_EMIT samplesChanged();
}

void GGraphBuffer::replace(QList<GSample> samples)
{
    if (m_samples.isEmpty() && samples.isEmpty())
        return;
    m_samples = std::move(samples);
    Q_EMIT samplesChanged();
}

void GGraphBuffer::truncateAfter(double time)
{
    if (m_samples.removeIf([time](const GSample &sample) { return sample.time > time; }) > 0)
        Q_EMIT samplesChanged();
}
