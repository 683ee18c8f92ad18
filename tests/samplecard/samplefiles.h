#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

struct ToolResult {
    int exitCode = -1; ///< -1: not started, or crashed
    QByteArray output;
    QByteArray messages; ///< standard error
};

/// Runs a program to its end; the programs of this build by their name alone.
[[nodiscard]] ToolResult runTool(const QString &program, const QStringList &arguments);

/// The payloads of a recording's telemetry blocks of that tag, in file order.
[[nodiscard]] QList<QByteArray> blocksOf(const QByteArray &recording, const QByteArray &tag);

struct Fix {
    QByteArray time; ///< UTC, ddMMyyHHmmss
    double latitude = 0;
    double longitude = 0;
    double speedMps = 0;
    double course = 0; ///< degrees
};
/// What an RMC sentence tells; one whose checksum or form is wrong has an empty time.
[[nodiscard]] Fix readSentence(const QByteArray &sentence);
