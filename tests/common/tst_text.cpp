#include "common/text.h"

#include <limits>
#include <QRandomGenerator>
#include <QStringDecoder>
#include <QTest>

class TextTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsIntegers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("signedValue"); // "-": none
        QTest::addColumn<QString>("unsignedValue");
        const auto row = [](const char16_t *text, const char *signedValue, const char *unsignedValue) {
            const QString shown = QString::fromUtf16(text);
            QTest::newRow(qPrintable(u'"' + shown + u'"'))
                << shown << QString::fromLatin1(signedValue) << QString::fromLatin1(unsignedValue);
        };
        row(u"0", "0", "0");
        row(u"007", "7", "7");
        row(u"+5", "5", "-");
        row(u"-3", "-3", "-");
        row(u"", "-", "-");
        row(u"+", "-", "-");
        row(u"+-1", "-", "-");
        row(u" 1", "-", "-");
        row(u"1 ", "-", "-");
        row(u"1.0", "-", "-");
        row(u"1e3", "-", "-");
        row(u"0x10", "-", "-");
        row(u"12a", "-", "-");
        row(u"1,000", "-", "-");
        row(u"\uff11", "-", "-"); // full-width digit
        row(u"9223372036854775807", "9223372036854775807", "9223372036854775807");
        row(u"9223372036854775808", "-", "9223372036854775808");
        row(u"-9223372036854775808", "-9223372036854775808", "-");
        row(u"-9223372036854775809", "-", "-");
        row(u"18446744073709551615", "-", "18446744073709551615");
        row(u"18446744073709551616", "-", "-");
        row(u"99999999999999999999999", "-", "-");
    }
    void readsIntegers()
    {
        QFETCH(const QString, text);
        const auto shown = [](const auto &value) {
            return value ? QString::number(*value) : QStringLiteral("-");
        };
        QTEST(shown(text::parseInteger(text)), "signedValue");
        QTEST(shown(text::parseUnsigned(text)), "unsignedValue");
    }

    void decodesUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isWellFormed");
        QTest::addColumn<QString>("text"); // ? stands for U+FFFD
        const auto row = [](const char *name, const QByteArray &bytes, bool isWellFormed,
                            const QString &text) { QTest::newRow(name) << bytes << isWellFormed << text; };
        row("empty", QByteArray(), true, QString());
        row("every length", "a\xc3\xa9\xed\x95\x9c\xf0\x9f\x9a\x97", true, QStringLiteral("aé한🚗"));
        row("zero byte", QByteArray("a\0b", 3), true, QStringLiteral("a\0b"));
        row("byte order mark stays",
            "\xef\xbb\xbf"
            "a",
            true, QStringLiteral("\ufeffa"));
        row("last and non-character", "\xf4\x8f\xbf\xbf\xef\xbf\xbf", true,
            QStringLiteral("\U0010ffff\uffff"));
        row("beyond the last", "\xf4\x90\x80\x80", false, QStringLiteral("????"));
        row("overlong", "\xc0\xaf\xe0\x80\xaf", false, QStringLiteral("?????"));
        row("surrogate", "\xed\xa0\x80", false, QStringLiteral("???"));
        row("cut at the end", "a\xf0\x9f\x9a", false, QStringLiteral("a?"));
        row("cut by another",
            "\xed\x95"
            "a\xf0\x9f\xed\x95\x9c",
            false, QStringLiteral("?a?한"));
        row("lone continuation",
            "a\x9c"
            "b",
            false, QStringLiteral("a?b"));
    }
    void decodesUtf8()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const bool, isWellFormed);
        QFETCH(QString, text);
        text.replace(u'?', QChar::ReplacementCharacter);
        QCOMPARE(text::decodeUtf8Repairing(bytes), text);
        QCOMPARE(text::decodeUtf8Strictly(bytes), isWellFormed ? std::optional(text) : std::nullopt);
    }

    /// Another decoder judges random bytes in the same way.
    void agreesWithQtOnWhatIsWellFormed()
    {
        QRandomGenerator random(7);
        const QByteArray alphabet("a\x80\x9f\xa0\xbf\xc2\xe0\xed\xef\xf0\xf4\xf5");
        for (int round = 0; round < 20000; ++round) {
            QByteArray bytes;
            for (int length = random.bounded(6); length > 0; --length)
                bytes += alphabet[random.bounded(int(alphabet.size()))];
            QStringDecoder decoder(QStringDecoder::Utf8,
                                   QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
            const QString expected = decoder.decode(bytes);
            const auto text = text::decodeUtf8Strictly(bytes);
            QVERIFY2(text.has_value() == !decoder.hasError(), bytes.toHex().constData());
            if (text)
                QCOMPARE(*text, expected);
        }
    }

    void judgesShellWords_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<bool>("isPlain");
        for (const char16_t *word :
             {u"N_20240309_170559.mov", u"mov/normal", u"a-b+c=d,e@f:g%", u"녹화_1.mp4", u"𝟙"})
            QTest::newRow(qPrintable(QString::fromUtf16(word))) << QString::fromUtf16(word) << true;
        QTest::newRow("empty") << QString() << false;
        for (const char16_t c :
             std::u16string_view(u" \t\n$`\"'\\;&|<>(){}[]*?~#!^\u00a0\u3000\u200b\u0001\u007f"))
            QTest::newRow(qPrintable(QStringLiteral("U+%1").arg(int(c), 4, 16, QChar(u'0'))))
                << QStringLiteral("a") + QChar(c) + QStringLiteral("b") << false;
        QTest::newRow("half a pair") << QString(QChar(0xd800)) << false;
    }
    void judgesShellWords()
    {
        QFETCH(const QString, word);
        QTEST(text::isPlainShellWord(word), "isPlain");
    }
};

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
