#include "timestamp.h"

#include <array>

namespace {

constexpr QStringView shape = u"0000-00-00 00:00:00";

bool hasShape(QStringView text)
{
    if (text.size() != shape.size())
        return false;
    for (qsizetype i = 0; i < shape.size(); ++i) {
        const bool isDigit = text[i] >= u'0' && text[i] <= u'9';
        if (shape[i] == u'0' ? !isDigit : text[i] != shape[i])
            return false;
    }
    return true;
}

int digitsAt(QStringView text, qsizetype start, qsizetype count)
{
    int value = 0;
    for (const QChar digit : text.mid(start, count))
        value = value * 10 + (digit.unicode() - u'0');
    return value;
}

} // namespace

std::optional<QDateTime> parseTimestamp(QStringView text)
{
    if (!hasShape(text))
        return std::nullopt;
    const QDate date(digitsAt(text, 0, 4), digitsAt(text, 5, 2), digitsAt(text, 8, 2));
    const QTime time(digitsAt(text, 11, 2), digitsAt(text, 14, 2), digitsAt(text, 17, 2));
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    const QDateTime instant(date, time, Qt::LocalTime);
    if (!instant.isValid())
        return std::nullopt;
    // Which pass through a repeated hour QDateTime takes is not fixed. Clocks go back by an hour or a half.
    for (const qint64 repeatedSeconds : {1800, 3600}) {
        const QDateTime later = QDateTime::fromSecsSinceEpoch(instant.toSecsSinceEpoch() + repeatedSeconds);
        if (later.date() == date && later.time() == time)
            return later;
    }
    return instant;
}
