#include "commandline.h"

#include "common/bundle.h"

#include <QCommandLineParser>
#include <QFileInfo>

namespace {

CommandLine refuse(const QString &why)
{
    CommandLine line;
    line.request = CommandLine::Request::Refuse;
    line.text = QStringLiteral("vornex: %1\n").arg(why);
    return line;
}

CommandLine show(const QString &text)
{
    CommandLine line;
    line.request = CommandLine::Request::ShowText;
    line.text = text;
    return line;
}

/// What is wrong with the files named, or nothing.
QString faultOf(const QString &cardImage, const std::optional<QString> &volumeFolder)
{
    const QFileInfo image(cardImage);
    if (!image.exists())
        return CommandLine::tr("%1: 카드 이미지 파일이 없습니다.").arg(cardImage);
    if (image.isDir())
        return CommandLine::tr("%1: 카드 이미지가 아니라 폴더입니다.").arg(cardImage);
    if (!image.isReadable())
        return CommandLine::tr("%1: 카드 이미지 파일을 읽을 수 없습니다.").arg(cardImage);
    if (volumeFolder && !QFileInfo(*volumeFolder).isDir())
        return CommandLine::tr("%1: 폴더가 없습니다.").arg(*volumeFolder);
    return {};
}

// By hand, since QCommandLineParser's own text needs an application object.
QString helpText()
{
    return CommandLine::tr("사용법: vornex [--card IMAGE [--volume FOLDER]]\n"
                           "블랙박스 메모리 카드 뷰어. 옵션이 없으면 카드가 삽입되기를 기다립니다.\n\n"
                           "  --card IMAGE     카드 리더 대신 카드 이미지 파일을 엽니다.\n"
                           "  --volume FOLDER  카드의 FAT 볼륨으로 쓸 폴더입니다.\n"
                           "  -h, --help       이 도움말을 표시합니다.\n"
                           "  -v, --version    버전을 표시합니다.\n");
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    const QCommandLineOption version(QStringList{QStringLiteral("v"), QStringLiteral("version")});
    const QCommandLineOption card(QStringLiteral("card"), {}, QStringLiteral("IMAGE"));
    const QCommandLineOption volume(QStringLiteral("volume"), {}, QStringLiteral("FOLDER"));
    parser.addOptions({help, version, card, volume});

    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    if (parser.isSet(help))
        return show(helpText());
    if (parser.isSet(version))
        return show(QStringLiteral("%1 %2 (%3)\n").arg(applicationName(), shortVersion(), buildVersion()));
    if (!parser.positionalArguments().isEmpty())
        return refuse(tr("%1: 알 수 없는 인수입니다.").arg(parser.positionalArguments().constFirst()));

    CommandLine line;
    if (parser.isSet(volume))
        line.volumeFolder = QFileInfo(parser.value(volume)).absoluteFilePath();
    if (!parser.isSet(card))
        return line.volumeFolder ? refuse(tr("--volume은 --card와 함께 사용해야 합니다.")) : line;
    line.cardImage = QFileInfo(parser.value(card)).absoluteFilePath();
    const QString fault = faultOf(*line.cardImage, line.volumeFolder);
    return fault.isEmpty() ? line : refuse(fault);
}
