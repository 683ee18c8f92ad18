#include "outcome.h"

#include <cerrno>
#include <QIODevice>

Outcome deliver(QIODevice *results, const QByteArray &text)
{
    if (results->write(text) == text.size())
        return {};
    const QString reason = results->errorString();
    return {ExitStatus::NotWritten, reason == qt_error_string(EPIPE) ? QString() : reason};
}
