#include "moviefile.h"

#include "decoder.h"
#include "soundtrackplayer.h"
#include "videotrackplayer.h"

#include <QCoroFuture>
#include <QtConcurrentRun>
#include <QThreadPool>

namespace {

struct FileHead {
    std::shared_ptr<const MovieSource> source;
    QList<TrackInfo> tracks;
    MovieError error;
};

struct OpenedTrack {
    std::shared_ptr<TrackReader> reader;
    std::shared_ptr<AVCodecContext> decoder;
    MovieError error;
};

/// Apart from the global one, which others fill with long work.
QThreadPool *enginePool()
{
    static QThreadPool pool;
    return &pool;
}

FileHead readHead(const QString &path)
{
    av_log_set_level(AV_LOG_FATAL); // a damaged recording would give a line per picture
    FileHead head;
    head.source = MovieSource::open(path, &head.error);
    if (!head.source)
        return head;
    const std::unique_ptr<Demuxer> demuxer = Demuxer::open(head.source, &head.error);
    if (!demuxer)
        return head;
    for (unsigned i = 0; i < demuxer->format()->nb_streams; i++)
        if (const std::optional<TrackInfo> track = trackInfoOf(*demuxer->format(), static_cast<int>(i)))
            head.tracks.append(*track);
    return head;
}

OpenedTrack openTrack(const std::shared_ptr<const MovieSource> &source, int index)
{
    OpenedTrack opened;
    opened.reader = TrackReader::open(source, index, &opened.error);
    if (opened.reader)
        opened.decoder = openDecoder(*opened.reader, &opened.error);
    return opened;
}

class MovieFile final : public Movie
{
public:
    MovieFile(FileHead head, std::unique_ptr<HostClock> clock)
        : m_head(std::move(head))
        , m_timeline(std::make_shared<MovieTimeline>(std::move(clock)))
    {
    }

    [[nodiscard]] QList<TrackInfo> tracks() const override { return m_head.tracks; }

    QCoro::Task<MadePlayer> makePlayer(TrackInfo track) override
    {
        const std::shared_ptr<MovieTimeline> timeline = m_timeline; // the movie may go while the track opens
        QFuture<OpenedTrack> opening = QtConcurrent::run(enginePool(), openTrack, m_head.source, track.index);
        const OpenedTrack opened = co_await opening;
        MadePlayer made;
        if (!opened.decoder)
            made.error = opened.error;
        else if (track.kind == TrackKind::Video)
            made.player = std::make_shared<VideoTrackPlayer>(timeline, opened.reader, opened.decoder);
        else
            made.player = std::make_shared<SoundTrackPlayer>(timeline, opened.reader, opened.decoder);
        co_return made;
    }

private:
    FileHead m_head;
    std::shared_ptr<MovieTimeline> m_timeline;
};

QCoro::Task<OpenedMovie> openOn(QString path, HostClockMaker makeClock)
{
    QFuture<FileHead> reading = QtConcurrent::run(enginePool(), readHead, path);
    const FileHead head = co_await reading;
    OpenedMovie opened;
    opened.error = head.error;
    if (head.error.kind == MovieError::Kind::None)
        opened.movie = std::make_shared<MovieFile>(head, makeClock());
    co_return opened;
}

} // namespace

QCoro::Task<OpenedMovie> openMovie(QString path)
{
    const HostClockMaker makeClock = [] { return std::make_unique<SteadyClock>(); };
    return openOn(std::move(path), makeClock);
}

MovieOpener movieOpener(HostClockMaker makeClock)
{
    return [makeClock = std::move(makeClock)](QString path) { return openOn(std::move(path), makeClock); };
}
