#include "common/preferences.h"
#include "playback/multitrackplayer.h"
#include "style/style.h"
#include "support/pictures.h"
#include "support/scriptedmovie.h"
#include "telemetry/gsensorgraph.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QtQuickTest>

namespace {

// Blue, red, green and yellow by BT.709, for channels 1 to 4; the fifth is white.
constexpr std::array<Samples, 5> channelColours{Samples{32, 240, 118}, Samples{63, 102, 240},
                                                Samples{173, 42, 26}, Samples{219, 16, 138},
                                                Samples{235, 128, 128}};

} // namespace

/// A real MultiTrackPlayer on scripted tracks, each with a picture of its own colour, at the hands of the QML
/// tests: `rig`.
class Rig : public QObject
{
    Q_OBJECT
    Q_PROPERTY(MultiTrackPlayer *player READ player CONSTANT)
    Q_PROPERTY(QVariantList players READ players NOTIFY playersChanged)
    Q_PROPERTY(QStringList commands READ commands)
    Q_PROPERTY(MediaDataViewModel *telemetry READ telemetry CONSTANT)
public:
    MultiTrackPlayer *player() { return &m_player; }
    [[nodiscard]] QVariantList players() const
    {
        QVariantList list;
        for (QObject *player : m_player.videoPlayerObjects())
            list.append(QVariant::fromValue(player));
        return list;
    }
    [[nodiscard]] QStringList commands() const { return *m_movie->log; }

    /// Replaces the recording by one of so many channels.
    Q_INVOKABLE void load(int channels, double seconds)
    {
        m_player.stop();
        m_movie = std::make_shared<ScriptedMovie>(QList<double>(channels, seconds), QList<double>());
        if (channels == 0)
            m_player.clearVideoPlayers();
        else
            QCoro::waitFor(m_player.loadTracks(QUrl::fromLocalFile(QStringLiteral("/none"))));
        for (int i = 0; i < channels; ++i) {
            const Samples colour = channelColours[size_t(i)];
            track(i)->frame =
                std::make_shared<VideoFrame>(Picture::filled(PixelLayout::Yuv420, {16, 16}, colour));
            Q_EMIT track(i)->frameChanged();
        }
        m_movie->log->clear();
        Q_EMIT playersChanged();
    }
    MediaDataViewModel *telemetry() { return &m_telemetry; }
    /// So many seconds, in which x counts the seconds; less than none: not there yet.
    Q_INVOKABLE void loadTelemetry(int seconds)
    {
        m_telemetry.reset();
        if (seconds < 0)
            return;
        QStringList records;
        for (int second = 0; second <= seconds; ++second) {
            const QString time = QTime(8, 0).addSecs(second).toString(QStringLiteral("hhmmss"));
            records.append(
                QStringLiteral(R"({"type":"gps_info","nmea":"$GPRMC,%1,A,1,N,1,E,0,0,090324"})").arg(time));
            records.append(
                QStringLiteral(
                    R"({"type":"gsensor_info","timestamp":"2024-03-09 08:%1","accel":{"x":%2,"y":2,"z":3}})")
                    .arg(QTime(8, 0).addSecs(second).toString(QStringLiteral("mm:ss")))
                    .arg(second));
        }
        if (!m_telemetry.load(u'[' + records.join(u',') + u']', seconds).isEmpty())
            qFatal("no telemetry");
    }
    /// The first axis of a GSensorBar: "time value" of each sample that isn't the data's at that time, of
    /// each time of the grid that is missing, and of each that lies behind the player's.
    Q_INVOKABLE QStringList faultsOfGraph(QObject *bar)
    {
        QStringList faults;
        const QList<GSample> samples = bar->findChild<GSensorGraph *>()->bufferX()->samples();
        const int last = static_cast<int>(m_player.currentTime() * 10 + 1e-6);
        for (int i = 0; i < std::max<qsizetype>(samples.size(), last + 1); ++i) {
            const GSample sample = samples.value(i, {-1, -1});
            const bool isRight = i <= last && std::abs(sample.time - i * 0.1) < 1e-6
                && sample.value == m_telemetry.gSensorSample(sample.time)->accel.x;
            if (!isRight)
                faults.append(QStringLiteral("%1 %2").arg(sample.time).arg(sample.value));
        }
        return faults;
    }
    Q_INVOKABLE void end() { track(0)->end(); }
    Q_INVOKABLE void report(double seconds) { track(0)->report(seconds); }

Q_SIGNALS:
    void playersChanged();

private:
    [[nodiscard]] ScriptedTrackPlayer *track(int channel) const
    {
        return static_cast<ScriptedTrackPlayer *>(m_player.videoPlayers().at(channel).get());
    }

    QTemporaryDir m_folder;
    Preferences m_preferences{m_folder.filePath(QStringLiteral("preferences.ini"))};
    MediaDataViewModel m_telemetry;
    std::shared_ptr<ScriptedMovie> m_movie =
        std::make_shared<ScriptedMovie>(QList<double>(), QList<double>());
    MultiTrackPlayer m_player{[this](QString) -> QCoro::Task<OpenedMovie> {
                                  OpenedMovie opened;
                                  opened.movie = m_movie;
                                  co_return opened;
                              },
                              m_preferences};
};

class Setup : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void applicationAvailable() { applyStyle(); }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_rig = std::make_unique<Rig>();
        engine->rootContext()->setContextProperty(QStringLiteral("rig"), m_rig.get());
    }

private:
    std::unique_ptr<Rig> m_rig;
};

QUICK_TEST_MAIN_WITH_SETUP(playback, Setup)
#include "tst_playback_qml.moc"
