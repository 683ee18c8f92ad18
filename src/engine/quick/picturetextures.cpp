#include "picturetextures.h"

#include "engine/trackplayer.h"
#include "picturegeometry.h"

#include <cstring>
#include <private/qrhi_p.h>
#include <QHash>
#include <QMutex>

/// One plane: a byte, or a pair of bytes, per sample.
class PlaneTexture final : public QSGTexture
{
public:
    PlaneTexture()
    {
        setFiltering(Linear);
        setHorizontalWrapMode(ClampToEdge);
        setVerticalWrapMode(ClampToEdge);
    }

    /// frame keeps the bytes alive until they are uploaded.
    void setPlane(const PicturePlane &plane, QSize size, int bytesPerSample,
                  std::shared_ptr<const void> frame)
    {
        m_plane = plane;
        m_size = size;
        m_bytesPerSample = bytesPerSample;
        m_memory = std::move(frame);
        m_isUploaded = false;
    }

    [[nodiscard]] qint64 comparisonKey() const override { return qint64(reinterpret_cast<qintptr>(this)); }
    [[nodiscard]] QRhiTexture *rhiTexture() const override { return m_texture.get(); }
    [[nodiscard]] QSize textureSize() const override { return m_size; }
    [[nodiscard]] bool hasAlphaChannel() const override { return false; }
    [[nodiscard]] bool hasMipmaps() const override { return false; }

    void commitTextureOperations(QRhi *device, QRhiResourceUpdateBatch *updates) override
    {
        if (m_isUploaded || !m_plane.data)
            return;
        const auto format = m_bytesPerSample == 1 ? QRhiTexture::R8 : QRhiTexture::RG8;
        if (!m_texture || m_texture->format() != format || m_texture->pixelSize() != m_size) {
            m_texture.reset(device->newTexture(format, m_size));
            m_texture->create();
        }
        QRhiTextureSubresourceUploadDescription plane(alignedBytes());
        plane.setDataStride(quint32(alignedStride()));
        updates->uploadTexture(m_texture.get(), QRhiTextureUploadEntry(0, 0, plane));
        m_isUploaded = true;
    }

private:
    // OpenGL takes rows to begin at multiples of 4 bytes, as those of a decoder do in any case.
    [[nodiscard]] int alignedStride() const { return (m_plane.stride + 3) / 4 * 4; }

    /// Without a copy if that can be.
    [[nodiscard]] QByteArray alignedBytes() const
    {
        const auto *bytes = reinterpret_cast<const char *>(m_plane.data);
        const qsizetype rowLength = qsizetype(m_size.width()) * m_bytesPerSample;
        const qsizetype stride = m_plane.stride;
        const qsizetype rows = m_size.height();
        if (stride == alignedStride())
            return QByteArray::fromRawData(bytes, stride * (rows - 1) + rowLength);
        QByteArray aligned(alignedStride() * rows, Qt::Uninitialized);
        for (qsizetype row = 0; row < rows; ++row)
            std::memcpy(aligned.data() + row * alignedStride(), bytes + row * stride, size_t(rowLength));
        return aligned;
    }

    PicturePlane m_plane;
    QSize m_size;
    int m_bytesPerSample = 1;
    std::shared_ptr<const void> m_memory; // the update batch refers to the bytes until the frame is submitted
    bool m_isUploaded = false;
    std::unique_ptr<QRhiTexture> m_texture;
};

namespace {

using TextureKey = std::pair<const TrackPlayer *, QRhi *>;

/// All sets in use. Each window has its own render thread, hence the lock.
struct TextureSets {
    QMutex lock;
    QHash<TextureKey, std::weak_ptr<PictureTextures>> sets;
};
Q_GLOBAL_STATIC(TextureSets, textureSets)

constexpr uchar neutralDifference = 128;

} // namespace

PictureTextures::PictureTextures()
{
    for (auto &plane : m_planes)
        plane = std::make_unique<PlaneTexture>();
}

PictureTextures::~PictureTextures() = default;

std::shared_ptr<PictureTextures> PictureTextures::of(const TrackPlayer *player, QRhi *device)
{
    const QMutexLocker locker(&textureSets->lock);
    std::weak_ptr<PictureTextures> &known = textureSets->sets[{player, device}];
    std::shared_ptr<PictureTextures> textures = known.lock();
    if (!textures) {
        textures = std::make_shared<PictureTextures>();
        known = textures;
        textureSets->sets.removeIf([](auto entry) { return entry->expired(); });
    }
    return textures;
}

bool PictureTextures::canHold(QRhi *device, const VideoFrame &frame)
{
    const int limit = device->resourceLimit(QRhi::TextureSizeMax);
    return frame.size.width() <= limit && frame.size.height() <= limit
        && device->isTextureFormatSupported(QRhiTexture::R8)
        && (frame.layout != PixelLayout::Nv12 || device->isTextureFormatSupported(QRhiTexture::RG8));
}

void PictureTextures::show(VideoFramePtr frame)
{
    if (frame == m_frame)
        return;
    m_frame = std::move(frame);
    const PlaneLayout layout = planeLayout(m_frame->layout, m_frame->size);
    m_planes[0]->setPlane(m_frame->planes[0], m_frame->size, 1, m_frame);
    const PicturePlane neutral{&neutralDifference, 1, {1, 1}};
    for (size_t index = 1; index < m_planes.size(); ++index) {
        if (int(index) < layout.count)
            m_planes[index]->setPlane(m_frame->planes[index], layout.chromaSize, layout.bytesPerSample,
                                      m_frame);
        else
            m_planes[index]->setPlane(neutral, neutral.size, 1, nullptr);
    }
}

QSGTexture *PictureTextures::plane(int index) const { return m_planes[size_t(index)].get(); }
