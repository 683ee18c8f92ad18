#include "cardimage.h"

#include "card/processvalues.h"
#include "card/shell.h"
#include "card/toolcommands.h"
#include "card/tooloutput.h"
#include "desktop/imagedesktop.h"
#include "media/sortedlist.h"

#include <algorithm>
#include <QCoreApplication>
#include <QCoroSignal>
#include <QFileInfo>

using namespace std::chrono_literals;

namespace {

constexpr auto longestWaitForCard = 10s;
constexpr qsizetype mostMessages = 1 << 20; // characters; a hostile folder could make a tool print for ever

QString tr(const char *text) { return QCoreApplication::translate("CardImage", text); }

/// By the exit status of ext4util.
Outcome outcomeOf(int status, const QString &messages)
{
    const QString details = messages.isEmpty() ? QString() : u' ' + messages.simplified();
    switch (status) {
    case 0: return {};
    case 2:
    case 3: return {ExitStatus::NoCard, tr("카드를 읽을 수 없습니다.") + details};
    case 4: return {ExitStatus::NotFound, tr("카드에 없는 파일입니다.") + details};
    case 5: return {ExitStatus::Incomplete, tr("카드가 손상되어 일부를 읽지 못했습니다.") + details};
    case 6: return {ExitStatus::Incomplete, tr("카드가 손상되어 읽을 수 없습니다.") + details};
    case 7: return {ExitStatus::NotWritten, tr("파일을 쓸 수 없습니다.") + details};
    default: return {ExitStatus::Internal, tr("ext4util을 실행할 수 없습니다.") + details};
    }
}

bool isUsableCardPath(const QString &path)
{
    const QStringList parts = path.split(u'/');
    return std::all_of(parts.begin(), parts.end(), tooloutput::isUsableName);
}

} // namespace

CardImage::CardImage(const QString &path)
    : m_path(path)
    , m_home(WorkFolder::makeHome())
{
}

CardImage::~CardImage() = default;

QCoro::Task<Outcome> CardImage::open()
{
    const QFileInfo image(m_path);
    if (!image.isFile() || !image.isReadable())
        co_return Outcome{ExitStatus::NoCard, tr("%1: 카드 이미지 파일을 읽을 수 없습니다.").arg(m_path)};
    if (!m_home)
        co_return Outcome{ExitStatus::NotWritten, tr("임시 폴더를 만들 수 없습니다.")};
    m_desktop = makeImageDesktop(m_path, std::nullopt);
    m_manager = std::make_unique<ProcessManager>(*m_desktop);
    const bool isReady = co_await m_manager->setup();
    if (!isReady || m_manager->fileSize(m_manager->helperRoot() + QStringLiteral("ext4util"), false) == 0)
        co_return Outcome{ExitStatus::Internal, tr("ext4util을 찾을 수 없습니다.")};
    m_sdManager = std::make_unique<SDManager>(*m_desktop->diskWatcher);
    m_sdManager->startMonitoring();
    if (!m_sdManager->detectedDisk())
        co_await qCoro(m_sdManager.get(), &SDManager::detectedDiskChanged, longestWaitForCard);
    if (!processvalues::cardDevicePath())
        co_return Outcome{ExitStatus::NoCard, tr("%1: 카드로 인식할 수 없습니다.").arg(m_path)};
    co_return Outcome();
}

QCoro::Task<CardImage::ToolResult> CardImage::runTool(QString command)
{
    QString output;
    const Shell::OutputHandler keep = [&output](const QString &chunk) {
        if (output.size() < mostMessages)
            output += chunk;
    };
    ToolResult result;
    result.status = co_await Shell::runAsync(command, keep);
    const QStringList lines = output.split(u'\n');
    result.messages = lines.filter(QStringLiteral("ext4util:")).join(u'\n');
    co_return result;
}

QCoro::Task<CardImage::Listing> CardImage::list()
{
    Listing listing;
    const FileList files = co_await m_manager->readFileList();
    listing.recordings = sortedNewestFirst(files).items;
    listing.recordedChannelCount = processvalues::recordedChannelCount();
    listing.outcome = co_await checkFolders();
    co_return listing;
}

/// A listing that is cut short by damage looks like a short one: only the tool's exit status tells. A folder
/// that isn't there is no damage, as a camera makes it with its first recording.
QCoro::Task<Outcome> CardImage::checkFolders()
{
    Outcome worst;
    for (const char *folder :
         {"cfg", "mov", "mov/normal", "mov/event", "mov/park", "mov/manual", "mov/saved"}) {
        const QString command = toolcommands::list(m_manager->helperRoot(), *processvalues::cardDevicePath(),
                                                   QLatin1String(folder));
        const ToolResult result = co_await runTool(command);
        const Outcome outcome = outcomeOf(result.status, result.messages);
        if (outcome.status == ExitStatus::Whole || outcome.status == ExitStatus::NotFound)
            continue;
        worst = outcome;
        worst.message = QLatin1String(folder) + QStringLiteral(": ") + outcome.message;
        if (outcome.status == ExitStatus::NoCard)
            break;
    }
    co_return worst;
}

QCoro::Task<Outcome> CardImage::extract(QString cardPath, QString path, TargetFile::Existing existing)
{
    if (!isUsableCardPath(cardPath))
        co_return Outcome{ExitStatus::NotFound, tr("%1: 카드의 경로가 아닙니다.").arg(cardPath)};
    TargetFile target(path, existing, {m_path});
    const Outcome prepared = target.prepare();
    if (prepared.status != ExitStatus::Whole)
        co_return prepared;

    const QString file = target.workPath(QStringLiteral("recording"));
    const QString command =
        toolcommands::extract(m_manager->helperRoot(), *processvalues::cardDevicePath(), cardPath, file);
    const ToolResult result = co_await runTool(command);
    Outcome outcome = outcomeOf(result.status, result.messages);
    if (!QFileInfo::exists(file))
        co_return outcome;
    if (outcome.status == ExitStatus::Incomplete && target.exists()) {
        outcome.message += u' ' + tr("%1: 이미 있는 파일을 그대로 두었습니다.").arg(path);
        co_return outcome;
    }
    const Outcome placed = target.takePlace(file);
    co_return placed.status == ExitStatus::Whole ? outcome : placed;
}
