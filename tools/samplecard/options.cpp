#include "options.h"

#include <algorithm>
#include <limits>
#include <QCommandLineParser>

namespace {

constexpr int mostChannels = 5;
constexpr qint64 leastBytes = qint64{104} << 20; // the FAT side takes 100 MiB of it
constexpr qint64 mostBytes = qint64{1} << 40;
constexpr QSize fullHd{1920, 1080};
constexpr QSize hd{1280, 720};

/// Reads the options' values and keeps the first complaint.
class Reader
{
public:
    explicit Reader(const QCommandLineParser &parser)
        : m_parser(parser)
    {
    }

    void number(const QString &name, int low, int high, int &value)
    {
        if (!m_parser.isSet(name))
            return;
        bool isNumber = false;
        const int given = m_parser.value(name).toInt(&isNumber);
        if (!isNumber || given < low || given > high)
            return complain(name, QStringLiteral("%1 to %2").arg(low).arg(high));
        value = given;
    }
    void size(const QString &name, QSize &value)
    {
        if (!m_parser.isSet(name))
            return;
        const QStringList parts = m_parser.value(name).split(u'x');
        const QSize given = parts.size() == 2 ? QSize(parts[0].toInt(), parts[1].toInt()) : QSize();
        const bool isEven = given.width() % 2 == 0 && given.height() % 2 == 0;
        if (!isEven || given.width() < 160 || given.height() < 90 || given.width() > 3840
            || given.height() > 2160)
            return complain(name, QStringLiteral("WIDTHxHEIGHT, even, from 160x90 to 3840x2160"));
        value = given;
    }
    void bytes(const QString &name, qint64 &value)
    {
        if (!m_parser.isSet(name))
            return;
        QString text = m_parser.value(name).toUpper();
        int shift = 0;
        for (const auto &[unit, bits] : {std::pair{u'K', 10}, {u'M', 20}, {u'G', 30}})
            if (text.endsWith(unit))
                shift = bits;
        if (shift > 0)
            text.chop(1);
        bool isNumber = false;
        const qint64 given = text.toLongLong(&isNumber);
        if (!isNumber || given < 1 || given > (mostBytes >> shift) || (given << shift) < leastBytes)
            return complain(name, QStringLiteral("bytes, or with a unit K, M or G, from 104M to 1024G"));
        value = given << shift;
    }
    void channels(const QString &name, QList<int> &value)
    {
        if (!m_parser.isSet(name))
            return;
        QList<int> given;
        for (const QString &part : m_parser.value(name).split(u','))
            given.append(part.toInt());
        if (std::any_of(given.begin(), given.end(),
                        [](int count) { return count < 1 || count > mostChannels; }))
            return complain(name,
                            QStringLiteral("numbers from 1 to %1 with commas between").arg(mostChannels));
        value = given;
    }
    [[nodiscard]] const QString &complaint() const { return m_complaint; }

private:
    void complain(const QString &name, const QString &wanted)
    {
        if (m_complaint.isEmpty())
            m_complaint = QStringLiteral("--%1: wanted is %2").arg(name, wanted);
    }
    const QCommandLineParser &m_parser;
    QString m_complaint;
};

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Makes the image of a memory card as a dashboard camera leaves it, or one recording.\n"
                       "The same options give the same bytes. Exit status: 0 done, 1 failed (nothing is "
                       "left), 2 wrong options."));
    const auto add = [&parser](const char *name, const char *description, const char *value) {
        parser.addOption(
            {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(value)});
    };
    add("recording", "Make one recording instead of a card.", "file");
    add("size", "Size of the card (600M).", "bytes");
    add("seed", "What roads, clocks, colours and tones hang on (1).", "number");
    add("count", "Number of recordings (12).", "number");
    add("seconds", "Length of a recording (20).", "number");
    add("channels", "Numbers of channels, by turns (1,2,4,5; for one recording 2).", "list");
    add("picture", "Size of the first channel; the others are at most 1280x720 (640x360).", "size");
    add("fps", "Frames a second (30).", "number");
    add("days", "Number of days that the recordings are spread over (3).", "number");
    add("label", "Name of the FAT volume; without it the volume has none.", "text");
    add("unfinished", "So many recordings were cut off by the power: .mov, without an index.", "number");
    add("damaged-sets", "So many recordings have damaged parameter sets.", "number");
    parser.addOption({QStringLiteral("partitioned"), QStringLiteral("The FAT volume is a partition.")});
    parser.addOption({QStringLiteral("no-sound"), QStringLiteral("Recordings without a sound track.")});
    parser.addPositionalArgument(QStringLiteral("image"), QStringLiteral("The card image to make."),
                                 QStringLiteral("[image]"));
}

} // namespace

QList<QSize> Options::pictures(int channelCount) const
{
    const bool isLarge = picture.width() >= fullHd.width() && picture.height() >= fullHd.height();
    QList<QSize> sizes(channelCount, isLarge ? hd : picture);
    sizes[0] = picture;
    return sizes;
}

ParsedOptions parseOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    describe(parser);
    const QCommandLineOption help = parser.addHelpOption();
    if (!parser.parse(arguments))
        return {{}, parser.errorText()};
    if (parser.isSet(help))
        return {{}, parser.helpText(), true};

    Options options;
    options.isSingleRecording = parser.isSet(QStringLiteral("recording"));
    if (options.isSingleRecording)
        options.channels = {2};
    Reader reader(parser);
    int seed = 1;
    reader.number(QStringLiteral("seed"), 0, std::numeric_limits<int>::max(), seed);
    options.seed = static_cast<std::uint32_t>(seed);
    reader.number(QStringLiteral("count"), 0, 10000, options.count);
    reader.number(QStringLiteral("seconds"), 1, 3600, options.seconds);
    reader.number(QStringLiteral("fps"), 10, 60, options.fps);
    reader.number(QStringLiteral("days"), 1, 366, options.days);
    reader.number(QStringLiteral("unfinished"), 0, options.count, options.unfinished);
    reader.number(QStringLiteral("damaged-sets"), 0, options.count - options.unfinished, options.damagedSets);
    reader.size(QStringLiteral("picture"), options.picture);
    reader.bytes(QStringLiteral("size"), options.cardBytes);
    reader.channels(QStringLiteral("channels"), options.channels);
    if (!reader.complaint().isEmpty())
        return {{}, reader.complaint()};
    options.isPartitioned = parser.isSet(QStringLiteral("partitioned"));
    options.hasSound = !parser.isSet(QStringLiteral("no-sound"));
    if (parser.isSet(QStringLiteral("label")))
        options.label = parser.value(QStringLiteral("label"));

    const QStringList names = parser.positionalArguments();
    if (names.size() != (options.isSingleRecording ? 0 : 1))
        return {{}, QStringLiteral("wanted is one image, or --recording and its file")};
    options.target = options.isSingleRecording ? parser.value(QStringLiteral("recording")) : names.first();
    return {options, {}};
}
