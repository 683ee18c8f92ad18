#include "tooloutput.h"

#include "common/text.h"

#include <algorithm>
#include <QRegularExpression>
#include <set>

namespace {

/// The words between runs of white space, at most the first three.
QList<QStringView> firstWords(QStringView line)
{
    QList<QStringView> words;
    qsizetype start = -1;
    for (qsizetype i = 0; i <= line.size() && words.size() < 3; ++i) {
        const bool isInside = i < line.size() && !line[i].isSpace();
        if (isInside && start < 0)
            start = i;
        if (!isInside && start >= 0) {
            words.append(line.sliced(start, i - start));
            start = -1;
        }
    }
    return words;
}

} // namespace

QStringList tooloutput::parseListing(QStringView output, bool withSize)
{
    QStringList entries;
    const QStringList lines = text::splitAtNewlines(output);
    for (const QString &line : lines) {
        const auto words = firstWords(line);
        if (words.size() < 3 || words[1] == u"." || words[1] == u"..")
            continue;
        const QString name = words[1].toString();
        entries.append(withSize ? name + u',' + words[2].toString() : name);
    }
    return entries;
}

QString tooloutput::damageReport(QStringView output)
{
    static const QRegularExpression pattern(QStringLiteral("(sps_id|pps_id) \\d+ out of range"));
    std::set<QString> messages; // in the order of code units, whatever the user's language
    for (auto matches = pattern.globalMatch(output.toString()); matches.hasNext();)
        messages.insert(matches.next().captured());
    return QStringList(messages.begin(), messages.end()).join(u'\n');
}

QStringList tooloutput::repairReport(QStringView output)
{
    static const QRegularExpression lineEnd(QStringLiteral("[\\r\\n]+"));
    static const QRegularExpression progress(QStringLiteral("^\\w+: \\d+ %$"));
    constexpr qsizetype mostLines = 100;
    constexpr qsizetype longestLine = 500;
    QStringList report;
    const auto lines = output.split(lineEnd, Qt::SkipEmptyParts);
    for (const QStringView line : lines) {
        const QString told = line.left(longestLine).toString();
        if (report.size() < mostLines && !progress.match(told).hasMatch())
            report.append(told);
    }
    return report;
}

bool tooloutput::areFramesLost(const QStringList &repairReport)
{
    static const QRegularExpression loss(
        QStringLiteral("^channel \\d+: \\d+ frames found, 0*[1-9]\\d* lost$"));
    return std::any_of(repairReport.cbegin(), repairReport.cend(),
                       [](const QString &line) { return loss.match(line).hasMatch(); });
}

tooloutput::ListedFile tooloutput::parseSizedEntry(const QString &entry)
{
    const QStringList parts = entry.split(u',');
    return {parts.value(0), text::parseUnsigned(parts.value(1)).value_or(0)};
}

bool tooloutput::isUsableName(QStringView name)
{
    return text::isPlainShellWord(name) && !name.contains(u'/') && name != u"." && name != u"..";
}
