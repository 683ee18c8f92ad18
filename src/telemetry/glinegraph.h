#pragma once

#include "ggraphbuffer.h"

#include <QColor>
#include <QPointer>
#include <QQuickItem>

/// The line of one axis, drawn by the scene graph. What lies beyond the play position is hidden by whoever
/// places it.
class GLineGraph : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(GGraphBuffer *buffer READ buffer WRITE setBuffer NOTIFY bufferChanged FINAL)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged FINAL)
    Q_PROPERTY(double duration READ duration WRITE setDuration NOTIFY durationChanged FINAL)
public:
    explicit GLineGraph(QQuickItem *parent = nullptr);

    [[nodiscard]] GGraphBuffer *buffer() const { return m_buffer; }
    void setBuffer(GGraphBuffer *buffer);
    [[nodiscard]] QColor color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] double duration() const { return m_duration; } ///< of the recording, in seconds
    void setDuration(double seconds);

Q_SIGNALS:
    void bufferChanged();
    void colorChanged();
    void durationChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *node, UpdatePaintNodeData *data) override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private:
    QPointer<GGraphBuffer> m_buffer;
    QColor m_color;
    double m_duration = 0;
};
