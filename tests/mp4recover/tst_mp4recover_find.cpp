#include "common/mpegaudio.h"
#include "finder.h"
#include "syntheticrecording.h"

#include <algorithm>
#include <functional>
#include <QTest>

namespace {

using Place = SyntheticRecording::Place;
using Write = std::function<void(SyntheticRecording &)>;

std::vector<ChannelRequest> requests(std::size_t count)
{
    return std::vector<ChannelRequest>(count, ChannelRequest{640, 360, 30});
}

Findings find(const MappedFile &file, std::size_t channelCount)
{
    return findRecording(file, requests(channelCount), [](double) {});
}

std::vector<Place> placesOf(const Findings &findings, std::size_t channel)
{
    std::vector<Place> places;
    for (const Picture &picture : findings.channels[channel].pictures) {
        const Unit &last = findings.units[picture.firstUnit + picture.unitCount - 1U];
        places.push_back({findings.units[picture.firstUnit].offset - 4, last.offset + last.size});
    }
    return places;
}

/// 3 s of pictures by turns, with a block each third turn and whatever `between` adds behind each turn.
void writeTurns(SyntheticRecording &recording, const Write &between, unsigned firstSecond = 100,
                unsigned turns = 90)
{
    for (unsigned turn = 0; turn < turns; ++turn) {
        if (turn % 3 == 0)
            recording.addBlock(firstSecond + turn / 30);
        recording.addTurn(900 + turn % 7 * 100);
        between(recording);
    }
}

} // namespace

Q_DECLARE_METATYPE(Write)

class TestFind : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// All pictures come back on their channels, whatever stands between them.
    void findsAllPictures_data()
    {
        QTest::addColumn<int>("channelCount");
        QTest::addColumn<Write>("between");
        QTest::addColumn<int>("sound");
        const Write nothing = [](SyntheticRecording &) {};
        const Write aac = [](SyntheticRecording &r) { r.addAac(180 + r.size() % 50); };
        const Write padding = [](SyntheticRecording &r) { r.addPadding(512); };
        const auto none = static_cast<int>(SoundKind::None);
        QTest::newRow("one channel") << 1 << nothing << none;
        QTest::newRow("two equal channels") << 2 << nothing << none;
        QTest::newRow("five equal channels") << 5 << nothing << none;
        QTest::newRow("one channel, each picture between sound")
            << 1 << aac << static_cast<int>(SoundKind::Aac);
        QTest::newRow("sound between turns") << 3 << aac << static_cast<int>(SoundKind::Aac);
        QTest::newRow("padded to sectors") << 2 << padding << none;
        QTest::newRow("sound padded to sectors") << 1 << Write([](SyntheticRecording &r) {
            r.addPadding(512);
            r.addAac(200);
            r.addPadding(512);
        }) << static_cast<int>(SoundKind::Aac);
        // The length of zeros and a picture's length read as a parameter set of as many bytes as its first
        // length byte.
        QTest::newRow("a zero before lengths")
            << 1 << Write([](SyntheticRecording &r) { r.addZeros(1); }) << -1;
        // End of an AAC frame and beginning of the next: a short unit of type 1.
        QTest::newRow("AAC that looks like a slice") << 1 << Write([](SyntheticRecording &r) {
            r.addAac(100);
            for (const int byte : {0, 0, 0, 0x07, 0x21, 0x4a, 0x6c, 0xfe})
                r.bytes().push_back(static_cast<std::uint8_t>(byte));
            r.addChance(90);
        }) << static_cast<int>(SoundKind::Aac);
        // Uniform pictures repeat bytes that read as the beginning of a slice.
        QTest::newRow("many false units within a picture") << 1 << Write([](SyntheticRecording &r) {
            r.addPicture(0, 9000);
            const Place picture = r.pictures[0].back();
            for (std::uint64_t at = picture.begin + 40; at + 900 < picture.end; at += 800)
                for (const int byte : {0x22, 0, 0, 0x03, 0x10, 0x41, 0x9a, 0x22, 0x11})
                    r.bytes()[at++] = static_cast<std::uint8_t>(byte);
        }) << none;
        // A length that swallows many pictures, as it stands in sound by chance.
        QTest::newRow("a false long unit") << 2 << Write([](SyntheticRecording &r) {
            if (r.pictures[0].size() == 40) {
                r.addNumber(20000);
                r.addText("\x41\x9a\x22\x11");
            }
        }) << -1;
    }
    void findsAllPictures()
    {
        QFETCH(const int, channelCount);
        QFETCH(const Write, between);
        QFETCH(const int, sound);
        SyntheticRecording recording(static_cast<std::size_t>(channelCount));
        writeTurns(recording, between);
        recording.addBlock(103);
        const MappedFile file = recording.file();
        const Findings findings = find(file, recording.pictures.size());
        QCOMPARE(findings.channels.size(), recording.pictures.size());
        for (std::size_t channel = 0; channel < recording.pictures.size(); ++channel)
            QVERIFY2(placesOf(findings, channel) == recording.pictures[channel],
                     qPrintable(QString::number(channel)));
        if (sound >= 0)
            QCOMPARE(static_cast<int>(findings.sound.kind), sound);
        QCOMPARE(findings.clock.size(), std::size_t{31});
        QCOMPARE(findings.clock.back().second - findings.clock.front().second, std::int64_t{3});
    }

    /// What damage does to one place costs nothing elsewhere.
    void damageCostsOnlyWhatItHits_data()
    {
        QTest::addColumn<int>("lost"); // pictures
        QTest::addColumn<std::function<void(std::vector<std::uint8_t> &, Place)>>("damage");
        using Data = std::vector<std::uint8_t>;
        using Damage = std::function<void(Data &, Place)>;
        const auto fill = [](Data &bytes, std::uint64_t begin, std::uint64_t size, unsigned seed) {
            std::mt19937 dice(seed);
            for (std::uint64_t i = begin; i < begin + size; ++i)
                bytes[i] = static_cast<std::uint8_t>(seed == 0 ? 0 : dice());
        };
        QTest::newRow("a length of zeros") << 1 << Damage([=](Data &b, Place p) { fill(b, p.begin, 4, 0); });
        QTest::newRow("a length too large") << 1 << Damage([](Data &b, Place p) { b[p.begin + 1] = 1; });
        QTest::newRow("a sector of zeros over a beginning")
            << 2 << Damage([=](Data &b, Place p) { fill(b, p.begin - 256, 512, 0); });
        QTest::newRow("a sector of garbage over a beginning")
            << 2 << Damage([=](Data &b, Place p) { fill(b, p.begin - 256, 512, 7); });
        QTest::newRow("4 KiB of garbage")
            << 6 << Damage([=](Data &b, Place p) { fill(b, p.begin, 4096, 9); });
        QTest::newRow("64 KiB of zeros")
            << 75 << Damage([=](Data &b, Place p) { fill(b, p.begin, 65536, 0); });
        QTest::newRow("64 KiB of garbage")
            << 75 << Damage([=](Data &b, Place p) { fill(b, p.begin, 65536, 3); });
    }
    void damageCostsOnlyWhatItHits()
    {
        QFETCH(const int, lost);
        using Damage = std::function<void(std::vector<std::uint8_t> &, Place)>;
        QFETCH(const Damage, damage);
        SyntheticRecording recording(2);
        writeTurns(recording, [](SyntheticRecording &) {});
        recording.addBlock(103);
        const std::vector<std::uint8_t> whole = recording.bytes();
        damage(recording.bytes(), recording.pictures[1][37]);
        const Findings findings = find(recording.file(), 2);
        std::size_t right = 0;
        for (std::size_t channel = 0; channel < 2; ++channel) {
            const std::vector<Place> found = placesOf(findings, channel);
            QVERIFY(std::is_sorted(found.begin(), found.end(),
                                   [](const Place &a, const Place &b) { return a.begin < b.begin; }));
            for (const Place &place : recording.pictures[channel])
                right += static_cast<std::size_t>(std::count(found.begin(), found.end(), place));
        }
        QVERIFY2(right + static_cast<std::size_t>(lost) >= 180, qPrintable(QString::number(right)));
        QVERIFY(!findings.losses.empty() || lost <= 2);
    }

    /// A picture that isn't all there isn't taken for whole, wherever the file ends.
    void cutsAnywhere()
    {
        SyntheticRecording recording(2);
        writeTurns(
            recording, [](SyntheticRecording &r) { r.addAac(150); }, 100, 12);
        for (std::size_t length = 0; length < recording.size(); length += 1733) {
            const Findings findings = find(recording.file(length), 2);
            std::size_t whole = 0;
            std::size_t found = 0;
            for (std::size_t channel = 0; channel < 2; ++channel) {
                for (const Place &place : recording.pictures[channel])
                    whole += place.end <= length ? 1U : 0U;
                found += findings.channels.size() > channel ? findings.channels[channel].pictures.size() : 0;
            }
            QCOMPARE(found, whole);
        }
    }

    /// The orders in which cameras write the pictures of equal channels.
    void tellsChannelsApart_data()
    {
        QTest::addColumn<QString>("order"); // of pictures, over and over
        QTest::addColumn<bool>("haveIds");
        QTest::newRow("by turns") << "0123" << false;
        QTest::newRow("in runs") << "00000011111122222233333"
                                    "3"
                                 << false;
        QTest::newRow("twice as many of the first, by ids") << "0102" << true;
        QTest::newRow("disorderly, by ids") << "0110210222011" << true;
    }
    void tellsChannelsApart()
    {
        QFETCH(const QString, order);
        QFETCH(const bool, haveIds);
        const auto channelCount =
            static_cast<std::size_t>(std::max_element(order.begin(), order.end())->digitValue() + 1);
        SyntheticRecording recording(channelCount);
        for (int picture = 0; picture < 400; ++picture) {
            const auto channel = static_cast<std::size_t>(order[picture % order.size()].digitValue());
            recording.addPicture(channel, 500 + static_cast<std::size_t>(picture % 9) * 40,
                                 haveIds ? static_cast<unsigned>(channel) : 0);
        }
        const Findings findings = find(recording.file(), channelCount);
        for (std::size_t channel = 0; channel < channelCount; ++channel)
            QVERIFY2(placesOf(findings, channel) == recording.pictures[channel],
                     qPrintable(QString::number(channel)));
    }

    /// Data of an older recording behind the end is left alone: not a picture of it comes back.
    void leavesOldDataAlone_data()
    {
        QTest::addColumn<int>("cut"); // bytes of the last picture that were written
        QTest::addColumn<unsigned>("day");
        QTest::newRow("older by days, cut within a picture") << 400 << 7U;
        QTest::newRow("older by days, cut behind a header") << 6 << 7U;
        QTest::newRow("from the future") << 300 << 12U;
    }
    void leavesOldDataAlone()
    {
        QFETCH(const int, cut);
        QFETCH(const unsigned, day);
        SyntheticRecording recording(2);
        writeTurns(
            recording, [](SyntheticRecording &) {}, 100, 45);
        const std::vector<std::vector<Place>> written = recording.pictures;
        const std::uint64_t begin = recording.size();
        recording.addPicture(0, 1000);
        recording.bytes().resize(begin + static_cast<std::uint64_t>(cut));
        recording.addChance(700); // the rest of an old picture
        for (unsigned turn = 0; turn < 60; ++turn) {
            recording.addTurn(1100);
            if (turn % 3 == 0)
                recording.addBlock(2000 + turn / 30, day);
        }
        const Findings findings = find(recording.file(), 2);
        for (std::size_t channel = 0; channel < 2; ++channel)
            QVERIFY2(placesOf(findings, channel) == written[channel], qPrintable(QString::number(channel)));
    }

    /// Any bytes are answered, and in time: what looks like lengths or blocks all over is the worst.
    void answersHostileBytes_data()
    {
        QTest::addColumn<QByteArray>("pattern"); // over and over
        QTest::newRow("zeros") << QByteArray(1, '\0');
        QTest::newRow("empty blocks") << QByteArray("DAT00000");
        QTest::newRow("blocks that overrun") << QByteArray("GPS99999");
        QTest::newRow("blocks of text to the end") << QByteArray("GPS01000");
        QTest::newRow("lengths of slices") << QByteArray::fromHex("000003e8419a2211");
        QTest::newRow("tiny slices") << QByteArray::fromHex("0000000341e022");
        QTest::newRow("lengths of messages") << QByteArray::fromHex("00000ff006ff01ff");
        QTest::newRow("lengths of sets") << QByteArray::fromHex("000003f06742001f");
        QTest::newRow("headers of sound") << QByteArray::fromHex("fffb1000");
        QTest::newRow("indexes") << QByteArray::fromHex("000000186d6f6f76000000806d766864");
        QTest::newRow("forbidden bytes") << QByteArray::fromHex("000001ff");
        QTest::newRow("longest units") << QByteArray::fromHex("003fffff41e0");
    }
    void answersHostileBytes()
    {
        QFETCH(const QByteArray, pattern);
        SyntheticRecording recording(1);
        while (recording.size() < 2'000'000)
            recording.addText(pattern.toStdString());
        const MappedFile file = recording.file();
        const Findings findings = find(file, 2);
        for (const Unit &unit : findings.units)
            QVERIFY(unit.offset >= 4 && unit.offset + unit.size <= file.bytes().size());
    }

    void readsSoundHeaders_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("size"); // 0: none
        QTest::addColumn<int>("rate");
        QTest::newRow("version 1, 64 kbit/s, 44.1 kHz") << QByteArray::fromHex("fffb50c4") << 208 << 44100;
        QTest::newRow("the same, padded") << QByteArray::fromHex("fffb52c4") << 209 << 44100;
        QTest::newRow("version 2, 64 kbit/s, 16 kHz") << QByteArray::fromHex("fff388c4") << 288 << 16000;
        QTest::newRow("version 2.5, 8 kbit/s, 8 kHz") << QByteArray::fromHex("ffe318c4") << 72 << 8000;
        QTest::newRow("free bit rate") << QByteArray::fromHex("fffb00c4") << 0 << 0;
        QTest::newRow("no such bit rate") << QByteArray::fromHex("fffbf0c4") << 0 << 0;
        QTest::newRow("no such sample rate") << QByteArray::fromHex("fffb5cc4") << 0 << 0;
        QTest::newRow("reserved version") << QByteArray::fromHex("ffeb50c4") << 0 << 0;
        QTest::newRow("layer II") << QByteArray::fromHex("fffd50c4") << 0 << 0;
        QTest::newRow("cut off") << QByteArray::fromHex("fffb50") << 0 << 0;
    }
    void readsSoundHeaders()
    {
        QFETCH(const QByteArray, header);
        QFETCH(const int, size);
        QFETCH(const int, rate);
        const auto read = mpegAudioHeaderAt(
            {reinterpret_cast<const std::uint8_t *>(header.data()), static_cast<std::size_t>(header.size())});
        QCOMPARE(read ? static_cast<int>(read->frameSize) : 0, size);
        QCOMPARE(read ? read->sampleRateHz : 0, rate);
    }
};

QTEST_GUILESS_MAIN(TestFind)
#include "tst_mp4recover_find.moc"
