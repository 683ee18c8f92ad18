#pragma once

#include "engine/videoframe.h"

#include <array>
#include <memory>
#include <QSGTexture>

class PlaneTexture;
class QRhi;
class TrackPlayer;

/// The planes of a player's picture as textures, one set for all surfaces of a window. Made, used and ended
/// on that window's render thread.
class PictureTextures
{
public:
    PictureTextures();
    ~PictureTextures();
    Q_DISABLE_COPY_MOVE(PictureTextures)

    /// The set of this player on this graphics device; it lives as long as somebody holds it.
    [[nodiscard]] static std::shared_ptr<PictureTextures> of(const TrackPlayer *player, QRhi *device);
    /// Whether the device has textures of the kinds and the size that the picture needs.
    [[nodiscard]] static bool canHold(QRhi *device, const VideoFrame &frame);

    /// Takes a complete picture. It is uploaded when it is first drawn, and only once.
    void show(VideoFramePtr frame);
    [[nodiscard]] const VideoFramePtr &frame() const { return m_frame; }
    /// 0 is luma, then the differences; a grey picture has neutral ones.
    [[nodiscard]] QSGTexture *plane(int index) const;

private:
    VideoFramePtr m_frame;
    std::array<std::unique_ptr<PlaneTexture>, 3> m_planes;
};
