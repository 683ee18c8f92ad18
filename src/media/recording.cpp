#include "recording.h"

#include "timestamp.h"

#include <array>
#include <QRegularExpression>
#include <QStringBuilder>
#include <utility>

Recording::Extracted Recording::extracted() const
{
    if (read == 0)
        return Extracted::No;
    return read < size ? Extracted::Partly : Extracted::Whole;
}

Recording::Kind Recording::kind() const
{
    constexpr std::array kinds{
        std::pair{QStringView(u"N_"), Kind::Continuous},
        std::pair{QStringView(u"E_"), Kind::Event},
        std::pair{QStringView(u"P_"), Kind::Parking},
        std::pair{QStringView(u"M_"), Kind::Manual},
    };
    for (const auto &[prefix, kind] : kinds) {
        if (name.startsWith(prefix))
            return kind;
    }
    return Kind::Other;
}

std::optional<QDateTime> Recording::startTime() const
{
    const auto found = timeInName(name);
    if (!found)
        return std::nullopt;
    const auto &[date, time] = *found;
    return parseTimestamp(QString(date.left(4) % u'-' % date.mid(4, 2) % u'-' % date.mid(6, 2) % u' '
                                  % time.left(2) % u':' % time.mid(2, 2) % u':' % time.mid(4, 2)));
}

QString Recording::cardPath() const { return QStringLiteral("mov/") % type % u'/' % name; }

std::optional<NameTime> timeInName(const QString &name)
{
    // \d stands for ASCII digits only: the option UseUnicodePropertiesOption is not set.
    static const QRegularExpression pattern(QStringLiteral("_(\\d{8})_(\\d{6})"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return std::nullopt;
    return NameTime{QStringView(name).mid(match.capturedStart(1), 8),
                    QStringView(name).mid(match.capturedStart(2), 6)};
}
