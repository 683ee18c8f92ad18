#pragma once

#include <QColor>
#include <QPainter>
#include <QPoint>
#include <QSize>
#include <QString>

/// What the camera writes over the picture, and the marks for tests. Needs no font of the machine.
namespace overlay {

struct Caption {
    int channel = 0; ///< from 1
    int frameNumber = 0;
    int fps = 30;
    QString statusLine; ///< date, clock, speed
};

/// Digits, capitals and -/:. in cells of 6 by 8 dots, `dot` pixels each, with the upper left corner there.
void drawText(QPainter &painter, QPoint at, const QString &text, int dot, const QColor &colour);
/// Channel and running time in large digits, the status line, the strip of cells and the lamp.
void draw(QPainter &painter, QSize picture, const Caption &caption);

} // namespace overlay
