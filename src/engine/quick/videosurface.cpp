#include "videosurface.h"

#include "surfacenode.h"

#include <QQuickWindow>

VideoSurface::VideoSurface(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
}

void VideoSurface::setPlayer(QObject *player)
{
    auto *trackPlayer = qobject_cast<TrackPlayer *>(player);
    if (m_player == trackPlayer)
        return;
    if (m_player)
        m_player->disconnect(this);
    m_player = trackPlayer;
    if (m_player) {
        connect(m_player, &TrackPlayer::frameChanged, this, &VideoSurface::showNext);
        connect(m_player, &QObject::destroyed, this, [this] {
            showNext();
            Q_EMIT playerChanged();
        });
    }
    showNext();
    Q_EMIT playerChanged();
}

// What can't be seen must not make the window draw.
void VideoSurface::showNext()
{
    if (isVisible())
        update();
}

QSGNode *VideoSurface::updatePaintNode(QSGNode *node, UpdatePaintNodeData * /*data*/)
{
    if (size().isEmpty()) {
        delete node;
        return nullptr;
    }
    auto *surface = static_cast<SurfaceNode *>(node);
    if (!surface)
        surface = new SurfaceNode(window());
    surface->update(m_player, size(), window()->effectiveDevicePixelRatio());
    return surface;
}

void VideoSurface::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size())
        update();
}

void VideoSurface::itemChange(ItemChange change, const ItemChangeData &data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemVisibleHasChanged || change == ItemDevicePixelRatioHasChanged)
        showNext();
}
