#include "samplefiles.h"

#include <cmath>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

ToolResult runTool(const QString &program, const QStringList &arguments)
{
    const QString own = QStringLiteral(VORNEX_BIN_DIR "/") + program;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       environment.value(QStringLiteral("PATH")) + QStringLiteral(":/usr/sbin:/sbin"));
    process.setProcessEnvironment(environment);
    // The search path of the child doesn't count for finding the child itself.
    const QStringList whole = QStringList{QFile::exists(own) ? own : program} + arguments;
    process.start(QStringLiteral("/usr/bin/env"), whole);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QList<QByteArray> blocksOf(const QByteArray &recording, const QByteArray &tag)
{
    QList<QByteArray> payloads;
    for (qsizetype at = recording.indexOf(tag); at >= 0; at = recording.indexOf(tag, at + tag.size())) {
        bool isNumber = false;
        const int length = recording.mid(at + 3, 5).toInt(&isNumber);
        if (isNumber && length >= 0 && at + 8 + length <= recording.size())
            payloads.append(recording.mid(at + 8, length));
    }
    return payloads;
}

Fix readSentence(const QByteArray &sentence)
{
    static const QRegularExpression form(QStringLiteral(
        "^\\$(GPRMC,(\\d{6})\\.\\d\\d,A,(\\d\\d)([0-5]\\d\\.\\d{4}),N,(\\d{3})([0-5]\\d\\.\\d{4}),E,"
        "(\\d+\\.\\d\\d),(\\d+\\.\\d\\d),(\\d{6}),,,A)\\*([0-9A-F]{2})\r\n$"));
    const QRegularExpressionMatch match = form.match(QString::fromLatin1(sentence));
    int sum = 0;
    for (const char c : match.captured(1).toLatin1())
        sum ^= c;
    if (!match.hasMatch() || sum != match.captured(10).toInt(nullptr, 16))
        return {};
    return {(match.captured(9) + match.captured(2)).toLatin1(),
            match.captured(3).toDouble() + match.captured(4).toDouble() / 60,
            match.captured(5).toDouble() + match.captured(6).toDouble() / 60,
            match.captured(7).toDouble() * 1852 / 3600, match.captured(8).toDouble()};
}
