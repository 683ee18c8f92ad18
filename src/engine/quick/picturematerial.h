#pragma once

#include "engine/videoframe.h"

#include <memory>
#include <QMatrix4x4>
#include <QRectF>
#include <QSGMaterial>

class PictureTextures;

/// Paints the planes of a picture, converted to red, green and blue by the graphics card.
class PictureMaterial final : public QSGMaterial
{
public:
    void setTextures(std::shared_ptr<PictureTextures> textures);
    [[nodiscard]] const PictureTextures *textures() const { return m_textures.get(); }
    [[nodiscard]] const QMatrix4x4 &colour() const { return m_colour; }
    [[nodiscard]] QRectF chromaArea() const { return m_chromaArea; }
    [[nodiscard]] bool isSemiPlanar() const { return m_isSemiPlanar; }

    [[nodiscard]] QSGMaterialType *type() const override;
    [[nodiscard]] QSGMaterialShader *createShader(QSGRendererInterface::RenderMode mode) const override;
    int compare(const QSGMaterial *other) const override;

private:
    std::shared_ptr<PictureTextures> m_textures;
    QMatrix4x4 m_colour;
    QRectF m_chromaArea;
    bool m_isSemiPlanar = false;
};
