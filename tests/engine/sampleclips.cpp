#include "sampleclips.h"

#include <QFile>
#include <QProcess>

namespace {

void run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    if (!process.waitForFinished(120'000) || process.exitCode() != 0)
        qFatal("%s failed", qPrintable(program + u' ' + arguments.join(u' ')));
}

} // namespace

SampleClips::SampleClips(int channels, int length, QSize picture)
{
    run(QStringLiteral(VORNEX_BIN_DIR "/samplecard"),
        {QStringLiteral("--recording"), plain(), QStringLiteral("--channels"), QString::number(channels),
         QStringLiteral("--seconds"), QString::number(length), QStringLiteral("--picture"),
         QStringLiteral("%1x%2").arg(picture.width()).arg(picture.height())});
}

QString SampleClips::remade(const QString &name, const QStringList &options)
{
    const QString target = path(name);
    if (!QFile::exists(target))
        run(QStringLiteral("ffmpeg"),
            QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), plain()}
                + options + QStringList{target});
    return target;
}
