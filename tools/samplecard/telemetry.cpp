#include "telemetry.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double mpsPerKnot = 1852.0 / 3600;

QByteArray block(const char *tag, const QByteArray &payload)
{
    return tag + QByteArray::number(payload.size()).rightJustified(5, '0') + payload;
}

/// Degrees and minutes as one number, the degrees with that many digits: dddmm.mmmm.
QByteArray degreesAndMinutes(double degrees, int digits)
{
    const long tenThousandths = std::lround(std::abs(degrees) * 600000);
    return QString::asprintf("%0*ld%07.4f", digits, tenThousandths / 600000,
                             double(tenThousandths % 600000) / 10000)
        .toLatin1();
}

QByteArray withChecksum(const QByteArray &sentence)
{
    unsigned sum = 0;
    for (const char c : sentence)
        sum ^= static_cast<unsigned char>(c);
    return '$' + sentence + QString::asprintf("*%02X\r\n", sum).toLatin1();
}

} // namespace

namespace telemetry {

QByteArray channelBlock(const QList<QSize> &pictures, int fps)
{
    QList<QByteArray> channels;
    for (const QSize &size : pictures)
        channels.append(QString::asprintf("%d.%d.%d", size.width(), size.height(), fps).toLatin1());
    return block("DAT", "vid:[" + QByteArray::number(pictures.size()) + ']' + channels.join(':'));
}

QByteArray positionBlock(const QDateTime &time, const DriveState &state)
{
    const QDateTime utc = time.toUTC();
    const Place &place = state.place;
    const double course = std::fmod(std::round(state.course * 100) / 100, 360.0);
    const QByteArray sentence = "GPRMC," + utc.toString(u"HHmmss.zzz").chopped(1).toLatin1() + ",A,"
        + degreesAndMinutes(place.latitude, 2) + (place.latitude < 0 ? ",S," : ",N,")
        + degreesAndMinutes(place.longitude, 3) + (place.longitude < 0 ? ",W," : ",E,")
        + QString::asprintf("%.2f,%.2f,", state.speedMps / mpsPerKnot, course).toLatin1()
        + utc.toString(u"ddMMyy").toLatin1() + ",,,A";
    return block("GPS", withChecksum(sentence));
}

QByteArray accelerationBlock(const QDateTime &localTime, const Acceleration &acceleration)
{
    const QDate date = localTime.date();
    const QTime time = localTime.time();
    const int bytes[]{0,
                      acceleration.x + 128,
                      acceleration.y + 128,
                      acceleration.z + 128,
                      0,
                      0,
                      0,
                      date.year() - 2000,
                      date.month(),
                      date.day(),
                      time.hour(),
                      time.minute(),
                      time.second(),
                      0,
                      0};
    QByteArray payload;
    for (const int byte : bytes)
        payload.append(static_cast<char>(byte));
    return block("SHO", payload);
}

} // namespace telemetry
