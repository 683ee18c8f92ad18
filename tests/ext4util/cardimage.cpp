#include "cardimage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>

ProgramResult runProgram(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    QProcess process;
    process.setEnvironment(QProcess::systemEnvironment() + environment);
    process.start(program, arguments);
    ProgramResult result;
    if (process.waitForFinished(60'000) && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    result.output = process.readAllStandardOutput();
    result.messages = process.readAllStandardError();
    return result;
}

QString ext4utilPath() { return QStringLiteral(VORNEX_BIN_DIR "/ext4util"); }

ProgramResult ext4util(const QStringList &arguments, const QStringList &environment)
{
    return runProgram(ext4utilPath(), arguments, environment);
}

QByteArray noise(qsizetype size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(size + 3, Qt::Uninitialized);
    for (qsizetype i = 0; i + 4 <= bytes.size(); i += 4) {
        const quint32 value = generator.generate();
        memcpy(bytes.data() + i, &value, 4);
    }
    bytes.truncate(size);
    return bytes;
}

QByteArray fileContent(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s can't be written", qPrintable(path));
}

CardImage::CardImage(const QMap<QString, QByteArray> &files, const CardFormat &format)
    : m_format(format)
{
    const QString source = beside(QStringLiteral("source"));
    QDir().mkpath(source);
    for (auto file = files.begin(); file != files.end(); ++file) {
        const QString path = source + u'/' + file.key();
        QDir().mkpath(QFileInfo(path).path());
        writeFile(path, file.value());
    }
    QFile image(this->path());
    if (!image.open(QIODevice::WriteOnly) || !image.resize(format.offset + format.sizeMiB * 1048576LL))
        return;
    QStringList arguments{QStringLiteral("-qF"),
                          QStringLiteral("-t"),
                          QStringLiteral("ext4"),
                          QStringLiteral("-E"),
                          QStringLiteral("lazy_itable_init=1,offset=") + offsetText(),
                          QStringLiteral("-d"),
                          source};
    arguments += format.options;
    arguments += {this->path(), QString::number(format.sizeMiB) + u'M'};
    const ProgramResult made = runProgram(QStringLiteral("mke2fs"), arguments);
    m_isValid = made.exitCode == 0;
    if (!m_isValid)
        qWarning("%s", made.messages.constData());
    QDir(source).removeRecursively();
}

QByteArray CardImage::debugfs(const QStringList &commands)
{
    const QString script = beside(QStringLiteral("commands"));
    writeFile(script, commands.join(u'\n').toUtf8() + '\n');
    const ProgramResult result = runProgram(QStringLiteral("debugfs"),
                                            {QStringLiteral("-w"), QStringLiteral("-f"), script,
                                             path() + QStringLiteral("?offset=") + offsetText()});
    QFile::remove(script);
    return result.output;
}

quint64 CardImage::blockOf(const QString &file, int index)
{
    const QByteArray output = debugfs({QStringLiteral("bmap %1 %2").arg(file).arg(index)});
    return output.trimmed().split('\n').last().toULongLong();
}

void CardImage::poke(qint64 position, const QByteArray &bytes)
{
    QFile image(path());
    if (!image.open(QIODevice::ReadWrite) || !image.seek(m_format.offset + position)
        || image.write(bytes) != bytes.size())
        qFatal("the image can't be changed");
}

ProgramResult CardImage::list(const QString &folder) const
{
    return ext4util({QStringLiteral("ls"), path(), offsetText(), folder});
}

ProgramResult CardImage::read(const QString &file, const QStringList &environment) const
{
    return ext4util({QStringLiteral("read"), path(), offsetText(), file, target()}, environment);
}

QStringList CardImage::besideNames() const
{
    return QDir(m_folder.path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}
