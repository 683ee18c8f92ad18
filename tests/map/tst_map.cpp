#include "telemetry/map/coordinator.h"
#include "telemetry/map/mapengine.h"
#include "telemetry/map/mapposition.h"
#include "telemetry/map/requestfilter.h"

#include <clocale>
#include <csignal>
#include <QBuffer>
#include <QGuiApplication>
#include <QHostAddress>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {

QString position(const char *time, const char *latitude, const char *status = "A")
{
    return QStringLiteral(R"({"type":"gps_info","nmea":"$GPRMC,%1,%2,%3,N,12700.00,E,10,90,090324"})")
        .arg(QLatin1StringView(time), QLatin1StringView(status), QLatin1StringView(latitude));
}

/// Ten seconds: 37.5 degrees north, from the second 4 on 37.6, and no fix from the second 8 on.
void loadDrive(MediaDataViewModel &data)
{
    const QStringList records{position("080500", "3730.00"), position("080504", "3736.00"),
                              position("080508", "3736.00", "V"), position("080510", "3736.00", "V")};
    QCOMPARE(data.load(u'[' + records.join(u',') + u']', 10), QString());
}

} // namespace

/// A map service: gives the same picture for every tile, or hangs up as long as it has none.
class TileServer : public QTcpServer
{
    Q_OBJECT
public:
    explicit TileServer(QColor colour = {})
    {
        if (!listen(QHostAddress::LocalHost))
            qFatal("no port");
        if (colour.isValid()) {
            QImage tile(256, 256, QImage::Format_RGB32);
            tile.fill(colour);
            QBuffer buffer(&m_picture);
            tile.save(&buffer, "PNG");
        }
        connect(this, &QTcpServer::newConnection, this, &TileServer::take);
    }
    [[nodiscard]] QString address() const
    {
        return QStringLiteral("http://127.0.0.1:%1/{z}/{x}/{y}.png").arg(serverPort());
    }
    QStringList asked; ///< paths

private:
    void take()
    {
        while (QTcpSocket *connection = nextPendingConnection()) {
            connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
            connect(connection, &QTcpSocket::readyRead, this, [this, connection] { answer(*connection); });
        }
    }
    void answer(QTcpSocket &connection)
    {
        while (connection.canReadLine()) {
            const QList<QByteArray> words = connection.readLine().split(' ');
            if (words.first() == "GET")
                asked.append(QString::fromLatin1(words.value(1)));
            if (words.first() != "\r\n")
                continue;
            if (!m_picture.isEmpty())
                connection.write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nConnection: close\r\n"
                                 "Content-Length: "
                                 + QByteArray::number(m_picture.size()) + "\r\n\r\n" + m_picture);
            connection.disconnectFromHost();
        }
    }

    QByteArray m_picture;
};

/// Takes what a script in the page gave.
class Answer : public QObject
{
    Q_OBJECT
public:
    explicit Answer(std::shared_ptr<std::optional<QString>> text)
        : m_text(std::move(text))
    {
    }
    Q_INVOKABLE void take(const QVariant &value) { *m_text = value.toString(); }

private:
    std::shared_ptr<std::optional<QString>> m_text;
};

class MapTest : public QObject
{
    Q_OBJECT
    MediaDataViewModel m_data;
    std::unique_ptr<QQuickView> m_view;
    void show(const QVariantMap &properties)
    {
        m_view = std::make_unique<QQuickView>();
        m_view->engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        QVariantMap all{{QStringLiteral("mediaData"), QVariant::fromValue(&m_data)},
                        {QStringLiteral("currentTime"), 0.0},
                        {QStringLiteral("attribution"), QStringLiteral("<b>us</b>")},
                        {QStringLiteral("tileAddress"), QString()}};
        all.insert(properties);
        m_view->setInitialProperties(all);
        m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Vornex/Map/MapView.qml")));
        m_view->resize(400, 300);
        m_view->show();
    }
    void play(double seconds) { m_view->rootObject()->setProperty("currentTime", seconds); }
    [[nodiscard]] QQuickItem *page() const
    {
        return m_view->rootObject()->property("page").value<QQuickItem *>();
    }
    [[nodiscard]] Coordinator *coordinator() const
    {
        return page() ? page()->property("coordinator").value<Coordinator *>() : nullptr;
    }
    [[nodiscard]] bool isReady() const { return coordinator() && coordinator()->isMapReady(); }
    /// What an expression in the page gives, as text.
    QString inPage(const QString &expression)
    {
        auto answer = std::make_shared<std::optional<QString>>();
        QJSEngine *engine = m_view->engine();
        QJSValue target = engine->newQObject(new Answer(answer));
        QMetaObject::invokeMethod(
            page(), "evaluate", Q_ARG(QString, QStringLiteral("String(%1)").arg(expression)),
            Q_ARG(QVariant, QVariant::fromValue(target.property(QStringLiteral("take")))));
        if (!QTest::qWaitFor([&] { return answer->has_value(); }))
            return QStringLiteral("no answer");
        return **answer;
    }

private Q_SLOTS:
    void initTestCase() { loadDrive(m_data); }
    void init()
    {
        if (qstrcmp(QTest::currentTestFunction(), "thePageReachesNoFileOfTheUser") != 0)
            QTest::failOnWarning(QRegularExpression(QStringLiteral("^map: ")));
    }
    void cleanup() { m_view.reset(); }

    void positionsFollowThePlayer();
    void sendsNothingUselessAndNothingBeforeThePageIsReady();
    void onlyOwnFilesAndTilesAreLoaded_data();
    void onlyOwnFilesAndTilesAreLoaded();
    void noPageBeforeTheMapIsLookedAt();
    void thePageFollowsTheCarUntilItIsDragged();
    void theTrailBreaksAtAJump();
    void thePageReachesNoFileOfTheUser();
    void tilesStandOnTheMapWithTheirAttribution();
    void missingTilesDoNoHarm();
    void aPageThatEndsIsLoadedAgain();
};

void MapTest::positionsFollowThePlayer()
{
    MapPosition position;
    position.setMediaData(&m_data);
    QCOMPARE(position.latitude(), 0.0);
    position.setCurrentTime(3.9);
    QCOMPARE(position.latitude(), 37.5);
    QCOMPARE(position.longitude(), 127.0);
    position.setCurrentTime(4);
    QCOMPARE(position.latitude(), 37.6);
    position.setCurrentTime(0); // stopped: the last place stays
    QCOMPARE(position.latitude(), 37.6);
    position.setCurrentTime(8.5); // no fix
    QCOMPARE(position.latitude(), 0.0);
    position.setCurrentTime(1);
    MediaDataViewModel empty;
    position.setMediaData(&empty); // another recording
    QCOMPARE(position.latitude(), 37.5);
}

void MapTest::sendsNothingUselessAndNothingBeforeThePageIsReady()
{
    // A locale with a decimal comma, where the machine has one.
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    Coordinator coordinator;
    QSignalSpy scripts(&coordinator, &Coordinator::scriptRequested);
    coordinator.update(37.5, 127);
    coordinator.receive(QStringLiteral("mapready"));
    coordinator.update(37.5, 127);
    QCOMPARE(scripts.size(), 0);
    coordinator.receive(QStringLiteral("mapReady"));
    QCOMPARE(scripts.size(), 0); // dropped, not queued
    coordinator.update(0, 0);
    QCOMPARE(scripts.size(), 0);
    coordinator.update(37.5, 127);
    coordinator.update(-37.5, 0);
    std::setlocale(LC_NUMERIC, "C");
    QCOMPARE(scripts.size(), 2);
    QCOMPARE(scripts.at(0).at(0).toString(), QStringLiteral("moveMap(37.500000, 127.000000);"));
    QCOMPARE(scripts.at(1).at(0).toString(), QStringLiteral("moveMap(-37.500000, 0.000000);"));
}

void MapTest::onlyOwnFilesAndTilesAreLoaded_data()
{
    QTest::addColumn<QString>("tiles");
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("isAllowed");
    const auto row = [](const char *name, const char *tiles, const char *url, bool isAllowed) {
        QTest::newRow(name) << QString::fromLatin1(tiles) << QString::fromLatin1(url) << isAllowed;
    };
    const char *tiles = "https://{s}.tile.example/{z}/{x}/{y}{r}.png?key=a+b";
    row("own page", tiles, "qrc:/map/map.html", true);
    row("the program's other resources", tiles, "qrc:/qt/qml/Vornex/App/Main.qml", false);
    row("tile", tiles, "https://b.tile.example/16/55873/-5@2x.png?key=a+b", true);
    row("another server", tiles, "https://b.tile.example.org/16/5/5.png?key=a+b", false);
    row("another path", tiles, "https://b.tile.example/16/5/5.png?key=a+b&leak=1", false);
    row("a point is a point", tiles, "https://bxtile.example/16/5/5.png?key=a+b", false);
    row("local file", tiles, "file:///etc/passwd", false);
    row("no tiles", "", "", false);
    row("local files as tiles", "file:///{z}/{x}/{y}", "file:///1/2/3", false);
}
void MapTest::onlyOwnFilesAndTilesAreLoaded()
{
    QFETCH(const QString, tiles);
    QFETCH(const QString, url);
    const RequestFilter filter(tiles);
    QTEST(filter.isOwnFile(QUrl(url)) || filter.isTile(QUrl(url)), "isAllowed");
}

void MapTest::noPageBeforeTheMapIsLookedAt()
{
    const TileServer server(Qt::red);
    show({{QStringLiteral("visible"), false}, {QStringLiteral("tileAddress"), server.address()}});
    play(1);
    QVERIFY(!page());
    QVERIFY(server.asked.isEmpty());
    m_view->rootObject()->setVisible(true);
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    QCOMPARE(inPage(QStringLiteral("view.position.lat")), QStringLiteral("37.5"));
    QQuickItem *first = page();
    m_view->rootObject()->setVisible(false);
    m_view->rootObject()->setVisible(true);
    QCOMPARE(page(), first);
}

void MapTest::thePageFollowsTheCarUntilItIsDragged()
{
    show({});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    const QString centre = QStringLiteral("view.map.getCenter().lat.toFixed(2)");
    const QString isButtonHidden = QStringLiteral("document.querySelector('.follow').hidden");
    play(1);
    QTRY_COMPARE(inPage(centre), QStringLiteral("37.50"));
    QCOMPARE(inPage(QStringLiteral(
                 "document.querySelector('.leaflet-control-scale-line').textContent.length > 0")),
             QStringLiteral("true"));
    QCOMPARE(inPage(isButtonHidden), QStringLiteral("true"));

    QTest::mousePress(m_view.get(), Qt::LeftButton, {}, {200, 200});
    for (int step = 1; step <= 6; ++step)
        QTest::mouseMove(m_view.get(), {200, 200 - 10 * step}, 20);
    QTest::mouseRelease(m_view.get(), Qt::LeftButton, {}, {200, 140});
    QTRY_COMPARE(inPage(isButtonHidden), QStringLiteral("false"));
    play(5);
    QTRY_COMPARE(inPage(QStringLiteral("view.position.lat")), QStringLiteral("37.6"));
    QCOMPARE(inPage(centre), QStringLiteral("37.50"));
    inPage(QStringLiteral("document.querySelector('.follow').click()"));
    QCOMPARE(inPage(centre), QStringLiteral("37.60"));
    QCOMPARE(inPage(isButtonHidden), QStringLiteral("true"));
}

void MapTest::theTrailBreaksAtAJump()
{
    show({});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    // East by some 9 m twice, then 10 km away, and a scatter of centimetres.
    for (const char *place :
         {"37.5, 127", "37.5, 127.0001", "37.5, 127.0002", "37.6, 127", "37.6000002, 127"})
        inPage(QStringLiteral("moveMap(%1)").arg(QLatin1StringView(place)));
    QCOMPARE(inPage(QStringLiteral("view.trail.map(line => line.getLatLngs().length)")),
             QStringLiteral("3,2"));
    const QString disc = QStringLiteral("document.querySelector('.car circle').getAttribute('visibility')");
    QCOMPARE(inPage(disc), QStringLiteral("visible")); // no heading yet
    inPage(QStringLiteral("moveMap(37.6, 127.0001)"));
    QCOMPARE(inPage(disc), QStringLiteral("hidden"));
    QVERIFY(inPage(QStringLiteral("document.querySelector('.car path').getAttribute('transform')"))
                .startsWith(u"rotate(90.")); // east
}

void MapTest::thePageReachesNoFileOfTheUser()
{
    show({});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    inPage(QStringLiteral(R"((() => {
        window.outcomes = [];
        const tell = what => () => window.outcomes.push(what);
        const picture = new Image();
        picture.onload = tell("picture");
        picture.onerror = tell("refused");
        picture.src = "file:///usr/share/javascript/leaflet/images/layers.png";
        fetch("file:///etc/passwd").then(tell("file"), tell("refused"));
        fetch("qrc:/qt/qml/Vornex/Map/MapView.qml").then(tell("resource"), tell("refused"));
    })())"));
    QTRY_COMPARE(inPage(QStringLiteral("window.outcomes")), QStringLiteral("refused,refused,refused"));
}

void MapTest::tilesStandOnTheMapWithTheirAttribution()
{
    const TileServer server(QColor(200, 120, 40));
    show({{QStringLiteral("tileAddress"), server.address()}});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    play(1);
    QTRY_VERIFY(server.asked.contains(QStringLiteral("/16/55887/25394.png"))); // of 37.5 north, 127 east
    QTRY_COMPARE(QColor(m_view->grabWindow().pixel(200, 40)), QColor(200, 120, 40));
    QCOMPARE(inPage(QStringLiteral(
                 "document.querySelector('.leaflet-control-attribution').textContent.includes('<b>us</b>')")),
             QStringLiteral("true"));
}

void MapTest::missingTilesDoNoHarm()
{
    const TileServer server;
    show({{QStringLiteral("tileAddress"), server.address()}});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    QTRY_VERIFY(!server.asked.isEmpty());
    // All attempts fail: what stays is the grid, and the car moves on it.
    QTRY_COMPARE(inPage(QStringLiteral("document.querySelectorAll('img.leaflet-tile').length")),
                 QStringLiteral("0"));
    QVERIFY(inPage(QStringLiteral("document.querySelectorAll('canvas.leaflet-tile').length")).toInt() > 0);
    play(1);
    QTRY_COMPARE(inPage(QStringLiteral("view.position.lat")), QStringLiteral("37.5"));
}

void MapTest::aPageThatEndsIsLoadedAgain()
{
    show({});
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), 20'000);
    play(1);
    const QObject *webView = nullptr;
    for (const QQuickItem *child : page()->childItems())
        webView = child->property("renderProcessPid").isValid() ? child : webView;
    QVERIFY(webView);
    const auto endPage = [&] {
        const qint64 process = webView->property("renderProcessPid").toLongLong();
        return process > 0 && kill(static_cast<pid_t>(process), SIGKILL) == 0;
    };
    const QSignalSpy ready(coordinator(), &Coordinator::pageReady);
    for (int times = 1; times <= 3; ++times) {
        QVERIFY(endPage());
        play(4 + times); // lost
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), times, 20'000);
        QVERIFY(coordinator()->isMapReady());
        QTRY_COMPARE(inPage(QStringLiteral("view.position && view.position.lat")), QStringLiteral("37.6"));
    }
    QVERIFY(!page()->property("hasFailed").toBool());
    QVERIFY(endPage());
    QTRY_VERIFY(page()->property("hasFailed").toBool()); // again and again: it is left alone
}

int main(int argc, char **argv)
{
    MapEngine::prepare();
    const QGuiApplication application(argc, argv);
    MapTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_map.moc"
