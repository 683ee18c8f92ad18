#pragma once

#include "media/mediadataviewmodel.h"

#include <QPointer>
#include <qqmlintegration.h>

/// Where the car was at the player's time; the last known place while the player stands at 0 or before the
/// first record. Degrees, south and west negative; (0, 0) is no position. Main thread.
class MapPosition : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(MediaDataViewModel *mediaData READ mediaData WRITE setMediaData NOTIFY mediaDataChanged FINAL)
    Q_PROPERTY(double currentTime READ currentTime WRITE setCurrentTime NOTIFY currentTimeChanged FINAL)
    Q_PROPERTY(double latitude READ latitude NOTIFY redrawn FINAL)
    Q_PROPERTY(double longitude READ longitude NOTIFY redrawn FINAL)
public:
    using QObject::QObject;
    [[nodiscard]] MediaDataViewModel *mediaData() const { return m_mediaData; }
    void setMediaData(MediaDataViewModel *mediaData);
    [[nodiscard]] double currentTime() const { return m_currentTime; } ///< of the player, in seconds
    void setCurrentTime(double seconds);

    [[nodiscard]] double latitude() const { return m_lastLatitude; }
    [[nodiscard]] double longitude() const { return m_lastLongitude; }

Q_SIGNALS:
    void mediaDataChanged();
    void currentTimeChanged();
    void redrawn(); ///< the position is as of now, changed or not

private:
    void redraw();

    QPointer<MediaDataViewModel> m_mediaData;
    double m_currentTime = 0;
    double m_lastLatitude = 0;
    double m_lastLongitude = 0;
};
