#include "outcome.h"

#include <cerrno>

Outcome deliver(QIODevice *results, const QByteArray &text)
{
    if (results->write(text) == text.size())
        return {};
    const QString reason = results->errorString();
    return {ExitStatus::NotWritten, reason == qt_error_string(EPIPE) ? QString() : reason};
}

Delivery::Delivery(QIODevice *results)
    : m_results(results)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

qint64 Delivery::writeData(const char *text, qint64 size)
{
    constexpr qsizetype pieceSize = 1 << 20;
    m_piece.append(text, size);
    if (m_piece.size() >= pieceSize)
        m_outcome = end();
    return m_outcome.isWhole() ? size : -1;
}

Outcome Delivery::end()
{
    if (m_outcome.isWhole())
        m_outcome = deliver(m_results, m_piece);
    m_piece.clear();
    return m_outcome;
}
