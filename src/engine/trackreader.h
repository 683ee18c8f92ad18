#pragma once

#include "demuxer.h"
#include "nanoseconds.h"
#include "trackinfo.h"

#include <deque>
#include <optional>

/// What the header tells about a stream, in our terms; none if it is neither video nor sound.
std::optional<TrackInfo> trackInfoOf(const AVFormatContext &format, int index);

/// The packets of one track, read through a demuxer of its own, so that no track waits for another. Times are
/// those of the track, which begins at 0. One thread at a time, except cancel().
class TrackReader
{
public:
    /// Without a result, error tells why.
    static std::unique_ptr<TrackReader> open(std::shared_ptr<const MovieSource> source, int index,
                                             MovieError *error);

    [[nodiscard]] const AVStream &stream() const { return *m_stream; }
    [[nodiscard]] Nanoseconds duration() const { return m_duration; } ///< as the file tells it
    [[nodiscard]] int videoTrackCount() const;
    [[nodiscard]] AVRational sampleAspectRatio(AVFrame *frame) const;
    void cancel() { m_demuxer->cancel(); }

    /// The next packet, or false at the end of what can be read.
    bool read(AVPacket *packet);
    /// Goes to the last key frame from which the picture at target can be decoded, and returns its time, if
    /// it has one. The decoder has to be flushed then.
    std::optional<Nanoseconds> seekToKey(Nanoseconds target);
    /// Nothing is gained by a jump: no key frame lies between here and the target.
    [[nodiscard]] bool isInGroupOf(Nanoseconds target) const;
    /// The decoding time of the last key frame between here and that time, if there is one.
    [[nodiscard]] std::optional<Nanoseconds> keyBetweenHereAnd(Nanoseconds time) const;

    [[nodiscard]] Nanoseconds timeOf(int64_t timestamp) const;
    /// The latest end of all packets that were read so far.
    [[nodiscard]] Nanoseconds readUntil() const { return m_readUntil; }
    /// A target behind the last packet whose data is in the file comes out as that packet's time.
    [[nodiscard]] Nanoseconds withinReadable(Nanoseconds target) const;

private:
    TrackReader(std::unique_ptr<Demuxer> demuxer, int index);
    bool findStart();
    void findReadableEnd();
    void measureDuration();
    [[nodiscard]] bool isCutOff(const AVPacket &packet) const;
    bool readFromFile(AVPacket *packet);
    [[nodiscard]] int64_t timestampAt(Nanoseconds time) const;
    [[nodiscard]] const AVIndexEntry *keyBefore(Nanoseconds time) const;

    std::unique_ptr<Demuxer> m_demuxer;
    AVStream *m_stream;
    int64_t m_start = 0; // timestamp of the first picture or sample
    Nanoseconds m_duration{0};
    Nanoseconds m_readUntil{0};
    std::optional<Nanoseconds> m_readableEnd;
    int64_t m_lastDts = AV_NOPTS_VALUE;
    std::deque<PacketPtr> m_pending; // read while looking around
};
