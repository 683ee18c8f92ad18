#include "preferences.h"

#include <cmath>

Preferences::Preferences()
    : m_store(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("vornex"), QStringLiteral("vornex"))
{
}

Preferences::Preferences(const QString &iniFile)
    : m_store(iniFile, QSettings::IniFormat)
{
}

double Preferences::volume() const { return number(QStringLiteral("volume"), 0.5); }

double Preferences::lastVolume() const { return number(QStringLiteral("lastVolume"), 0.5); }

double Preferences::brightness() const { return number(QStringLiteral("brightness"), 0.5); }

int Preferences::flip(int channel) const
{
    bool isNumber = false;
    const int mode = m_store.value(QStringLiteral("flip%1").arg(channel + 1)).toInt(&isNumber);
    return isNumber ? mode : 0;
}

QString Preferences::mapTileAddress() const
{
    return m_store
        .value(QStringLiteral("mapTileAddress"),
               QStringLiteral("https://tile.openstreetmap.org/{z}/{x}/{y}.png"))
        .toString();
}

QString Preferences::mapAttribution() const
{
    return m_store
        .value(QStringLiteral("mapAttribution"),
               QStringLiteral("© OpenStreetMap (openstreetmap.org/copyright)"))
        .toString();
}

double Preferences::number(const QString &key, double byDefault) const
{
    bool isNumber = false;
    const double value = m_store.value(key).toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? value : byDefault;
}
