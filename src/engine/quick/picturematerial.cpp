#include "picturematerial.h"

#include "picturegeometry.h"
#include "picturetextures.h"

#include <array>
#include <cstring>

namespace {

// The uniform block of the shaders, by the rules of std140.
constexpr int matrixOffset = 0;
constexpr int colourOffset = 64;
constexpr int chromaAreaOffset = 128;
constexpr int opacityOffset = 144;
constexpr int blockSize = 148;

class PictureShader final : public QSGMaterialShader
{
public:
    explicit PictureShader(bool isSemiPlanar)
    {
        setShaderFileName(VertexStage, QStringLiteral(":/engine/picture.vert.qsb"));
        setShaderFileName(FragmentStage,
                          isSemiPlanar ? QStringLiteral(":/engine/semiplanar.frag.qsb")
                                       : QStringLiteral(":/engine/planar.frag.qsb"));
    }

    bool updateUniformData(RenderState &state, QSGMaterial *newMaterial, QSGMaterial *oldMaterial) override
    {
        char *block = state.uniformData()->data();
        Q_ASSERT(state.uniformData()->size() >= blockSize);
        bool isChanged = false;
        if (state.isMatrixDirty()) {
            std::memcpy(block + matrixOffset, state.combinedMatrix().constData(), 64);
            isChanged = true;
        }
        if (state.isOpacityDirty()) {
            const float opacity = state.opacity();
            std::memcpy(block + opacityOffset, &opacity, sizeof opacity);
            isChanged = true;
        }
        const auto *material = static_cast<const PictureMaterial *>(newMaterial);
        if (!oldMaterial || newMaterial->compare(oldMaterial) != 0 || state.dirtyStates() != 0) {
            const QRectF area = material->chromaArea();
            const std::array<float, 4> chromaArea{float(area.x()), float(area.y()), float(area.width()),
                                                  float(area.height())};
            std::memcpy(block + colourOffset, material->colour().constData(), 64);
            std::memcpy(block + chromaAreaOffset, chromaArea.data(), sizeof chromaArea);
            isChanged = true;
        }
        return isChanged;
    }

    void updateSampledImage(RenderState &state, int binding, QSGTexture **texture, QSGMaterial *newMaterial,
                            QSGMaterial * /*oldMaterial*/) override
    {
        *texture = static_cast<const PictureMaterial *>(newMaterial)->textures()->plane(binding - 1);
        (*texture)->commitTextureOperations(state.rhi(), state.resourceUpdateBatch());
    }
};

} // namespace

void PictureMaterial::setTextures(std::shared_ptr<PictureTextures> textures)
{
    m_textures = std::move(textures);
    const VideoFrame &frame = *m_textures->frame();
    m_colour = colourMatrix(frame.matrix, frame.isFullRange);
    m_chromaArea = planeLayout(frame.layout, frame.size).chromaArea;
    m_isSemiPlanar = frame.layout == PixelLayout::Nv12;
}

QSGMaterialType *PictureMaterial::type() const
{
    static QSGMaterialType planar;
    static QSGMaterialType semiPlanar;
    return m_isSemiPlanar ? &semiPlanar : &planar;
}

QSGMaterialShader *PictureMaterial::createShader(QSGRendererInterface::RenderMode /*mode*/) const
{
    return new PictureShader(m_isSemiPlanar);
}

// Pictures of one player may be drawn together, those of two must not.
int PictureMaterial::compare(const QSGMaterial *other) const
{
    const auto *material = static_cast<const PictureMaterial *>(other);
    if (m_textures == material->m_textures)
        return 0;
    return m_textures < material->m_textures ? -1 : 1;
}
