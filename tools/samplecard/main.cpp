#include "avhandles.h"
#include "cardimage.h"
#include "cardplan.h"
#include "options.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <QCoreApplication>
#include <QDir>
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

Failure writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush())
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return {};
}

Failure setTime(const QString &path, const QDateTime &time)
{
    std::error_code error;
    const std::chrono::sys_seconds at{std::chrono::seconds{time.toSecsSinceEpoch()}};
    std::filesystem::last_write_time(path.toStdString(), std::chrono::file_clock::from_sys(at), error);
    if (error)
        return QStringLiteral("cannot date %1: %2").arg(path, QString::fromStdString(error.message()));
    return {};
}

/// The recordings, several at a time; each dated by its own end.
Failure writeRecordings(const QList<CardRecording> &recordings, const QString &folder)
{
    Progress progress(static_cast<int>(recordings.size()));
    std::atomic<qsizetype> next = 0;
    const auto work = [&]() -> Failure {
        for (qsizetype i = next++; i < recordings.size(); i = next++) {
            const CardRecording &recording = recordings[i];
            const QString path = folder + u'/' + recording.path;
            Failure failed = writeRecording(recording.plan, path);
            if (!failed)
                failed = setTime(path, recording.plan.start.addSecs(recording.plan.seconds));
            if (failed) {
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

Failure writeContents(const Options &options, const QString &folder, const QList<CardRecording> &recordings,
                      const QDateTime &made)
{
    const QStringList folders{QStringLiteral("cfg"),        QStringLiteral("mov/normal"),
                              QStringLiteral("mov/event"),  QStringLiteral("mov/park"),
                              QStringLiteral("mov/manual"), QStringLiteral("mov/saved")};
    for (const QString &name : folders)
        if (!QDir(folder).mkpath(name))
            return QStringLiteral("cannot make %1/%2").arg(folder, name);
    if (Failure failed = writeRecordings(recordings, folder))
        return failed;
    for (const CardText &text : planTexts(options, recordings)) {
        if (Failure failed = writeText(folder + u'/' + text.path, text.text))
            return failed;
        if (Failure failed = setTime(folder + u'/' + text.path, made))
            return failed;
    }
    for (const QString &name : folders + QStringList{QStringLiteral("mov"), QStringLiteral(".")})
        if (Failure failed = setTime(folder + u'/' + name, made))
            return failed;
    return {};
}

Failure makeCard(const Options &options, const QString &workFolder, const QString &image)
{
    const QList<CardRecording> recordings = planRecordings(options);
    const QDateTime made = recordings.isEmpty() ? singleRecording(options).start
                                                : recordings.last().plan.start.addSecs(options.seconds);
    const QString contents = workFolder + QStringLiteral("/card");
    if (Failure failed = writeContents(options, contents, recordings, made))
        return failed;
    return makeCardImage(
        {contents, image, options.cardBytes, options.isPartitioned, options.label, options.seed, made});
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
