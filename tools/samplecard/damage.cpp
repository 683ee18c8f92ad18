#include "damage.h"

#include <QFile>

namespace {

constexpr int unitTypeMask = 0x1f;
constexpr int sequenceSet = 7;
constexpr int pictureSet = 8;

/// The same set with an id above what the standard allows: 31 for sequence sets, 255 for picture sets.
QByteArray withWrongId(QByteArray set)
{
    switch (set[0] & unitTypeMask) {
    case sequenceSet: // the id follows type, profile, constraints and level
        set[4] = '\x02';
        break;
    case pictureSet:
        set[1] = '\0';
        set[2] = '\xff';
        break;
    default: break;
    }
    return set;
}

} // namespace

QList<QByteArray> splitUnits(const QByteArray &stream)
{
    const QByteArray startCode("\0\0\1", 3);
    QList<QByteArray> units;
    for (qsizetype at = stream.indexOf(startCode); at >= 0;) {
        const qsizetype begin = at + startCode.size();
        at = stream.indexOf(startCode, begin);
        qsizetype end = at < 0 ? stream.size() : at;
        while (end > begin && stream[end - 1] == '\0')
            --end;
        units.append(stream.mid(begin, end - begin));
    }
    return units;
}

Failure damageParameterSets(const QString &path, const QList<QByteArray> &sets, bool everywhere)
{
    QFile file(path);
    uchar *bytes = file.open(QIODevice::ReadWrite) ? file.map(0, file.size()) : nullptr;
    if (!bytes)
        return QStringLiteral("cannot damage %1: %2").arg(path, file.errorString());
    const QByteArray view = QByteArray::fromRawData(reinterpret_cast<const char *>(bytes), file.size());
    const qsizetype index = view.lastIndexOf("moov");
    for (const QByteArray &set : sets) {
        const QByteArray damaged = withWrongId(set);
        bool isFirst = true;
        for (qsizetype at = view.indexOf(set); at >= 0; at = view.indexOf(set, at + set.size())) {
            if (everywhere || isFirst || at > index)
                std::copy(damaged.begin(), damaged.end(), bytes + at);
            isFirst = false;
        }
    }
    return {};
}
