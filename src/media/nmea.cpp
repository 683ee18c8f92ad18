#include "nmea.h"

#include "common/text.h"

#include <charconv>
#include <cmath>
#include <QDateTime>

namespace {

constexpr qsizetype leastFields = 10;
constexpr double kilometresPerNauticalMile = 1.852;

QStringList fieldsOf(const QString &nmea)
{
    if (!nmea.startsWith(u"$GPRMC"))
        return {};
    const QStringList fields = nmea.split(u',', Qt::SkipEmptyParts);
    return fields.size() < leastFields ? QStringList() : fields;
}

/// A finite decimal number as a whole, else 0. Independent of the locale.
double numberOrZero(const QString &field)
{
    const QByteArray bytes = field.toLatin1(); // other characters become "?", which is no part of a number
    const char *begin = bytes.constData();
    const char *end = begin + bytes.size();
    if (bytes.size() > 1 && *begin == '+' && begin[1] != '-')
        ++begin;
    double number = 0;
    const auto [rest, error] = std::from_chars(begin, end, number);
    return error == std::errc() && rest == end && std::isfinite(number) ? number : 0;
}

/// From degrees * 100 + minutes.
double degreesOf(const QString &field, bool isNegative)
{
    const double value = numberOrZero(field);
    const double degrees = std::floor(value / 100);
    const double minutes = value - degrees * 100;
    const double result = degrees + minutes / 60;
    return isNegative ? -result : result;
}

qint64 pairAt(const QString &field, qsizetype position)
{
    return text::parseInteger(QStringView(field).mid(position, 2)).value_or(0);
}

} // namespace

std::optional<GPRMC> parseGPRMC(const QString &nmea)
{
    const QStringList fields = fieldsOf(nmea);
    if (fields.isEmpty() || fields[2] != u"A")
        return std::nullopt;
    return GPRMC{.timeUTC = fields[1],
                 .date = fields[9],
                 .latitude = degreesOf(fields[3], fields[4] == u"S"),
                 .longitude = degreesOf(fields[5], fields[6] == u"W"),
                 .speedKmh = numberOrZero(fields[7]) * kilometresPerNauticalMile,
                 .course = numberOrZero(fields[8])};
}

std::optional<QString> gprmcTimestamp(const QString &nmea, bool local)
{
    const QStringList fields = fieldsOf(nmea);
    if (fields.isEmpty())
        return std::nullopt;
    const QString &time = fields[1];
    const QString &date = fields[9];
    if (time.size() < 6 || date.size() != 6)
        return std::nullopt;
    const QDate day = QDate(2000, 1, 1)
                          .addYears(static_cast<int>(pairAt(date, 4)))
                          .addMonths(static_cast<int>(pairAt(date, 2)) - 1)
                          .addDays(pairAt(date, 0) - 1);
    const QDateTime instant = QDateTime(day, QTime(0, 0), Qt::UTC)
                                  .addSecs(pairAt(time, 0) * 3600 + pairAt(time, 2) * 60 + pairAt(time, 4));
    if (!instant.isValid())
        return std::nullopt;
    return (local ? instant.toLocalTime() : instant).toString(u"yyyy-MM-dd HH:mm:ss");
}
