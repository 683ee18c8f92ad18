#pragma once

#include "pictureconversion.h"
#include "picturematerial.h"

#include <memory>
#include <QSGGeometryNode>
#include <QSGImageNode>
#include <QSGNode>
#include <QSGRectangleNode>

class QQuickWindow;
class QRhi;
class TrackPlayer;

/// What a surface draws: black, and the picture of a player on it. Lives on the window's render thread.
/// A transform node, since the software renderer puts later children of a plain one in the wrong place: it
/// remembers place and clip only for nodes that can change them.
class SurfaceNode final : public QSGTransformNode
{
public:
    explicit SurfaceNode(QQuickWindow *window);
    /// For tests, whose machines have no graphics card: the way of one all the same. Before the first
    /// picture.
    static void useShadersEverywhere();

    /// To be called while the main thread waits. player may be null.
    void update(const TrackPlayer *player, QSizeF area, double devicePixelRatio);

private:
    void drawPlanes(const TrackPlayer *player, QRhi *device, const VideoFramePtr &frame, const QRectF &place);
    void drawConverted(const VideoFramePtr &frame, const QRectF &place, double devicePixelRatio);
    void showConverted(const QImage &image, const QRectF &place);
    void dropPlanes();
    void dropConverted();

    QQuickWindow *m_window;
    QSGRectangleNode *m_background; // child nodes belong to this one
    QSGGeometryNode *m_planes = nullptr;
    QSGImageNode *m_converted = nullptr;
    PictureConverter m_converter;
    VideoFramePtr m_convertedFrame;
};
