#pragma once

#include "ggraphbuffer.h"
#include "media/mediadataviewmodel.h"

#include <QPointer>

/// Fills the three buffers of the graph in step with the player: at most one sample for each 0.1 s of
/// playback, rebuilt after scrubbing. Its owner binds the player's values, calls rebuildGraph() and
/// clearGraph() as the graph comes and goes, and rebuildSoon() where single times weren't enough. Main
/// thread.
class GSensorGraph : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(MediaDataViewModel *mediaData READ mediaData WRITE setMediaData NOTIFY mediaDataChanged FINAL)
    Q_PROPERTY(double currentTime READ currentTime WRITE setCurrentTime NOTIFY currentTimeChanged FINAL)
    Q_PROPERTY(bool isScrubbing READ isScrubbing WRITE setIsScrubbing NOTIFY isScrubbingChanged FINAL)
    Q_PROPERTY(GGraphBuffer *bufferX READ bufferX CONSTANT FINAL)
    Q_PROPERTY(GGraphBuffer *bufferY READ bufferY CONSTANT FINAL)
    Q_PROPERTY(GGraphBuffer *bufferZ READ bufferZ CONSTANT FINAL)
public:
    using QObject::QObject;
    [[nodiscard]] MediaDataViewModel *mediaData() const { return m_mediaData; }
    void setMediaData(MediaDataViewModel *mediaData);
    [[nodiscard]] double currentTime() const { return m_currentTime; } ///< of the player, in seconds
    void setCurrentTime(double seconds);
    [[nodiscard]] bool isScrubbing() const { return m_isScrubbing; }
    void setIsScrubbing(bool isScrubbing);

    [[nodiscard]] GGraphBuffer *bufferX() { return &m_bufferX; }
    [[nodiscard]] GGraphBuffer *bufferY() { return &m_bufferY; }
    [[nodiscard]] GGraphBuffer *bufferZ() { return &m_bufferZ; }
    [[nodiscard]] double lastAppendTime() const { return m_lastAppendTime; }

    Q_INVOKABLE void clearGraph();
    Q_INVOKABLE void rebuildGraph();
    /// Whether the buffers hold a sample for each 0.1 s up to the current time, as after a rebuild.
    Q_INVOKABLE [[nodiscard]] bool isComplete() const;
    /// In the next turn, when all that changes with a jump has done so.
    Q_INVOKABLE void rebuildSoon();

Q_SIGNALS:
    void mediaDataChanged();
    void currentTimeChanged();
    void isScrubbingChanged();

private:
    void follow(double seconds);
    void appendSample(double seconds);

    QPointer<MediaDataViewModel> m_mediaData;
    double m_currentTime = 0;
    bool m_isScrubbing = false;
    double m_lastAppendTime = 0;
    bool m_isRebuildPending = false;
    GGraphBuffer m_bufferX;
    GGraphBuffer m_bufferY;
    GGraphBuffer m_bufferZ;
};
