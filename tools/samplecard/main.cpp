#include "cardimage.h"
#include "cardplan.h"
#include "common/avhandles.h"
#include "ext4writer.h"
#include "interruption.h"
#include "options.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <thread>
#include <unistd.h>

namespace {

constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

void say(const QString &line) { std::fprintf(stderr, "samplecard: %s\n", line.toLocal8Bit().constData()); }

/// One line that counts up on a terminal, silent else but for the end.
class Progress
{
public:
    explicit Progress(int total)
        : m_total(total)
    {
    }
    void step()
    {
        const std::scoped_lock lock(m_mutex);
        ++m_done;
        if (m_isTerminal)
            std::fprintf(stderr, "\rsamplecard: recording %d of %d%s", m_done, m_total,
                         m_done == m_total ? "\n" : "");
        else if (m_done == m_total)
            std::fprintf(stderr, "samplecard: %d recordings made\n", m_total);
    }

private:
    std::mutex m_mutex;
    int m_total;
    int m_done = 0;
    bool m_isTerminal = ::isatty(STDERR_FILENO) == 1;
};

/// Makes the recordings, several at a time, as files 0, 1, 2 and so on.
Failure writeRecordings(const QList<CardRecording> &recordings, const QString &folder)
{
    Progress progress(static_cast<int>(recordings.size()));
    std::atomic<qsizetype> next = 0;
    const auto work = [&]() -> Failure {
        for (qsizetype i = next++; i < recordings.size(); i = next++) {
            if (Failure failed = writeRecording(recordings[i].plan, folder + u'/' + QString::number(i))) {
                next = recordings.size();
                return failed;
            }
            progress.step();
        }
        return {};
    };
    std::vector<std::future<Failure>> workers;
    for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i)
        workers.push_back(std::async(std::launch::async, work));
    Failure failed;
    for (std::future<Failure> &worker : workers)
        if (Failure one = worker.get(); one && !failed)
            failed = one;
    return failed;
}

/// The ext4 side: settings and index files, then the recordings, each dated by its end.
Failure fillCard(const Options &options, const QString &image, const QDateTime &made,
                 const QList<CardRecording> &recordings, const QString &folder)
{
    Ext4Writer card;
    if (Failure failed = card.open(image, ext4Offset, made))
        return failed;
    for (const char *name : {"cfg", "mov", "mov/normal", "mov/event", "mov/park", "mov/manual", "mov/saved"})
        if (Failure failed = card.makeFolder(QLatin1String(name)))
            return failed;
    for (const CardText &text : planTexts(options, recordings)) {
        QBuffer buffer;
        buffer.setData(text.text);
        buffer.open(QIODevice::ReadOnly);
        if (Failure failed = card.addFile(text.path, buffer, made))
            return failed;
    }
    for (qsizetype i = 0; i < recordings.size(); ++i) {
        const RecordingPlan &plan = recordings[i].plan;
        QFile file(folder + u'/' + QString::number(i));
        if (!file.open(QIODevice::ReadOnly))
            return QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString());
        if (Failure failed = card.addFile(recordings[i].path, file, plan.start.addSecs(plan.seconds)))
            return failed;
        file.remove();
    }
    return card.close();
}

Failure makeCard(const Options &options, const QString &workFolder, const QString &image)
{
    const QList<CardRecording> recordings = planRecordings(options);
    const QDateTime made = recordings.isEmpty() ? singleRecording(options).start
                                                : recordings.last().plan.start.addSecs(options.seconds);
    if (Failure failed = makeCardImage(
            {image, options.cardBytes, options.isPartitioned, options.label, options.seed, made}))
        return failed;
    if (Failure failed = writeRecordings(recordings, workFolder))
        return failed;
    return fillCard(options, image, made, recordings, workFolder);
}

/// Everything is made in a folder beside the target, which then takes its place in one step.
Failure make(const Options &options)
{
    const QFileInfo target(options.target);
    QTemporaryDir work(target.absolutePath() + QStringLiteral("/.samplecard-XXXXXX"));
    if (!work.isValid())
        return QStringLiteral("cannot write beside %1: %2").arg(options.target, work.errorString());
    const QString made = work.filePath(QStringLiteral("made"));
    if (Failure failed = options.isSingleRecording ? writeRecording(singleRecording(options), made)
                                                   : makeCard(options, work.path(), made))
        return failed;
    if (std::rename(QFile::encodeName(made).constData(), QFile::encodeName(options.target).constData()) != 0)
        return QStringLiteral("cannot write %1: %2").arg(options.target, qt_error_string());
    return {};
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    av_log_set_level(AV_LOG_ERROR);
    interruption::watch();
    const ParsedOptions parsed = parseOptions(QCoreApplication::arguments());
    if (parsed.isHelp) {
        std::fputs(parsed.message.toLocal8Bit().constData(), stdout);
        return EXIT_SUCCESS;
    }
    if (!parsed.options) {
        say(parsed.message + QStringLiteral(" (see --help)"));
        return exitUsage;
    }
    if (const Failure failed = make(*parsed.options)) {
        say(*failed);
        return exitFailed;
    }
    return EXIT_SUCCESS;
}
