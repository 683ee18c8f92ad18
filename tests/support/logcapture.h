#pragma once

#include <cstdio>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>
#include <unistd.h>

/// Keeps what the process writes to standard output while it lives.
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
        std::fflush(stdout);
        ::dup2(m_standardOutput, STDOUT_FILENO);
        ::close(m_standardOutput);
    }

    /// The log's lines up to now, without "App -> ".
    [[nodiscard]] QStringList lines()
    {
        std::fflush(stdout);
        QFile copy(m_file.fileName());
        if (!copy.open(QIODevice::ReadOnly))
            return {};
        QStringList lines;
        for (const QByteArray &line : copy.readAll().split('\n')) {
            if (line.startsWith("App -> "))
                lines.append(QString::fromUtf8(line.mid(7)));
        }
        return lines;
    }

private:
    QTemporaryFile m_file;
    int m_standardOutput = -1;
};
