#include "scene.h"

#include "dice.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double cameraHeight = 1.4; // metres
constexpr double laneWidth = 3.4; // metres
constexpr double dashPeriod = 12; // metres
constexpr double dashLength = 5; // metres
constexpr double nearest = 2.4; // metres, the first ground that is drawn
constexpr double farthest = 260; // metres
constexpr double roadsidePeriod = 14; // metres between things along the road
constexpr int backdropTurns = 4; // picture widths in a full turn

/// Well mixed bits of a number, to give the thing of that number its looks.
std::uint32_t mixed(std::uint32_t value)
{
    value ^= value >> 16;
    value *= 0x7feb352dU;
    value ^= value >> 15;
    value *= 0x846ca68bU;
    return value ^ (value >> 16);
}

double wrapped(double value, double period) { return value - std::floor(value / period) * period; }

} // namespace

Scene::Light Scene::lightAt(int hour)
{
    if (hour < 6 || hour >= 20)
        return {QColor(6, 8, 22),
                QColor(38, 38, 62),
                QColor(20, 24, 22),
                QColor(34, 34, 38),
                QColor(170, 170, 160),
                QColor(22, 24, 40),
                0.35};
    if (hour < 8 || hour >= 18)
        return {QColor(52, 62, 116),
                QColor(236, 148, 92),
                QColor(66, 66, 50),
                QColor(62, 60, 64),
                QColor(214, 206, 190),
                QColor(84, 70, 92),
                0.7};
    return {QColor(72, 128, 206),
            QColor(206, 226, 242),
            QColor(104, 132, 78),
            QColor(92, 94, 98),
            QColor(240, 240, 232),
            QColor(132, 152, 172),
            1};
}

Scene::Scene(Outlook outlook, QSize picture, int hour, std::uint32_t seed)
    : m_outlook(outlook)
    , m_picture(picture)
    , m_seed(seed)
    , m_light(lightAt(hour))
    , m_horizon(picture.height() * 0.46)
    , m_focal(picture.width() * 0.75)
    , m_backdrop(picture.width() * backdropTurns, static_cast<int>(m_horizon) + 1, QImage::Format_RGB32)
{
    QPainter painter(&m_backdrop);
    QLinearGradient sky(0, 0, 0, m_horizon);
    sky.setColorAt(0, m_light.zenith);
    sky.setColorAt(1, m_light.skyline);
    painter.fillRect(m_backdrop.rect(), sky);

    // Hills with whole waves round the turn, so that the ends meet; before them the houses of the town.
    const double width = m_backdrop.width();
    for (int x = 0; x < m_backdrop.width(); ++x) {
        const double angle = x / width * 2 * std::numbers::pi;
        const double height =
            m_picture.height() * (0.07 + 0.03 * std::sin(3 * angle + m_seed) + 0.015 * std::sin(11 * angle));
        painter.fillRect(QRectF(x, m_horizon - height, 1, height + 1), m_light.far.lighter(115));
    }
    Dice dice(seed);
    double x = 0;
    while (x < width - m_picture.width() * 0.04) {
        const QSizeF size(m_picture.width() * dice.between(0.02, 0.05),
                          m_picture.height() * dice.between(0.03, 0.16));
        painter.fillRect(QRectF(QPointF(x, m_horizon - size.height()), size + QSizeF(0, 1)),
                         m_light.far.darker(100 + dice.below(30)));
        x += m_picture.width() * dice.between(0.02, 0.06);
    }
}

QColor Scene::lit(const QColor &colour) const
{
    return QColor::fromRgbF(colour.redF() * float(m_light.glow), colour.greenF() * float(m_light.glow),
                            colour.blueF() * float(m_light.glow));
}

void Scene::draw(QPainter &painter, const DriveState &state, double seconds) const
{
    switch (m_outlook) {
    case Outlook::Front:
    case Outlook::Rear: return drawAlong(painter, state, seconds);
    case Outlook::Left:
    case Outlook::Right: return drawAcross(painter, state);
    case Outlook::Cabin: return drawCabin(painter, state, seconds);
    }
}

void Scene::drawBackdrop(QPainter &painter, double bearing) const
{
    const double shift = wrapped(bearing / 360, 1) * m_backdrop.width();
    const int x = -static_cast<int>(shift);
    painter.drawImage(x, 0, m_backdrop);
    if (x + m_backdrop.width() < m_picture.width())
        painter.drawImage(x + m_backdrop.width(), 0, m_backdrop);
    const int top = m_backdrop.height();
    painter.fillRect(0, top, m_picture.width(), m_picture.height() - top, m_light.ground);
}

QPointF Scene::onGround(double ahead, double right, double curvature) const
{
    const double bent = right + curvature * ahead * ahead / 2;
    return {m_picture.width() / 2.0 + m_focal * bent / ahead, m_horizon + m_focal * cameraHeight / ahead};
}

void Scene::drawAlong(QPainter &painter, const DriveState &state, double seconds) const
{
    const bool isRear = m_outlook == Outlook::Rear;
    drawBackdrop(painter, state.course + (isRear ? 180 : 0));
    const double way = isRear ? -state.distance : state.distance;
    drawRoad(painter, state, way);
    drawRoadside(painter, state, way);
    drawOtherCar(painter, state, seconds);
    drawOwnCar(painter);
}

void Scene::drawRoad(QPainter &painter, const DriveState &state, double way) const
{
    const double bend = m_outlook == Outlook::Rear ? -state.curvature : state.curvature;
    const auto band = [&](double from, double to, double left, double right, const QColor &colour) {
        constexpr int spans = 5;
        QPolygonF outline;
        for (int i = 0; i <= spans; ++i)
            outline << onGround(from * std::pow(to / from, double(i) / spans), left, bend);
        for (int i = spans; i >= 0; --i)
            outline << onGround(from * std::pow(to / from, double(i) / spans), right, bend);
        painter.setBrush(colour);
        painter.drawPolygon(outline);
    };
    painter.setPen(Qt::NoPen);
    const double edge = 2 * laneWidth;
    band(nearest, farthest, -edge - 1, edge + 1, m_light.road);
    band(nearest, farthest, -edge - 0.1, -edge + 0.1,
         QColor(216, 176, 40).darker(static_cast<int>(100 / m_light.glow)));
    band(nearest, farthest, edge - 0.1, edge + 0.1, m_light.paint);
    for (const double side : {-laneWidth / 2, laneWidth / 2})
        for (int dash = 0; dash < 8; ++dash) {
            const double at = dash * dashPeriod - wrapped(way, dashPeriod);
            if (at + dashLength > nearest)
                band(std::max(at, nearest), at + dashLength, side - 0.08, side + 0.08, m_light.paint);
        }
}

void Scene::drawRoadside(QPainter &painter, const DriveState &state, double way) const
{
    const double bend = m_outlook == Outlook::Rear ? -state.curvature : state.curvature;
    const auto first = static_cast<int>(std::ceil((way + nearest) / roadsidePeriod));
    for (int place = first + 12; place >= first; --place) {
        const double ahead = place * roadsidePeriod - way;
        for (const int side : {-1, 1}) {
            const auto id = mixed(m_seed ^ (static_cast<std::uint32_t>(place) * 2U + (side > 0 ? 1U : 0U)));
            const double right = side * (2 * laneWidth + 3 + (id % 5));
            drawRoadsideThing(painter, onGround(ahead, right, bend), m_focal / ahead, id);
        }
    }
}

void Scene::drawRoadsideThing(QPainter &painter, QPointF foot, double pixelsPerMetre, std::uint32_t id) const
{
    const auto box = [&](double left, double bottom, double width, double height, const QColor &colour) {
        painter.fillRect(QRectF(foot.x() + left * pixelsPerMetre,
                                foot.y() - (bottom + height) * pixelsPerMetre, width * pixelsPerMetre,
                                height * pixelsPerMetre),
                         lit(colour));
    };
    switch ((id >> 8) % 4) {
    case 0: // a house with two rows of windows
        box(-3, 0, 6, 7 + id % 6, QColor::fromHsv(static_cast<int>(id >> 12) % 50, 50, 190));
        for (const double row : {2.0, 4.6})
            for (const double column : {-2.2, -0.5, 1.2})
                box(column, row, 1, 1.3, QColor(70, 84, 110));
        break;
    case 1: // a lamp post
        box(-0.1, 0, 0.2, 7, QColor(130, 130, 136));
        box(-0.1, 6.8, 1.6, 0.25, QColor(250, 240, 190));
        break;
    default: // a tree
        box(-0.2, 0, 0.4, 2.2, QColor(96, 70, 48));
        painter.setBrush(lit(QColor(44 + static_cast<int>(id % 30), 104 + static_cast<int>(id % 40), 52)));
        painter.drawEllipse(foot - QPointF(0, 3.6 * pixelsPerMetre), 1.7 * pixelsPerMetre,
                            2 * pixelsPerMetre);
    }
}

void Scene::drawOtherCar(QPainter &painter, const DriveState &state, double seconds) const
{
    const bool isRear = m_outlook == Outlook::Rear;
    const double gap = (isRear ? 9 : 7) + state.speedMps * 0.9 + 1.5 * std::sin(seconds * 0.5 + m_seed);
    const QPointF foot = onGround(gap, 0, isRear ? -state.curvature : state.curvature);
    const double scale = m_focal / gap;
    const auto box = [&](double left, double bottom, double width, double height, const QColor &colour) {
        painter.fillRect(QRectF(foot.x() + left * scale, foot.y() - (bottom + height) * scale, width * scale,
                                height * scale),
                         colour);
    };
    const QColor body = lit(QColor::fromHsv(static_cast<int>(mixed(m_seed) % 360), isRear ? 40 : 150, 200));
    box(-0.85, 0, 0.3, 0.4, QColor(20, 20, 20));
    box(0.55, 0, 0.3, 0.4, QColor(20, 20, 20));
    box(-0.9, 0.25, 1.8, 0.75, body);
    box(-0.7, 1, 1.4, 0.5, body.darker(115));
    box(-0.6, 1.02, 1.2, 0.38, lit(QColor(90, 110, 130)));
    const bool isBraking = state.forceMps2 < -0.8 || state.speedMps < 0.2;
    const QColor lamp = isRear ? QColor(255, 250, 220)
        : isBraking            ? QColor(255, 40, 30)
                               : QColor(150, 20, 20);
    box(-0.85, 0.65, 0.3, 0.2, lamp);
    box(0.55, 0.65, 0.3, 0.2, lamp);
    box(-0.25, 0.45, 0.5, 0.14, QColor(236, 236, 230));
}

void Scene::drawAcross(QPainter &painter, const DriveState &state) const
{
    const bool isLeft = m_outlook == Outlook::Left;
    const double direction = isLeft ? 1 : -1; // things move towards the back of the car
    drawBackdrop(painter, state.course + (isLeft ? -90 : 90));
    const double w = m_picture.width();
    const double h = m_picture.height();
    const double kerb = m_horizon + m_focal * cameraHeight / 7;
    painter.fillRect(QRectF(0, kerb, w, h - kerb), m_light.road);
    painter.fillRect(QRectF(0, kerb, w, h * 0.015), m_light.paint);

    constexpr double depth = 9; // metres to what stands there
    const double scale = m_focal / depth;
    const double half = w / 2 / scale + 4;
    const double at = direction * state.distance;
    painter.setPen(Qt::NoPen);
    for (int place = static_cast<int>(std::ceil((at - half) / 7)); place * 7 < at + half; ++place) {
        const auto id = mixed(m_seed ^ static_cast<std::uint32_t>(place) ^ (isLeft ? 0x5555U : 0U));
        drawRoadsideThing(painter,
                          {w / 2 + (place * 7 - at) * scale, m_horizon + m_focal * cameraHeight / depth},
                          scale, id);
    }
    // The car's own flank at the rear edge of the picture.
    painter.setBrush(QColor(34, 36, 42));
    const double rear = isLeft ? w : 0;
    const double inwards = isLeft ? -1 : 1;
    painter.drawPolygon(QPolygonF{
        {rear, h * 0.35}, {rear + inwards * w * 0.08, h * 0.5}, {rear + inwards * w * 0.16, h}, {rear, h}});
}

void Scene::drawCabin(QPainter &painter, const DriveState &state, double seconds) const
{
    const double w = m_picture.width();
    const double h = m_picture.height();
    drawBackdrop(painter, state.course + 180 + wrapped(state.distance, 400) * 0.3);
    const double lean =
        std::clamp(-state.acceleration.x * 0.002 + 0.004 * std::sin(seconds * 2), -0.04, 0.04) * w;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(40, 38, 40));
    painter.drawRect(QRectF(0, 0, w, h * 0.14));
    painter.drawRect(QRectF(0, h * 0.46, w, h * 0.54));
    for (const double pillar : {0.0, 0.27, 0.7, 0.95})
        painter.drawRect(QRectF(pillar * w, 0, w * 0.05, h * 0.6));
    for (const double seat : {0.3, 0.7}) {
        painter.setBrush(QColor(70, 64, 60));
        painter.drawRoundedRect(QRectF((seat - 0.14) * w, h * 0.42, w * 0.28, h * 0.7), w * 0.04, w * 0.04);
        painter.drawRoundedRect(QRectF((seat - 0.06) * w, h * 0.3, w * 0.12, h * 0.14), w * 0.02, w * 0.02);
    }
    painter.setBrush(lit(QColor(196, 160, 136)));
    painter.drawEllipse(QPointF(0.7 * w + lean, h * 0.42), w * 0.045, h * 0.1);
    painter.setBrush(lit(QColor(60, 84, 130)));
    painter.drawRoundedRect(QRectF(0.6 * w + lean / 2, h * 0.53, w * 0.2, h * 0.5), w * 0.04, w * 0.04);
}

void Scene::drawOwnCar(QPainter &painter) const
{
    const double w = m_picture.width();
    const double h = m_picture.height();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(26, 27, 31));
    if (m_outlook == Outlook::Front) {
        painter.drawPolygon(QPolygonF{
            {0, h}, {0, h * 0.93}, {w * 0.3, h * 0.885}, {w * 0.7, h * 0.885}, {w, h * 0.93}, {w, h}});
        return;
    }
    painter.drawPolygon(QPolygonF{{0, 0}, {w * 0.1, 0}, {w * 0.03, h * 0.85}, {0, h}});
    painter.drawPolygon(QPolygonF{{w, 0}, {w * 0.9, 0}, {w * 0.97, h * 0.85}, {w, h}});
    painter.drawRect(QRectF(0, h * 0.87, w, h * 0.13));
}
