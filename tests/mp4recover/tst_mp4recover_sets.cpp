#include "reading/bitreader.h"
#include "sets/bitwriter.h"
#include "sets/parametersets.h"

#include <memory>
#include <QTest>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace {

struct FreeCodec {
    void operator()(AVCodecContext *codec) const { avcodec_free_context(&codec); }
};

/// The units of a byte stream with start codes, trailing zeros removed.
QList<ParameterSet> splitUnits(const QByteArray &stream)
{
    QList<ParameterSet> units;
    const QByteArray startCode("\0\0\1", 3);
    for (qsizetype at = stream.indexOf(startCode); at >= 0;) {
        const qsizetype begin = at + 3;
        at = stream.indexOf(startCode, begin);
        qsizetype end = at < 0 ? stream.size() : at;
        while (end > begin && stream[end - 1] == '\0')
            --end;
        units.append(ParameterSet(stream.begin() + begin, stream.begin() + end));
    }
    return units;
}

QList<ParameterSet> setsOfEncoder(const char *name, QSize size, int fps, const QByteArray &options)
{
    const AVCodec *coder = avcodec_find_encoder_by_name(name);
    std::unique_ptr<AVCodecContext, FreeCodec> codec(avcodec_alloc_context3(coder));
    codec->width = size.width();
    codec->height = size.height();
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->time_base = {1, fps};
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const bool isX264 = qstrcmp(name, "libx264") == 0;
    av_opt_set(codec->priv_data, isX264 ? "x264-params" : "x265-params",
               isX264 ? options.constData() : (options + ":log-level=none").constData(), 0);
    if (!coder || avcodec_open2(codec.get(), coder, nullptr) < 0)
        return {};
    return splitUnits({reinterpret_cast<const char *>(codec->extradata), codec->extradata_size});
}

/// Cut anywhere or with a bit behind its end, a set is none.
template <typename Parse> void refusesWhatIsCut(const ParameterSet &set, Parse parse)
{
    QVERIFY(parse(set));
    for (std::size_t size = 0; size < set.size(); ++size)
        QVERIFY2(!parse(ParameterSet(set.begin(), set.begin() + static_cast<std::ptrdiff_t>(size))),
                 qPrintable(QString::number(size)));
    ParameterSet longer = set;
    longer.insert(longer.end(), {0x12, 0x80});
    QVERIFY(!parse(longer));
}

} // namespace

class TestSets : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { av_log_set_level(AV_LOG_ERROR); }

    void readsWhatAnEncoderWrites_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QByteArray>("options");
        QTest::newRow("cropped on both sides") << QSize(854, 482) << QByteArray("keyint=30");
        QTest::newRow("full high definition") << QSize(1920, 1080) << QByteArray("bframes=0");
        QTest::newRow("many references") << QSize(1280, 720) << QByteArray("bframes=3:ref=5");
        QTest::newRow("small") << QSize(320, 180) << QByteArray("ref=1:bframes=2");
        QTest::newRow("buffer model")
            << QSize(640, 360) << QByteArray("nal-hrd=cbr:vbv-bufsize=1000:vbv-maxrate=900:bitrate=900");
    }
    void readsWhatAnEncoderWrites()
    {
        QFETCH(const QSize, size);
        QFETCH(const QByteArray, options);
        const QList<ParameterSet> sets = setsOfEncoder("libx264", size, 25, options);
        const auto sequence = parseH264Sequence(sets.value(0));
        QVERIFY(sequence);
        QCOMPARE(QSize(sequence->width, sequence->height), size);
        QCOMPARE(sequence->framesPerSecond, 25.0);
        QVERIFY(parseH264Picture(sets.value(1)));
        refusesWhatIsCut(sets[0], parseH264Sequence);

        const QList<ParameterSet> h265 =
            setsOfEncoder("libx265", size, 25, QByteArray(options).replace("nal-hrd=cbr", "hrd=1"));
        QVERIFY(parseH265Video(h265.value(0)));
        const auto h265Sequence = parseH265Sequence(h265.value(1));
        QVERIFY(h265Sequence);
        QCOMPARE(QSize(h265Sequence->width, h265Sequence->height), size);
        QCOMPARE(h265Sequence->framesPerSecond, 25.0);
        QVERIFY(parseH265Picture(h265.value(2)));
        refusesWhatIsCut(h265[0], parseH265Video);
        refusesWhatIsCut(h265[1], parseH265Sequence);
        refusesWhatIsCut(h265[2], parseH265Picture);
    }

    void builtSetsSayWhatWasGuessed()
    {
        for (const bool isFrameOnly : {true, false}) {
            H264Guess guess{.width = 1920, .height = 1080, .sequenceId = 3, .pictureId = 200};
            guess.orderType = 0;
            guess.log2MaxOrderLsb = 8;
            guess.isFrameOnly = isFrameOnly;
            guess.hasTransform8x8 = true;
            const auto sequence = parseH264Sequence(buildH264Sequence(guess));
            QVERIFY(sequence);
            QCOMPARE(sequence->id, 3);
            QCOMPARE(QSize(sequence->width, sequence->height), QSize(1920, 1080));
            QCOMPARE(sequence->log2MaxOrderLsb, 8);
            QCOMPARE(sequence->isFrameOnly, isFrameOnly);
            const auto picture = parseH264Picture(buildH264Picture(guess));
            QVERIFY(picture);
            QCOMPARE(picture->id, 200);
            QCOMPARE(picture->sequenceId, 3);
            QVERIFY(picture->isCabac && picture->hasTransform8x8);
        }
        const H265Guess guess{.width = 1284, .height = 722, .sequenceId = 2, .pictureId = 40};
        QVERIFY(parseH265Video(buildH265Video(guess)));
        const auto sequence = parseH265Sequence(buildH265Sequence(guess));
        QVERIFY(sequence);
        QCOMPARE(sequence->id, 2);
        QCOMPARE(QSize(sequence->width, sequence->height), QSize(1284, 722));
        const auto picture = parseH265Picture(buildH265Picture(guess));
        QVERIFY(picture);
        QCOMPARE(picture->id, 40);
        QCOMPARE(picture->sequenceId, 2);
    }

    void numbersSurviveWritingAndReading()
    {
        const QList<std::uint32_t> numbers{0, 1, 2, 255, 256, 65535, 0x7fffffff, 0xfffffffe};
        BitWriter writer;
        writer.bits(0, 24); // needs emulation prevention
        for (const std::uint32_t number : numbers)
            writer.unsignedGolomb(number);
        writer.signedGolomb(-62);
        writer.signedGolomb(25);
        const ParameterSet bytes = writer.finish();
        BitReader reader(bytes);
        QCOMPARE(reader.bits(24), 0U);
        for (const std::uint32_t number : numbers)
            QCOMPARE(reader.unsignedGolomb(), number);
        QCOMPARE(reader.signedGolomb(), -62);
        QCOMPARE(reader.signedGolomb(), 25);
        QVERIFY(!reader.hasMoreData());
        QVERIFY(reader.readTrailingBits());
    }
};

QTEST_APPLESS_MAIN(TestSets)
#include "tst_mp4recover_sets.moc"
