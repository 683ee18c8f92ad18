#pragma once

#include "engine/trackplayer.h"

#include <QPointer>
#include <QQuickItem>

/// Shows the latest picture of a player on black: whole, with its aspect kept. Any number of surfaces may
/// show one player; in one window they share its picture on the graphics card. The surface only borrows the
/// player, which may be destroyed under it: then it is black.
class VideoSurface : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    /// A TrackPlayer, or null; any other object counts as null.
    Q_PROPERTY(QObject *player READ player WRITE setPlayer NOTIFY playerChanged FINAL)
public:
    explicit VideoSurface(QQuickItem *parent = nullptr);
    [[nodiscard]] QObject *player() const { return m_player; }
    void setPlayer(QObject *player);

Q_SIGNALS:
    void playerChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *node, UpdatePaintNodeData *data) override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData &data) override;

private:
    void showNext();

    QPointer<TrackPlayer> m_player;
};
