#pragma once

#include <cstdio>
#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>
#include <unistd.h>

/// Keeps the log lines that the process writes to standard output while it lives. All else, such as what a
/// failed check says, comes out at the end.
class LogCapture
{
public:
    LogCapture()
    {
        std::fflush(stdout);
        if (!m_file.open())
            qFatal("no temporary file for the log");
        m_standardOutput = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;
    ~LogCapture()
    {
        const QList<QByteArray> written = writtenLines();
        ::dup2(m_standardOutput, STDOUT_FILENO);
        ::close(m_standardOutput);
        for (const QByteArray &line : written) {
            if (!line.isEmpty() && !line.startsWith(prefix))
                std::printf("%s\n", line.constData());
        }
    }

    /// The log's lines up to now, without "App -> ".
    [[nodiscard]] QStringList lines()
    {
        QStringList lines;
        for (const QByteArray &line : writtenLines()) {
            if (line.startsWith(prefix))
                lines.append(QString::fromUtf8(line.mid(prefix.size())));
        }
        return lines;
    }

private:
    [[nodiscard]] QList<QByteArray> writtenLines()
    {
        std::fflush(stdout);
        QFile copy(m_file.fileName());
        return copy.open(QIODevice::ReadOnly) ? copy.readAll().split('\n') : QList<QByteArray>();
    }

    const QByteArray prefix = QByteArrayLiteral("App -> ");
    QTemporaryFile m_file;
    int m_standardOutput = -1;
};
