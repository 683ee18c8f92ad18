#include "glinegraph.h"

#include "graphline.h"

#include <array>
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

using Vertex = QSGGeometry::ColoredPoint2D;

/// Across the line: a full strip in the middle, and one on each side that fades out over a pixel, since lines
/// wider than a pixel and smooth edges are not to be had from the graphics interface.
struct Edge {
    double distance; ///< from the middle, in pixels
    double opacity;
};
constexpr std::array<Edge, 4> edges{{{-(lineWidth + 1) / 2, 0.0},
                                     {-(lineWidth - 1) / 2, 1.0},
                                     {(lineWidth - 1) / 2, 1.0},
                                     {(lineWidth + 1) / 2, 0.0}}};
constexpr qsizetype verticesOfASegment = 2 * qsizetype{edges.size()};
constexpr std::array<quint32, 18> indicesOfASegment{0, 1, 4, 1, 5, 4, 1, 2, 5, 2, 6, 5, 2, 3, 6, 3, 7, 6};

/// Four corners at each of both ends.
void writeSegment(QPointF from, QPointF to, const QColor &color, Vertex *vertices)
{
    const QPointF along = to - from;
    const double length = std::hypot(along.x(), along.y());
    const QPointF across = length > 0 ? QPointF(-along.y(), along.x()) / length : QPointF();
    for (const QPointF end : {from, to}) {
        for (const Edge &edge : edges) {
            const auto part = [&edge](int value) { return static_cast<uchar>(value * edge.opacity); };
            const QPointF corner = end + edge.distance * across;
            vertices++->set(static_cast<float>(corner.x()), static_cast<float>(corner.y()), part(color.red()),
                            part(color.green()), part(color.blue()), part(255));
        }
    }
}

void writeIndices(QSGGeometry &geometry, qsizetype segments)
{
    quint32 *index = geometry.indexDataAsUInt();
    for (qsizetype segment = 0; segment < segments; ++segment) {
        for (const quint32 corner : indicesOfASegment)
            *index++ = static_cast<quint32>(segment * verticesOfASegment) + corner;
    }
}

QSGNode *updateGeometry(QSGNode *old, const QList<QPointF> &line, const QColor &color)
{
    auto *node = static_cast<QSGGeometryNode *>(old);
    if (!node) {
        node = new QSGGeometryNode;
        auto *geometry = new QSGGeometry(QSGGeometry::defaultAttributes_ColoredPoint2D(), 0, 0,
                                         QSGGeometry::UnsignedIntType);
        geometry->setDrawingMode(QSGGeometry::DrawTriangles);
        node->setGeometry(geometry);
        node->setMaterial(new QSGVertexColorMaterial);
        node->setFlags(QSGNode::OwnsGeometry | QSGNode::OwnsMaterial);
    }
    QSGGeometry &geometry = *node->geometry();
    const qsizetype segments = line.size() - 1;
    geometry.allocate(static_cast<int>(segments * verticesOfASegment),
                      static_cast<int>(segments * qsizetype{indicesOfASegment.size()}));
    Vertex *vertices = geometry.vertexDataAsColoredPoint2D();
    for (qsizetype i = 0; i < segments; ++i)
        writeSegment(line[i], line[i + 1], color, vertices + i * verticesOfASegment);
    writeIndices(geometry, segments);
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
