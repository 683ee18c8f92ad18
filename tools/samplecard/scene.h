#pragma once

#include "drive.h"

#include <cstdint>
#include <QImage>
#include <QPainter>
#include <QSize>

/// Where a channel's camera looks.
enum class Outlook { Front, Rear, Left, Right, Cabin };

/// Draws what one camera of the car sees while it drives: sky, a far backdrop, the road and what stands along
/// it.
class Scene
{
public:
    /// hour: of the day, 0 to 23; it sets the light.
    Scene(Outlook outlook, QSize picture, int hour, std::uint32_t seed);
    /// Fills the whole picture.
    void draw(QPainter &painter, const DriveState &state, double seconds) const;

private:
    struct Light {
        QColor zenith, skyline, ground, road, paint, far;
        double glow = 1; ///< brightness of things along the road, 0 to 1
    };
    static Light lightAt(int hour);

    void drawBackdrop(QPainter &painter, double bearing) const;
    void drawAlong(QPainter &painter, const DriveState &state, double seconds) const;
    void drawRoad(QPainter &painter, const DriveState &state, double way) const;
    void drawRoadside(QPainter &painter, const DriveState &state, double way) const;
    void drawRoadsideThing(QPainter &painter, QPointF foot, double pixelsPerMetre, std::uint32_t id) const;
    void drawOtherCar(QPainter &painter, const DriveState &state, double seconds) const;
    void drawAcross(QPainter &painter, const DriveState &state) const;
    void drawCabin(QPainter &painter, const DriveState &state, double seconds) const;
    void drawOwnCar(QPainter &painter) const;
    /// Metres ahead and to the right on the ground, to pixels.
    [[nodiscard]] QPointF onGround(double ahead, double right, double curvature) const;
    [[nodiscard]] QColor lit(const QColor &colour) const;

    Outlook m_outlook;
    QSize m_picture;
    std::uint32_t m_seed;
    Light m_light;
    double m_horizon; // pixels from the top
    double m_focal; // pixels
    QImage m_backdrop;
};
