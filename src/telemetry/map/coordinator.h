#pragma once

#include <QObject>
#include <qqmlintegration.h>
#include <utility>

/// Stands between the map's page and the program: nothing is sent before the page has posted "mapReady", nor
/// while it is loaded anew, and a position that comes then is dropped. Main thread.
class Coordinator : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isMapReady READ isMapReady NOTIFY isMapReadyChanged FINAL)
public:
    using QObject::QObject;

    [[nodiscard]] bool isMapReady() const { return m_isMapReady; } ///< never goes back
    /// A message of the page, by its name; other names than "mapReady" are ignored.
    Q_INVOKABLE void receive(const QString &name);
    /// Degrees, south and west negative; (0, 0) is no position and sends nothing. Neither does the position
    /// that was sent last.
    Q_INVOKABLE void update(double latitude, double longitude);
    /// The page has ended; when it is loaded anew, it posts "mapReady" again.
    Q_INVOKABLE void losePage() { m_isPageThere = false; }

Q_SIGNALS:
    void isMapReadyChanged();
    void pageReady(); ///< for the first time or again: it knows no position
    void scriptRequested(const QString &script); ///< to be evaluated in the page; no one waits for a result

private:
    bool m_isMapReady = false;
    bool m_isPageThere = false;
    std::pair<double, double> m_sent;
};
