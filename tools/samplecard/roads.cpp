#include "roads.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double metresPerDegree = 111320; // of latitude
constexpr int stepsPerSpan = 24;
constexpr double courseReach = 5; // metres before and behind over which a course is taken
constexpr double curvatureReach = 10; // metres, likewise

/// Catmull-Rom: through b and c, with their neighbours a and d giving the tangents.
QPointF between(QPointF a, QPointF b, QPointF c, QPointF d, double t)
{
    return 0.5
        * (2 * b + (c - a) * t + (2 * a - 5 * b + 4 * c - d) * t * t + (3 * b - a - 3 * c + d) * t * t * t);
}

} // namespace

Road::Road(const QList<Place> &places, double cruiseMps, bool hasSignals)
    : m_origin(places.first())
    , m_cruiseMps(cruiseMps)
    , m_hasSignals(hasSignals)
{
    const double perLongitude = metresPerDegree * std::cos(m_origin.latitude * std::numbers::pi / 180);
    QList<QPointF> nodes;
    for (const Place &place : places)
        nodes.append({(place.longitude - m_origin.longitude) * perLongitude,
                      (place.latitude - m_origin.latitude) * metresPerDegree});
    nodes.prepend(2 * nodes[0] - nodes[1]);
    nodes.append(2 * nodes.last() - nodes[nodes.size() - 2]);

    for (qsizetype i = 1; i + 2 < nodes.size(); ++i)
        for (int step = 0; step < stepsPerSpan; ++step)
            m_points.append(
                between(nodes[i - 1], nodes[i], nodes[i + 1], nodes[i + 2], double(step) / stepsPerSpan));
    m_points.append(nodes[nodes.size() - 2]);

    m_distance.append(0);
    for (qsizetype i = 1; i < m_points.size(); ++i) {
        const QPointF way = m_points[i] - m_points[i - 1];
        m_distance.append(m_distance.last() + std::hypot(way.x(), way.y()));
    }
}

QPointF Road::pointAt(double distance) const
{
    const auto next = std::upper_bound(m_distance.begin() + 1, m_distance.end() - 1, distance);
    const qsizetype i = next - m_distance.begin();
    const double part = (distance - m_distance[i - 1]) / (m_distance[i] - m_distance[i - 1]);
    return m_points[i - 1] + (m_points[i] - m_points[i - 1]) * part;
}

Place Road::placeAt(double distance) const
{
    const QPointF point = pointAt(distance);
    const double perLongitude = metresPerDegree * std::cos(m_origin.latitude * std::numbers::pi / 180);
    return {m_origin.latitude + point.y() / metresPerDegree, m_origin.longitude + point.x() / perLongitude};
}

double Road::courseAt(double distance) const
{
    const QPointF way = pointAt(distance + courseReach) - pointAt(distance - courseReach);
    return std::atan2(way.x(), way.y());
}

double Road::curvatureAt(double distance) const
{
    const double turn = courseAt(distance + curvatureReach) - courseAt(distance - curvatureReach);
    return std::remainder(turn, 2 * std::numbers::pi) / (2 * curvatureReach);
}

const QList<Road> &sampleRoads()
{
    static const QList<Road> roads{
        // Seoul, Sejong-daero: Gwanghwamun, City Hall, Sungnyemun, Seoul Station.
        Road({{37.5725, 126.9769},
              {37.5692, 126.9769},
              {37.5660, 126.9770},
              {37.5632, 126.9766},
              {37.5603, 126.9757},
              {37.5560, 126.9725}},
             13, true),
        // Seoul, Teheran-ro: Gangnam, Yeoksam, Seolleung and Samseong stations, Sports Complex.
        Road({{37.4979, 127.0276},
              {37.5007, 127.0365},
              {37.5045, 127.0490},
              {37.5088, 127.0631},
              {37.5110, 127.0735}},
             14, true),
        // Seoul, Gangbyeonbuk-ro along the Han from Ichon to Cheongdam bridge.
        Road({{37.5165, 126.9715},
              {37.5135, 126.9810},
              {37.5190, 126.9945},
              {37.5325, 127.0085},
              {37.5400, 127.0170},
              {37.5430, 127.0345},
              {37.5365, 127.0570},
              {37.5320, 127.0640}},
             22, false),
        // Seoul, Jongno: Gwanghwamun crossing, Jonggak, Jongno 3-ga and 5-ga, Dongdaemun.
        Road({{37.5703, 126.9770},
              {37.5702, 126.9829},
              {37.5704, 126.9921},
              {37.5709, 127.0019},
              {37.5713, 127.0095}},
             12, true),
    };
    return roads;
}
