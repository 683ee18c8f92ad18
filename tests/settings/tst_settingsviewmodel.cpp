#include "settings/settingskeys.h"
#include "settingscard.h"

#include <limits>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr auto maximum = std::numeric_limits<qint64>::max();
constexpr auto minimum = std::numeric_limits<qint64>::min();

QVariantHash fieldsOf(const SettingsViewModel &settings)
{
    QVariantHash fields;
    for (const SettingsKey &key : settingsKeys()) {
        if (key.field && key.kind != SettingsValue::Date)
            fields.insert(QLatin1String(key.field), settings.property(key.field));
    }
    return fields;
}

/// A text for any key: what is right for it, what is right for others, what is right for none.
QByteArray randomText(const SettingsKey &key, QRandomGenerator &random)
{
    static const QList<QByteArray> texts{"",      "0",          "1",
                                         "2",     "+1",         "01",
                                         "-5",    "007",        "4294967296",
                                         "1.0",   "0x10",       "9223372036854775807",
                                         "12a",   "13300",      "-9223372036854775808",
                                         "ab cd", "비밀번호",   "9223372036854775808",
                                         "a=b",   "\"quoted\"", "0000,00,00,00,00,00"};
    if (!key.options.isEmpty() && random.bounded(2) == 0)
        return key.options[random.bounded(int(key.options.size()))].value.toUtf8();
    return texts[random.bounded(int(texts.size()))];
}

QByteArray randomFile(QRandomGenerator &random)
{
    QByteArray text = "[bbox]\n";
    for (const SettingsKey &key : settingsKeys()) {
        for (int line = random.bounded(3); line > 0; --line) // missing, once, twice
            text += key.key.toUtf8() + '=' + randomText(key, random) + '\n';
    }
    return text + "unknown=kept\n";
}

} // namespace

class SettingsViewModelTest : public QObject
{
    Q_OBJECT

    SettingsCard m_card;

private Q_SLOTS:
    void initTestCase() { qputenv("TZ", "KST-9"); } // so that local time is another one than UTC
    void init() { m_card.insert(); }

    void eachFieldStartsWithAValueThatNeedNotBeItsKeysDefault_data()
    {
        QTest::addColumn<QVariant>("first");
        QTest::addColumn<QVariant>("byDefault");
        const auto row = [](const char *field, const QVariant &first, const QVariant &byDefault) {
            QTest::newRow(field) << first << byDefault;
        };
        row("useLdws", true, true);
        row("useFvsa", true, true);
        row("useSafeDrive", true, true);
        row("useHybrid", true, true);
        row("useSecretMode", true, true);
        row("storagePriority", qint64{0}, qint64{0});
        row("isVoiceRecording", true, false);
        row("isVoiceGuide", true, false);
        row("isEffectSound", true, false);
        row("volumeIndex", qint64{3}, qint64{3});
        row("eventSensitivity", qint64{1}, qint64{0});
        row("motionSensitivity", qint64{1}, qint64{0});
        row("isLdws", true, false);
        row("isFvsa", true, false);
        row("isSafeDrive", false, false);
        row("isAdasAlarm", true, false);
        row("ldwsLSensitivity", qint64{1}, qint64{0});
        row("ldwsRSensitivity", qint64{1}, qint64{0});
        row("driveType", qint64{1}, qint64{0});
        row("parkingMode", qint64{1}, qint64{0});
        row("limitVoltIndex", qint64{2}, qint64{2});
        row("lcdOffTimeIndex", qint64{1}, qint64{1});
        row("recQuality", qint64{0}, qint64{0});
        row("recTimeIndex", qint64{1}, qint64{1});
        row("isTimeSyncEnabled", false, false);
        row("gmtIndex", qint64{0}, qint64{12});
        row("isSecretMode", true, false);
        row("wifiSSID", QString(), QString());
        row("wifiPW", QString(), QString());
        row("modelName", QString(), QString());
        row("fwVersion", QString(), QString());
        row("safeDBversion", QString(), QString());
        row("syncTime", QString(), QStringLiteral("0000,00,00,00,00,00"));
    }
    void eachFieldStartsWithAValueThatNeedNotBeItsKeysDefault()
    {
        const char *field = QTest::currentDataTag();
        const auto settings = m_card.load(); // nothing on the card
        QTEST(settings->property(field), "first");
        settings->resetSettings();
        QTEST(settings->property(field), "byDefault");
        QFETCH(const QVariant, first);
        QCOMPARE(settings->property(field).metaType(), first.metaType());
    }

    void theClockValueIsTheMomentOfConstruction()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const auto settings = m_card.load();
        const QDateTime date = settings->property("changedDate").toDateTime();
        QVERIFY(date >= before && date <= QDateTime::currentDateTime());
        settings->loadSettings();
        QCOMPARE(settings->property("changedDate").toDateTime(), date);
    }

    void appliesEachKeyByItsRule_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QByteArray>("cfg"); // null: there is none
        QTest::addColumn<QByteArray>("field");
        QTest::addColumn<QVariant>("value");
        const auto row = [](const char *name, const char *ini, const char *cfg, const char *field,
                            const QVariant &value) {
            QTest::newRow(name) << QByteArray(ini) << QByteArray(cfg) << QByteArray(field) << value;
        };
        row("capability missing", "x=1", "", "useLdws", true);
        row("capability empty", "use_ldws=", "", "useLdws", false);
        row("capability with a sign", "use_ldws=+1", "", "useLdws", true);
        row("capability with a zero", "use_ldws=01", "", "useLdws", true);
        row("capability of another number", "use_ldws=2", "", "useLdws", false);
        row("capability that is no integer", "use_ldws=1.0", "", "useLdws", false);
        row("capability from the ini alone", "use_ldws=0", "use_ldws=1", "useLdws", false);
        row("flag", "", "mic=1", "isVoiceRecording", true);
        row("flag with a sign", "", "mic=+1", "isVoiceRecording", false);
        row("flag with a zero", "", "mic=01", "isVoiceRecording", false);
        row("flag missing", "mic=1", "x=1", "isVoiceRecording", false);
        row("gated flag", "use_fvsa=1", "fvsa=1", "isFvsa", true);
        row("gated flag of another model", "use_fvsa=0", "fvsa=1", "isFvsa", false);
        row("gated flag before its gate in the file", "ldws=1\nuse_ldws=0", nullptr, "isLdws", false);
        row("not gated: the alarm", "use_ldws=0", "adas_alarm=1", "isAdasAlarm", true);
        row("not gated: the secret mode", "use_secret=0", "secret_mode=1", "isSecretMode", true);
        row("integer beyond 32 bits", "", "mem_type=4294967296", "storagePriority", qint64{4294967296});
        row("integer beyond 64 bits", "", "mem_type=9223372036854775808", "storagePriority", 0);
        row("integer malformed", "", "parking_mode=2 1", "parkingMode", 0);
        row("integer missing over the ini's", "event_sens=2", "x=1", "eventSensitivity", 0);
        row("table", "", "volume=88", "volumeIndex", 2);
        row("table, unknown: not the default", "", "volume=50", "volumeIndex", 0);
        row("table, by text and not by number", "", "volume=+60", "volumeIndex", 0);
        row("table, missing over the ini's", "volume=60", "x=1", "volumeIndex", 3);
        row("voltage of a hybrid", "use_hybrid=1", "limit_volt=13300", "limitVoltIndex", 8);
        row("voltage of a hybrid without one", "use_hybrid=0", "limit_volt=12700", "limitVoltIndex", 0);
        row("highest voltage for all", "use_hybrid=0", "limit_volt=12400", "limitVoltIndex", 4);
        row("gmt", "", "gmt=9", "gmtIndex", 21);
        row("gmt negative", "", "gmt=-5", "gmtIndex", 7);
        row("gmt with a sign", "", "gmt=+9", "gmtIndex", 21);
        row("gmt at the limit", "", "gmt=9223372036854775807", "gmtIndex", maximum);
        row("gmt at the other limit", "", "gmt=-9223372036854775808", "gmtIndex", minimum + 12);
        row("text with blanks inside", "", "wifi_ssid_1= a b ", "wifiSSID", QStringLiteral("a b"));
        row("password with =", "", "wifi_sspw_1=a=b", "wifiPW", QString());
        row("clock", "", "sync_time=2020,01,02,03,04,05", "syncTime", QStringLiteral("2020,01,02,03,04,05"));
        row("model from the ini", "model=A", nullptr, "modelName", QStringLiteral("A"));
        row("model missing from the cfg", "model=A", "x=1", "modelName", QString());
        row("byte order mark, CR LF", "", "\xef\xbb\xbfvolume=60\r\nmic=1\r\n", "volumeIndex", 1);
        row("the last line of a key", "", "volume=60\nvolume=88", "volumeIndex", 2);
        row("an empty cfg is one, too", "volume=60", "", "volumeIndex", 3);
    }
    void appliesEachKeyByItsRule()
    {
        QFETCH(const QByteArray, ini);
        QFETCH(const QByteArray, cfg);
        QFETCH(const QByteArray, field);
        m_card.putIni(ini);
        if (!cfg.isNull())
            m_card.putCfg(cfg);
        QTEST(m_card.load()->property(field.constData()), "value");
    }

    void fallsBackToTheCamerasOwnCopy()
    {
        m_card.putCameraCfg("volume=60");
        QCOMPARE(m_card.load()->property("volumeIndex"), QVariant(1));
        m_card.putCfg("volume=88");
        QCOMPARE(m_card.load()->property("volumeIndex"), QVariant(2));
        m_card.putCfg("volume=\xff"); // no text
        QCOMPARE(m_card.load()->property("volumeIndex"), QVariant(1));
    }

    void resetTakesTheFactoryValuesAndLeavesTheRest()
    {
        m_card.putIni("volume=60\ngmt=9");
        m_card.putCfg("volume=88\nmystery=kept");
        const auto settings = m_card.load();
        const QDateTime date(QDate(2026, 3, 4), QTime(20, 6, 7), Qt::UTC);
        settings->setProperty("isTimeSyncEnabled", true);
        settings->setProperty("changedDate", date);
        settings->setProperty("wifiSSID", QStringLiteral("mine"));
        QSignalSpy changed(settings.get(), &SettingsViewModel::volumeIndexChanged);
        settings->resetSettings();
        QCOMPARE(changed.size(), 1);
        QCOMPARE(settings->property("volumeIndex"), QVariant(1));
        QCOMPARE(settings->property("gmtIndex"), QVariant(21));
        QCOMPARE(settings->property("eventSensitivity"), QVariant(0)); // the ini lacks it
        QCOMPARE(settings->property("wifiSSID"), QVariant(QString()));
        QCOMPARE(settings->property("isTimeSyncEnabled"), QVariant(true));
        QCOMPARE(settings->property("changedDate").toDateTime(), date);
        QCOMPARE(m_card.savedCfg(), QByteArray("volume=88\nmystery=kept"));
        settings->saveSettings();
        QVERIFY(m_card.savedCfg().contains("\nmystery=kept\n"));
        QVERIFY(m_card.savedCfg().contains("\nsync_time=2026,03,05,05,06,07\n"));
    }

    void writesEachFieldByItsRule_data()
    {
        QTest::addColumn<QByteArray>("cfg");
        QTest::addColumn<QByteArray>("field"); // to be set; empty: none
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("line"); // of the new file; with "!" in front: no such key
        const auto row = [](const char *name, const char *cfg, const char *field, const QVariant &value,
                            const char *line) {
            QTest::newRow(name) << QByteArray(cfg) << QByteArray(field) << value << QByteArray(line);
        };
        row("mark of the computer", "pc_edit=0", "", {}, "pc_edit=1");
        row("gated flag", "ldws=1", "", {}, "ldws=0"); // see the ini below
        row("gated voltage", "limit_volt=13300", "", {}, "limit_volt=0");
        row("unknown table text", "volume=50", "", {}, "volume=0");
        row("table", "", "lcdOffTimeIndex", 3, "lcd_offtime=300");
        row("no plus sign", "gmt=+9", "", {}, "gmt=9");
        row("lowest gmt", "", "gmtIndex", 0, "gmt=-12");
        row("gmt 0", "", "gmtIndex", 12, "gmt=0");
        row("no zeros in front", "mem_type=007", "", {}, "mem_type=7");
        row("as it came, though no control offers it", "parking_mode=4294967296", "", {},
            "parking_mode=4294967296");
        row("text as typed", "", "wifiPW", QStringLiteral(" a=b 비 "), "wifi_sspw_1= a=b 비 ");
        row("clock only with the switch", "sync_time=2020,01,02,03,04,05", "", {}, "!sync_time");
        row("unknown key", "# mystery = x", "", {}, "# mystery=x");
        row("empty key", "=x", "", {}, "=x");
        row("read-only key", "model=A\nuse_ldws=1", "", {}, "use_ldws=1");
        row("nothing of the ini", "", "", {}, "!factory");
        row("no capability of the ini", "", "", {}, "!use_hybrid");
    }
    void writesEachFieldByItsRule()
    {
        QFETCH(const QByteArray, cfg);
        QFETCH(const QByteArray, field);
        QFETCH(const QVariant, value);
        QFETCH(const QByteArray, line);
        m_card.putIni("use_ldws=0\nuse_hybrid=0\nfactory=1");
        m_card.putCfg(cfg);
        const auto settings = m_card.load();
        if (!field.isEmpty())
            QVERIFY(settings->setProperty(field.constData(), value));
        QSignalSpy closing(settings.get(), &SettingsViewModel::closeRequested);
        settings->saveSettings();
        QCOMPARE(closing.size(), 1);
        const QList<QByteArray> lines = m_card.savedCfg().split('\n');
        QCOMPARE(lines.first(), QByteArray("[bbox]"));
        QVERIFY(!lines.last().isEmpty());
        if (!line.startsWith('!')) {
            QVERIFY2(lines.contains(line), m_card.savedCfg().constData());
            return;
        }
        for (const QByteArray &other : lines)
            QVERIFY2(!other.startsWith(line.mid(1) + '='), other.constData());
    }

    void oneChangeIsOneLine()
    {
        m_card.putCfg("volume=60\r\n zz = 1\n[more]\naa=2\ngmt=9\n");
        m_card.load()->saveSettings();
        const QList<QByteArray> before = m_card.savedCfg().split('\n');
        QCOMPARE(before.mid(0, 6),
                 QList<QByteArray>({"[bbox]", "volume=60", "zz=1", "aa=2", "gmt=9", "pc_edit=1"}));
        const auto settings = m_card.load();
        settings->setProperty("recQuality", 1);
        settings->saveSettings();
        const QList<QByteArray> after = m_card.savedCfg().split('\n');
        QCOMPARE(after.size(), before.size());
        QByteArrayList differing;
        for (qsizetype i = 0; i < after.size(); ++i) {
            if (after[i] != before[i])
                differing.append(after[i]);
        }
        QCOMPARE(differing, QByteArrayList({"rec_qual=1"}));
    }

    void whatWasSavedReadsAsItWas()
    {
        QRandomGenerator random(5);
        for (int round = 0; round < 60; ++round) {
            m_card.putIni(randomFile(random));
            m_card.putCfg(randomFile(random));
            const auto settings = m_card.load();
            settings->setProperty("isTimeSyncEnabled", random.bounded(2) == 1);
            const QVariantHash fields = fieldsOf(*settings);
            settings->saveSettings();
            const QByteArray saved = m_card.savedCfg();
            const auto again = m_card.load();
            QCOMPARE(fieldsOf(*again), fields);
            again->setProperty("isTimeSyncEnabled", settings->property("isTimeSyncEnabled"));
            again->setProperty("changedDate", settings->property("changedDate"));
            again->saveSettings();
            QCOMPARE(m_card.savedCfg(), saved);
        }
    }
};

QTEST_GUILESS_MAIN(SettingsViewModelTest)
#include "tst_settingsviewmodel.moc"
