#include "surfacenode.h"

#include "engine/trackplayer.h"
#include "picturegeometry.h"
#include "picturetextures.h"

#include <private/qrhi_p.h>
#include <QQuickWindow>
#include <QSGRendererInterface>

namespace {

QRhi *graphicsDevice(QQuickWindow *window)
{
    QSGRendererInterface *renderer = window->rendererInterface();
    if (!QSGRendererInterface::isApiRhiBased(renderer->graphicsApi()))
        return nullptr;
    return static_cast<QRhi *>(renderer->getResource(window, QSGRendererInterface::RhiResource));
}

bool s_usesShadersEverywhere = false;

/// With one of Mesa's rasterisers a shader over each pixel shown costs more than converting the picture at
/// that size.
bool drawsOnProcessor(const QRhi *device)
{
    const QByteArray name = device->driverInfo().deviceName;
    return name.contains("llvmpipe") || name.contains("softpipe");
}

void setCorners(QSGGeometry *geometry, const QRectF &place, int rotation)
{
    const std::array<QPointF, 4> corners{place.topLeft(), place.topRight(), place.bottomLeft(),
                                         place.bottomRight()};
    const std::array<QPointF, 4> texturePoints = shownCorners(rotation);
    QSGGeometry::TexturedPoint2D *vertices = geometry->vertexDataAsTexturedPoint2D();
    for (size_t i = 0; i < corners.size(); ++i) {
        vertices[i].set(float(corners[i].x()), float(corners[i].y()), float(texturePoints[i].x()),
                        float(texturePoints[i].y()));
    }
}

} // namespace

SurfaceNode::SurfaceNode(QQuickWindow *window)
    : m_window(window)
    , m_background(window->createRectangleNode())
{
    m_background->setColor(Qt::black);
    appendChildNode(m_background);
}

void SurfaceNode::useShadersEverywhere() { s_usesShadersEverywhere = true; }

void SurfaceNode::update(const TrackPlayer *player, QSizeF area, double devicePixelRatio)
{
    m_background->setRect(QRectF(QPointF(), area));
    const VideoFramePtr frame = player ? player->latestFrame() : nullptr;
    if (!frame || !isComplete(*frame)) {
        dropPlanes();
        dropConverted();
        return;
    }
    const QRectF place = fittedRect(*frame, area);
    QRhi *device = graphicsDevice(m_window);
    const bool usesShaders = device && (s_usesShadersEverywhere || !drawsOnProcessor(device));
    if (usesShaders && PictureTextures::canHold(device, *frame))
        drawPlanes(player, device, frame, place);
    else
        drawConverted(frame, place, devicePixelRatio);
}

void SurfaceNode::drawPlanes(const TrackPlayer *player, QRhi *device, const VideoFramePtr &frame,
                             const QRectF &place)
{
    dropConverted();
    std::shared_ptr<PictureTextures> textures = PictureTextures::of(player, device);
    textures->show(frame);
    const bool isSemiPlanar = frame->layout == PixelLayout::Nv12;
    if (m_planes && static_cast<PictureMaterial *>(m_planes->material())->isSemiPlanar() != isSemiPlanar)
        dropPlanes(); // a node's material may not change its type
    if (!m_planes) {
        m_planes = new QSGGeometryNode;
        m_planes->setGeometry(new QSGGeometry(QSGGeometry::defaultAttributes_TexturedPoint2D(), 4));
        m_planes->geometry()->setDrawingMode(QSGGeometry::DrawTriangleStrip);
        m_planes->setMaterial(new PictureMaterial);
        m_planes->setFlags(OwnsGeometry | OwnsMaterial);
        appendChildNode(m_planes);
    }
    static_cast<PictureMaterial *>(m_planes->material())->setTextures(std::move(textures));
    setCorners(m_planes->geometry(), place, frame->rotation);
    m_planes->markDirty(DirtyGeometry | DirtyMaterial);
}

void SurfaceNode::drawConverted(const VideoFramePtr &frame, const QRectF &place, double devicePixelRatio)
{
    dropPlanes();
    constexpr int largest = 16384;
    const QSize pixels =
        (place.size() * devicePixelRatio).toSize().expandedTo({1, 1}).boundedTo({largest, largest});
    const bool isNew =
        !m_converted || frame != m_convertedFrame || m_converted->texture()->textureSize() != pixels;
    if (isNew) {
        const QImage image = m_converter.convert(*frame, pixels);
        if (image.isNull()) {
            dropConverted();
            return;
        }
        showConverted(image, place);
        m_convertedFrame = frame;
    }
    m_converted->setRect(place);
}

void SurfaceNode::showConverted(const QImage &image, const QRectF &place)
{
    const bool isNew = !m_converted;
    if (isNew) {
        m_converted = m_window->createImageNode();
        m_converted->setOwnsTexture(true);
        m_converted->setFiltering(QSGTexture::Linear);
    }
    m_converted->setTexture(m_window->createTextureFromImage(image, QQuickWindow::TextureIsOpaque));
    m_converted->setSourceRect(QRectF(QPointF(), image.size()));
    m_converted->setRect(place);
    if (isNew)
        appendChildNode(m_converted); // the software renderer needs a node that is complete
}

void SurfaceNode::dropPlanes() { delete std::exchange(m_planes, nullptr); }

void SurfaceNode::dropConverted()
{
    delete std::exchange(m_converted, nullptr);
    m_convertedFrame.reset();
}
