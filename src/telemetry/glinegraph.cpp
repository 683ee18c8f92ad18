#include "glinegraph.h"

#include "graphline.h"

#include <cmath>
#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>
#include <QSGGeometryNode>
#include <QSGImageNode>
#include <QSGRendererInterface>
#include <QSGVertexColorMaterial>

namespace {

constexpr double lineWidth = 1.5;

using Vertices = QList<QSGGeometry::ColoredPoint2D>;

QSGGeometry::ColoredPoint2D vertex(QPointF point, const QColor &color, double opacity)
{
    const auto premultiplied = [opacity](int part) { return static_cast<uchar>(part * opacity); };
    QSGGeometry::ColoredPoint2D result;
    result.set(static_cast<float>(point.x()), static_cast<float>(point.y()), premultiplied(color.red()),
               premultiplied(color.green()), premultiplied(color.blue()), premultiplied(255));
    return result;
}

/// A segment as three strips of two triangles: a full one in the middle, and one on each side that fades out
/// over a pixel, since lines wider than a pixel and smooth edges are not to be had from the graphics
/// interface.
void appendSegment(QPointF from, QPointF to, const QColor &color, Vertices &vertices)
{
    const QPointF along = to - from;
    const double length = std::hypot(along.x(), along.y());
    if (length == 0)
        return;
    const QPointF across(-along.y() / length, along.x() / length);
    constexpr std::array<std::pair<double, double>, 4> edges{
        // distance from the middle, opacity
        std::pair{-(lineWidth + 1) / 2, 0.0}, std::pair{-(lineWidth - 1) / 2, 1.0},
        std::pair{(lineWidth - 1) / 2, 1.0}, std::pair{(lineWidth + 1) / 2, 0.0}};
    for (size_t strip = 0; strip + 1 < edges.size(); ++strip) {
        const auto [near, nearOpacity] = edges[strip];
        const auto [far, farOpacity] = edges[strip + 1];
        const auto a = vertex(from + near * across, color, nearOpacity);
        const auto b = vertex(from + far * across, color, farOpacity);
        const auto c = vertex(to + near * across, color, nearOpacity);
        const auto d = vertex(to + far * across, color, farOpacity);
        for (const auto &corner : {a, b, c, b, d, c})
            vertices.append(corner);
    }
}

QSGNode *updateGeometry(QSGNode *old, const QList<QPointF> &line, const QColor &color)
{
    auto *node = static_cast<QSGGeometryNode *>(old);
    if (!node) {
        node = new QSGGeometryNode;
        auto *geometry = new QSGGeometry(QSGGeometry::defaultAttributes_ColoredPoint2D(), 0);
        geometry->setDrawingMode(QSGGeometry::DrawTriangles);
        node->setGeometry(geometry);
        node->setMaterial(new QSGVertexColorMaterial);
        node->setFlags(QSGNode::OwnsGeometry | QSGNode::OwnsMaterial);
    }
    Vertices vertices;
    for (qsizetype i = 1; i < line.size(); ++i)
        appendSegment(line[i - 1], line[i], color, vertices);
    node->geometry()->allocate(static_cast<int>(vertices.size()));
    std::copy(vertices.begin(), vertices.end(), node->geometry()->vertexDataAsColoredPoint2D());
    node->markDirty(QSGNode::DirtyGeometry);
    return node;
}

/// The software renderer draws no geometry of ours: it gets a picture.
QSGNode *updatePicture(QSGNode *old, const QList<QPointF> &line, const QColor &color, QQuickItem *item)
{
    auto *node = static_cast<QSGImageNode *>(old);
    if (!node) {
        node = item->window()->createImageNode();
        node->setOwnsTexture(true);
    }
    const double scale = item->window()->effectiveDevicePixelRatio();
    QImage picture((item->size() * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color, lineWidth));
    painter.drawPolyline(line.constData(), static_cast<int>(line.size()));
    painter.end();
    node->setTexture(item->window()->createTextureFromImage(picture));
    node->setRect(item->boundingRect());
    return node;
}

} // namespace

GLineGraph::GLineGraph(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
}

void GLineGraph::setBuffer(GGraphBuffer *buffer)
{
    if (buffer == m_buffer)
        return;
    if (m_buffer)
        m_buffer->disconnect(this);
    m_buffer = buffer;
    if (buffer)
        connect(buffer, &GGraphBuffer::samplesChanged, this, &QQuickItem::update);
    update();
    Q_EMIT bufferChanged();
}

void GLineGraph::setColor(const QColor &color)
{
    if (color == m_color)
        return;
    m_color = color;
    update();
    Q_EMIT colorChanged();
}

void GLineGraph::setDuration(double seconds)
{
    if (seconds == m_duration)
        return;
    m_duration = seconds;
    update();
    Q_EMIT durationChanged();
}

QSGNode *GLineGraph::updatePaintNode(QSGNode *node, UpdatePaintNodeData * /*data*/)
{
    const QList<QPointF> line =
        m_buffer ? graphLine(m_buffer->samples(), m_duration, size()) : QList<QPointF>();
    if (line.isEmpty() || size().isEmpty()) {
        delete node;
        return nullptr;
    }
    if (window()->rendererInterface()->graphicsApi() == QSGRendererInterface::Software)
        return updatePicture(node, line, m_color, this);
    return updateGeometry(node, line, m_color);
}

void GLineGraph::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    update();
}
