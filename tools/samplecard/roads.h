#pragma once

#include <QList>
#include <QPointF>

struct Place {
    double latitude = 0; ///< degrees, north positive
    double longitude = 0; ///< degrees, east positive
};

/// A smooth line through real places, walked by the distance from its start.
class Road
{
public:
    Road(const QList<Place> &places, double cruiseMps, bool hasSignals);

    [[nodiscard]] double length() const { return m_distance.last(); } ///< metres
    [[nodiscard]] double cruiseMps() const { return m_cruiseMps; }
    [[nodiscard]] bool hasSignals() const { return m_hasSignals; }
    /// distance in metres, any value: beyond an end the road goes on straight.
    [[nodiscard]] Place placeAt(double distance) const;
    [[nodiscard]] double courseAt(double distance) const; ///< radians clockwise from north, -pi to pi
    [[nodiscard]] double curvatureAt(double distance) const; ///< 1/m, to the right positive

private:
    [[nodiscard]] QPointF pointAt(double distance) const;

    QList<QPointF> m_points; // metres east and north of the first place
    QList<double> m_distance;
    Place m_origin;
    double m_cruiseMps;
    bool m_hasSignals;
};

/// The roads that the sample drives use.
[[nodiscard]] const QList<Road> &sampleRoads();
