#include "engine/quick/surfacenode.h"
#include "engine/quick/videosurface.h"
#include "support/pictures.h"
#include "support/scriptedmovie.h"

#include <functional>
#include <QImage>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr QSize windowSize(240, 160);
// Red, green, blue and white in limited range by BT.709.
constexpr Samples red{63, 102, 240};
constexpr Samples green{173, 42, 26};
constexpr Samples blue{32, 240, 118};
constexpr Samples white{235, 128, 128};

/// Red and green above blue and white.
VideoFrame quarters(PixelLayout layout, QSize size)
{
    return Picture::of(layout, size, [size](int x, int y) {
        const bool isRight = 2 * x >= size.width();
        const bool isLower = 2 * y >= size.height();
        return isLower ? (isRight ? white : blue) : (isRight ? green : red);
    });
}

bool isNear(QColor seen, QColor expected)
{
    constexpr int tolerance = 4;
    return std::abs(seen.red() - expected.red()) <= tolerance
        && std::abs(seen.green() - expected.green()) <= tolerance
        && std::abs(seen.blue() - expected.blue()) <= tolerance;
}

} // namespace

#define VERIFY_COLOUR(colour, expected)                                                                      \
    do {                                                                                                     \
        const QColor seen = colour;                                                                          \
        QVERIFY2(isNear(seen, expected),                                                                     \
                 qPrintable(seen.name() + QStringLiteral(", expected ") + QColor(expected).name()));         \
    } while (false)

/// Looks at the pixels that surfaces draw, with whatever renderer the environment gives.
class VideoSurfaceTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void usesTheRendererAskedFor();
    void showsColours_data();
    void showsColours();
    void changesOfTheStreamAreFollowed();
    void fillsWithBlackAroundThePicture_data();
    void fillsWithBlackAroundThePicture();
    void turnsThePicture_data();
    void turnsThePicture();
    void chromaOfOddSizesLiesWhereItBelongs();
    void surfacesShareAPlayer();
    void laterPicturesAppearInTheirPlace();
    void isBlackWithoutAPicture_data();
    void isBlackWithoutAPicture();
    void playerMayChangeOrEnd();
    void windowMayChangeOrBeReleased();
    void drawsOnlyWhenThereIsSomethingNew();

private:
    static std::unique_ptr<ScriptedTrackPlayer> makePlayer()
    {
        return std::make_unique<ScriptedTrackPlayer>(QStringLiteral("video0"), 1.0,
                                                     std::make_shared<QStringList>());
    }
    void show(VideoFrame frame)
    {
        m_player->frame = std::make_shared<VideoFrame>(std::move(frame));
        Q_EMIT m_player->frameChanged();
    }
    /// At a place given in shares of the window.
    QColor colourAt(double x, double y)
    {
        const QImage image = m_window->grabWindow();
        return image.pixelColor(int(x * image.width()), int(y * image.height()));
    }

    std::unique_ptr<ScriptedTrackPlayer> m_player;
    std::unique_ptr<QQuickWindow> m_window;
    VideoSurface *m_surface = nullptr;
};

void VideoSurfaceTest::initTestCase()
{
    if (qEnvironmentVariable("VORNEX_TEST_RENDERER") == QStringLiteral("opengl"))
        SurfaceNode::useShadersEverywhere();
}

void VideoSurfaceTest::init()
{
    m_player = makePlayer();
    m_window = std::make_unique<QQuickWindow>();
    m_window->setColor(Qt::magenta);
    m_window->resize(windowSize);
    m_surface = new VideoSurface(m_window->contentItem());
    m_surface->setSize(windowSize);
    m_surface->setPlayer(m_player.get());
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void VideoSurfaceTest::cleanup()
{
    m_window.reset();
    m_player.reset();
}

// A test of the graphics card's way that silently took the other would prove nothing.
void VideoSurfaceTest::usesTheRendererAskedFor()
{
    const bool wantsOpenGl = !qEnvironmentVariable("VORNEX_TEST_RENDERER").isEmpty();
    QCOMPARE(m_window->rendererInterface()->graphicsApi(),
             wantsOpenGl ? QSGRendererInterface::OpenGL : QSGRendererInterface::Software);
}

void VideoSurfaceTest::showsColours_data()
{
    QTest::addColumn<PixelLayout>("layout");
    QTest::addColumn<ColourMatrix>("matrix");
    QTest::addColumn<bool>("isFullRange");
    QTest::addColumn<QList<int>>("samples");
    QTest::addColumn<QColor>("expected");

    using enum PixelLayout;
    using enum ColourMatrix;
    const QColor pureRed(255, 0, 0);
    const QColor pureGreen(0, 255, 0);
    const QColor pureBlue(0, 0, 255);
    QTest::newRow("420, 709, limited") << Yuv420 << Bt709 << false << QList{63, 102, 240} << pureRed;
    QTest::newRow("420, 601, limited") << Yuv420 << Bt601 << false << QList{145, 54, 34} << pureGreen;
    QTest::newRow("420, 601, full") << Yuv420 << Bt601 << true << QList{76, 85, 255} << QColor(254, 0, 0);
    QTest::newRow("422, 709, full") << Yuv422 << Bt709 << true << QList{18, 255, 116} << QColor(0, 0, 254);
    QTest::newRow("422, 601, limited") << Yuv422 << Bt601 << false << QList{41, 240, 110} << pureBlue;
    QTest::newRow("444, 709, limited") << Yuv444 << Bt709 << false << QList{173, 42, 26} << pureGreen;
    QTest::newRow("444, 2020, limited") << Yuv444 << Bt2020 << false << QList{74, 97, 240} << pureRed;
    QTest::newRow("pairs, 709, limited") << Nv12 << Bt709 << false << QList{32, 240, 118} << pureBlue;
    QTest::newRow("pairs, 601, full") << Nv12 << Bt601 << true << QList{150, 44, 21} << QColor(0, 255, 1);
    QTest::newRow("grey, limited") << Grey << Bt709 << false << QList{126, 0, 0} << QColor(128, 128, 128);
    QTest::newRow("grey, full") << Grey << Bt601 << true << QList{126, 0, 0} << QColor(126, 126, 126);
    QTest::newRow("beyond white") << Yuv420 << Bt709 << false << QList{255, 128, 128}
                                  << QColor(255, 255, 255);
}

void VideoSurfaceTest::showsColours()
{
    QFETCH(const PixelLayout, layout);
    QFETCH(const ColourMatrix, matrix);
    QFETCH(const bool, isFullRange);
    QFETCH(const QList<int>, samples);
    QFETCH(const QColor, expected);

    VideoFrame frame = Picture::filled(layout, {33, 21}, {samples[0], samples[1], samples[2]});
    frame.matrix = matrix;
    frame.isFullRange = isFullRange;
    show(frame);
    for (const double place : {0.1, 0.5, 0.9})
        VERIFY_COLOUR(colourAt(place, place), expected);
}

void VideoSurfaceTest::changesOfTheStreamAreFollowed()
{
    using enum PixelLayout;
    for (const PixelLayout layout : {Yuv420, Nv12, Yuv444, Nv12, Yuv422}) {
        for (const QSize size : {QSize(36, 24), QSize(45, 31), QSize(36, 24)}) {
            show(quarters(layout, size));
            VERIFY_COLOUR(colourAt(0.25, 0.25), Qt::red);
            VERIFY_COLOUR(colourAt(0.75, 0.25), Qt::green);
            VERIFY_COLOUR(colourAt(0.25, 0.75), Qt::blue);
            VERIFY_COLOUR(colourAt(0.75, 0.75), Qt::white);
        }
    }
    show(Picture::filled(Grey, {20, 20}, white));
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::white);
}

void VideoSurfaceTest::fillsWithBlackAroundThePicture_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("sampleAspectRatio");
    QTest::addColumn<int>("rotation");
    QTest::addColumn<QRect>("place"); // in the window of 240 by 160

    QTest::newRow("wide") << QSize(48, 24) << 1.0 << 0 << QRect(0, 20, 240, 120);
    QTest::newRow("high") << QSize(20, 40) << 1.0 << 0 << QRect(80, 0, 80, 160);
    QTest::newRow("wide by the shape of its samples") << QSize(24, 24) << 2.0 << 0 << QRect(0, 20, 240, 120);
    QTest::newRow("on its side") << QSize(40, 20) << 1.0 << 90 << QRect(80, 0, 80, 160);
    QTest::newRow("wide samples on their side") << QSize(40, 40) << 2.0 << 270 << QRect(80, 0, 80, 160);
    QTest::newRow("upside down") << QSize(48, 24) << 1.0 << 180 << QRect(0, 20, 240, 120);
    QTest::newRow("unknown shape of samples") << QSize(48, 24) << 0.0 << 0 << QRect(0, 20, 240, 120);
    QTest::newRow("same aspect") << QSize(24, 16) << 1.0 << 0 << QRect(0, 0, 240, 160);
}

void VideoSurfaceTest::fillsWithBlackAroundThePicture()
{
    QFETCH(const QSize, size);
    QFETCH(const double, sampleAspectRatio);
    QFETCH(const int, rotation);
    QFETCH(const QRect, place);

    VideoFrame frame = Picture::filled(PixelLayout::Yuv420, size, white);
    frame.sampleAspectRatio = sampleAspectRatio;
    frame.rotation = rotation;
    show(frame);
    const QImage image = m_window->grabWindow();
    for (int y = 2; y < windowSize.height(); y += 4) {
        for (int x = 2; x < windowSize.width(); x += 4)
            VERIFY_COLOUR(image.pixelColor(x, y), place.contains(x, y) ? Qt::white : Qt::black);
    }
}

void VideoSurfaceTest::turnsThePicture_data()
{
    QTest::addColumn<int>("rotation");
    QTest::addColumn<QList<QColor>>("expected"); // top left, top right, bottom left, bottom right

    const QColor r(Qt::red);
    const QColor g(Qt::green);
    const QColor b(Qt::blue);
    const QColor w(Qt::white);
    QTest::newRow("upright") << 0 << QList{r, g, b, w};
    QTest::newRow("clockwise") << 90 << QList{b, r, w, g};
    QTest::newRow("upside down") << 180 << QList{w, b, g, r};
    QTest::newRow("counter-clockwise") << 270 << QList{g, w, r, b};
}

void VideoSurfaceTest::turnsThePicture()
{
    QFETCH(const int, rotation);
    QFETCH(const QList<QColor>, expected);

    VideoFrame frame = quarters(PixelLayout::Yuv420, {32, 32});
    frame.rotation = rotation;
    show(frame);
    VERIFY_COLOUR(colourAt(0.4, 0.25), expected[0]);
    VERIFY_COLOUR(colourAt(0.6, 0.25), expected[1]);
    VERIFY_COLOUR(colourAt(0.4, 0.75), expected[2]);
    VERIFY_COLOUR(colourAt(0.6, 0.75), expected[3]);
}

// The last chroma sample of an odd row stands for one luma sample only, and each lies on the left one of its
// two. Stretched over the picture or taken for centred, the colours would be shifted by up to a luma sample.
void VideoSurfaceTest::chromaOfOddSizesLiesWhereItBelongs()
{
    if (qEnvironmentVariable("VORNEX_TEST_RENDERER") != QStringLiteral("opengl"))
        QSKIP("libswscale stretches the chroma of odd sizes");
    show(Picture::of(PixelLayout::Yuv420, {9, 6}, [](int x, int) {
        return x < 8 ? Samples{100, 90, 200} : Samples{100, 200, 90};
    }));
    const QImage image = m_window->grabWindow();
    // Between the samples at x = 6 and x = 8, whose middles are at 6.5 and 8.5 of 9, the colour changes.
    const auto colourAtLuma = [&](double x) { return image.pixelColor(int(x * image.width() / 9), 80); };
    VERIFY_COLOUR(colourAtLuma(6.4), colourAtLuma(1));
    VERIFY_COLOUR(colourAtLuma(8.6), colourAtLuma(8.95));
    QVERIFY(!isNear(colourAtLuma(7.5), colourAtLuma(1)));
    QVERIFY(!isNear(colourAtLuma(7.5), colourAtLuma(8.95)));
}

void VideoSurfaceTest::surfacesShareAPlayer()
{
    m_surface->setSize({120, 160});
    auto *second = new VideoSurface(m_window->contentItem());
    second->setPosition({120, 0});
    second->setSize({120, 160});
    second->setPlayer(m_player.get());
    for (const Samples colour : {red, blue, white}) {
        show(Picture::filled(PixelLayout::Yuv420, {12, 16}, colour));
        VERIFY_COLOUR(colourAt(0.75, 0.5), colourAt(0.25, 0.5));
    }
    VERIFY_COLOUR(colourAt(0.75, 0.5), Qt::white);

    // The one goes, the other stays and follows.
    delete m_surface;
    show(Picture::filled(PixelLayout::Yuv420, {12, 16}, red));
    VERIFY_COLOUR(colourAt(0.25, 0.5), Qt::magenta);
    VERIFY_COLOUR(colourAt(0.75, 0.5), Qt::red);

    // Another player beside it isn't drawn with its picture.
    const auto other = makePlayer();
    other->frame = std::make_shared<VideoFrame>(Picture::filled(PixelLayout::Yuv420, {12, 16}, blue));
    auto *third = new VideoSurface(m_window->contentItem());
    third->setSize({120, 160});
    third->setPlayer(other.get());
    VERIFY_COLOUR(colourAt(0.25, 0.5), Qt::blue);
    VERIFY_COLOUR(colourAt(0.75, 0.5), Qt::red);
}

void VideoSurfaceTest::laterPicturesAppearInTheirPlace()
{
    QQuickItem area(m_window->contentItem());
    area.setPosition({120, 80});
    area.setSize({60, 80});
    area.setClip(true);
    m_surface->setParentItem(&area);
    m_surface->setSize({120, 80});
    VERIFY_COLOUR(colourAt(0.6, 0.75), Qt::black);
    show(quarters(PixelLayout::Yuv420, {24, 16}));
    VERIFY_COLOUR(colourAt(0.55, 0.6), Qt::red);
    VERIFY_COLOUR(colourAt(0.55, 0.9), Qt::blue);
    VERIFY_COLOUR(colourAt(0.45, 0.4), Qt::magenta);
    VERIFY_COLOUR(colourAt(0.8, 0.6), Qt::magenta);
    m_surface->setParentItem(m_window->contentItem());
}

void VideoSurfaceTest::isBlackWithoutAPicture_data()
{
    QTest::addColumn<std::function<void(VideoFrame &)>>("damage");
    using Damage = std::function<void(VideoFrame &)>;
    QTest::newRow("no size") << Damage([](VideoFrame &frame) { frame.size = {}; });
    QTest::newRow("no luma") << Damage([](VideoFrame &frame) { frame.planes[0].data = nullptr; });
    QTest::newRow("no chroma") << Damage([](VideoFrame &frame) { frame.planes[2].data = nullptr; });
    QTest::newRow("rows too short") << Damage([](VideoFrame &frame) { frame.planes[1].stride = 7; });
    QTest::newRow("pairs without room") << Damage([](VideoFrame &frame) {
        frame.layout = PixelLayout::Nv12;
        frame.planes[1].stride = 15;
    });
}

void VideoSurfaceTest::isBlackWithoutAPicture()
{
    QFETCH(const std::function<void(VideoFrame &)>, damage);
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::black);
    show(Picture::filled(PixelLayout::Yuv420, {16, 16}, white));
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::white);
    VideoFrame frame = Picture::filled(PixelLayout::Yuv420, {16, 16}, white);
    damage(frame);
    show(frame);
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::black);
}

void VideoSurfaceTest::playerMayChangeOrEnd()
{
    show(Picture::filled(PixelLayout::Yuv420, {24, 16}, red));
    auto other = makePlayer();
    other->frame = std::make_shared<VideoFrame>(Picture::filled(PixelLayout::Nv12, {24, 16}, blue));
    m_surface->setPlayer(other.get());
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::blue);

    QSignalSpy changed(m_surface, &VideoSurface::playerChanged);
    other.reset();
    QCOMPARE(changed.count(), 1);
    QVERIFY(!m_surface->player());
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::black);

    m_surface->setPlayer(m_player.get());
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::red);
    QObject stranger;
    m_surface->setPlayer(&stranger);
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::black);
}

void VideoSurfaceTest::windowMayChangeOrBeReleased()
{
    show(Picture::filled(PixelLayout::Yuv420, {24, 16}, green));
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::green);

    m_window->setPersistentSceneGraph(false);
    m_window->setPersistentGraphics(false);
    m_window->hide();
    m_window->releaseResources();
    QSignalSpy drawn(m_window.get(), &QQuickWindow::frameSwapped);
    m_window->show();
    QTRY_VERIFY(!drawn.isEmpty());
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::green);

    auto former = std::move(m_window);
    m_window = std::make_unique<QQuickWindow>();
    m_window->resize(windowSize);
    m_surface->setParentItem(m_window->contentItem());
    m_surface->setParent(m_window->contentItem());
    former.reset();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    VERIFY_COLOUR(colourAt(0.5, 0.5), Qt::green);
}

void VideoSurfaceTest::drawsOnlyWhenThereIsSomethingNew()
{
    const auto isQuiet = [this] {
        QSignalSpy drawn(m_window.get(), &QQuickWindow::afterRendering);
        return !drawn.wait(100);
    };
    show(quarters(PixelLayout::Yuv420, {24, 16}));
    QTRY_VERIFY(isQuiet());

    QSignalSpy drawn(m_window.get(), &QQuickWindow::afterRendering);
    show(quarters(PixelLayout::Yuv420, {24, 16}));
    QTRY_VERIFY(!drawn.isEmpty());

    m_surface->setVisible(false);
    QTRY_VERIFY(isQuiet());
    show(quarters(PixelLayout::Yuv420, {24, 16}));
    QVERIFY(isQuiet());

    m_surface->setVisible(true);
    VERIFY_COLOUR(colourAt(0.25, 0.25), Qt::red);
}

QTEST_MAIN(VideoSurfaceTest)
#include "tst_videosurface.moc"
