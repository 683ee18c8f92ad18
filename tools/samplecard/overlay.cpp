#include "overlay.h"

#include "framemark.h"

#include <array>
#include <cstdint>

namespace {

constexpr int glyphColumns = 6; // with the gap
constexpr int glyphRows = 8;

/// Seven rows of five dots, the leftmost dot in the highest bit.
struct Glyph {
    char character;
    std::array<std::uint8_t, 7> dots;
};

constexpr std::array glyphs{
    Glyph{'0', {14, 17, 19, 21, 25, 17, 14}}, Glyph{'1', {4, 12, 4, 4, 4, 4, 14}},
    Glyph{'2', {14, 17, 1, 2, 4, 8, 31}},     Glyph{'3', {31, 2, 4, 2, 1, 17, 14}},
    Glyph{'4', {2, 6, 10, 18, 31, 2, 2}},     Glyph{'5', {31, 16, 30, 1, 1, 17, 14}},
    Glyph{'6', {6, 8, 16, 30, 17, 17, 14}},   Glyph{'7', {31, 1, 2, 4, 8, 8, 8}},
    Glyph{'8', {14, 17, 17, 14, 17, 17, 14}}, Glyph{'9', {14, 17, 17, 15, 1, 2, 12}},
    Glyph{'C', {14, 17, 16, 16, 16, 17, 14}}, Glyph{'F', {31, 16, 16, 30, 16, 16, 16}},
    Glyph{'H', {17, 17, 17, 31, 17, 17, 17}}, Glyph{'K', {17, 18, 20, 24, 20, 18, 17}},
    Glyph{'M', {17, 27, 21, 21, 17, 17, 17}}, Glyph{'-', {0, 0, 0, 31, 0, 0, 0}},
    Glyph{'/', {0, 1, 2, 4, 8, 16, 0}},       Glyph{':', {0, 12, 12, 0, 12, 12, 0}},
    Glyph{'.', {0, 0, 0, 0, 0, 12, 12}},
};

void drawGlyph(QPainter &painter, QPoint at, const Glyph &glyph, int dot, const QColor &colour)
{
    for (int row = 0; row < 7; ++row)
        for (int column = 0; column < 5; ++column)
            if ((glyph.dots[static_cast<std::size_t>(row)] >> (4 - column)) & 1)
                painter.fillRect(at.x() + column * dot, at.y() + row * dot, dot, dot, colour);
}

/// Text on a darkened ground, so that it can be read over any scene.
void drawLabel(QPainter &painter, QPoint at, const QString &text, int dot)
{
    const QSize size(static_cast<int>(text.size()) * glyphColumns * dot + dot, (glyphRows + 1) * dot);
    painter.fillRect(QRect(at - QPoint(dot, dot), size), QColor(0, 0, 0, 130));
    overlay::drawText(painter, at, text, dot, Qt::white);
}

QRect scaled(const QRectF &place, QSize picture)
{
    const QPoint topLeft(qRound(place.left() * picture.width()), qRound(place.top() * picture.height()));
    const QPoint bottomRight(qRound(place.right() * picture.width()),
                             qRound(place.bottom() * picture.height()));
    return {topLeft, bottomRight - QPoint(1, 1)};
}

void drawStrip(QPainter &painter, QSize picture, const overlay::Caption &caption)
{
    const framemark::Cells cells = framemark::cells(caption.channel, caption.frameNumber);
    for (int cell = 0; cell < framemark::cellCount; ++cell)
        painter.fillRect(scaled(framemark::cellRect(cell), picture),
                         cells[static_cast<std::size_t>(cell)] ? QColor(235, 235, 235) : QColor(20, 20, 20));
}

void drawLamp(QPainter &painter, QSize picture, const overlay::Caption &caption)
{
    const bool isLit = caption.frameNumber % caption.fps < framemark::flashSeconds * caption.fps;
    painter.fillRect(scaled(framemark::lamp, picture), isLit ? Qt::white : QColor(16, 16, 16));
}

} // namespace

namespace overlay {

void drawText(QPainter &painter, QPoint at, const QString &text, int dot, const QColor &colour)
{
    for (const QChar character : text) {
        for (const Glyph &glyph : glyphs)
            if (QLatin1Char(glyph.character) == character)
                drawGlyph(painter, at, glyph, dot, colour);
        at.rx() += glyphColumns * dot;
    }
}

void draw(QPainter &painter, QSize picture, const Caption &caption)
{
    const int seconds = caption.frameNumber / caption.fps;
    const QString title = QString::asprintf("CH%d %02d:%02d F%04d", caption.channel, seconds / 60,
                                            seconds % 60, caption.frameNumber);
    const int large = std::max(1, picture.width() / 140);
    const int small = std::max(1, picture.width() / 320);
    drawLabel(painter, {2 * large, 2 * large}, title, large);
    const int stripTop = scaled(framemark::cellRect(0), picture).top();
    drawLabel(painter, {2 * small, stripTop - glyphRows * small - small}, caption.statusLine, small);
    drawLamp(painter, picture, caption);
    drawStrip(painter, picture, caption);
}

} // namespace overlay
