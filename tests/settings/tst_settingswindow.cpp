// The real window over real files, used as a person does, and drawn without a display.
#include "settings/settingswindow.h"
#include "settingscard.h"
#include "support/logcapture.h"
#include "window/windowprobe.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQuickStyle>
#include <QTest>

namespace {

constexpr QSize designSize(1100, 780); // the test's screen is smaller

} // namespace

class SettingsWindowTest : public QObject
{
    Q_OBJECT

    SettingsCard m_card;
    QQmlEngine m_engine;
    std::unique_ptr<QObject> m_parent;
    std::unique_ptr<SettingsWindow> m_settings;

    [[nodiscard]] QQuickWindow *window() const { return m_settings->window(); }
    [[nodiscard]] WindowProbe probe() const { return WindowProbe(*window()); }
    void show() { m_settings->show(qobject_cast<QQuickWindow *>(m_parent.get())); }
    void open(const QByteArray &ini, const QByteArray &cfg)
    {
        m_card.putIni(ini);
        m_card.putCfg(cfg);
        show();
        QVERIFY(window());
        window()->setMinimumSize(designSize);
        window()->setMaximumSize(designSize);
        window()->resize(designSize);
        QVERIFY(QTest::qWaitForWindowActive(window()));
    }
    [[nodiscard]] QQuickItem *control(QAccessible::Role role, const char *name) const
    {
        return probe().find(role, QString::fromUtf8(name));
    }
    void click(QAccessible::Role role, const char *name) const
    {
        QQuickItem *item = control(role, name);
        QVERIFY2(item, name);
        probe().click(item);
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        QTest::keyClick(window(), key, modifiers);
    }
    void type(const char *keys) const
    {
        for (const char *key = keys; *key; ++key)
            QTest::keyClick(window(), *key);
    }
    void save() const
    {
        click(QAccessible::Button, "저장");
        QVERIFY(!window());
    }
    [[nodiscard]] QByteArray saved(const QByteArray &key) const
    {
        for (const QByteArray &line : m_card.savedCfg().split('\n')) {
            if (line.startsWith(key + '='))
                return line.mid(key.size() + 1);
        }
        return "(none)";
    }

private Q_SLOTS:
    void initTestCase()
    {
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        m_engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
        QQmlComponent component(&m_engine);
        component.setData("import QtQuick\nWindow { width: 300; height: 200; visible: true }", QUrl());
        m_parent.reset(component.create());
        QVERIFY(m_parent);
    }
    void init()
    {
        m_card.insert();
        m_settings = std::make_unique<SettingsWindow>(m_card.files());
    }

    void everythingHasANameAndIsReachedInItsOrder()
    {
        open("x=1", "parking_mode=2\ndrive_type=1\nmem_type=2");
        QStringList nameless = probe().controlsWithoutName();
        nameless.removeAll(QStringLiteral("QQuickTextField")); // how the style draws a picker's text
        QCOMPARE(nameless, QStringList());
        click(QAccessible::CheckBox, "PC 시간 동기화");
        probe().click(control(QAccessible::RadioButton, "주차우선"));
        QStringList names;
        do {
            names.append(WindowProbe::nameOf(window()->activeFocusItem()));
            press(Qt::Key_Tab);
        } while (names.size() < 60 && WindowProbe::nameOf(window()->activeFocusItem()) != names.first());
        const QString expected = QStringLiteral("주차우선/음성 녹음/음성 안내/효과음/시스템 볼륨/이벤트 "
                                                "감도/모션 감도/차선이탈감지 기능/앞차출발알림 기능/"
                                                "안전운전도우미/ADAS알림음/좌측/우측/타임랩스/타임랩스/"
                                                "세계표준시(시간)/전압설정(V)/LCD시간/녹화화질/"
                                                "녹화시간/PC 시간 동기화/날짜 년/날짜 월/날짜 일/시간 "
                                                "시/시간 분/시크릿 모드/SSID/암호/설정 초기화/저장");
        QCOMPARE(names, expected.split(u'/'));
    }

    void capabilitiesEnableTheirControls_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("disabled");
        QTest::addColumn<int>("voltages");
        QTest::addColumn<bool>("hasSecretMode");
        QTest::newRow("all") << QByteArray("x=1") << QString() << 9 << true;
        QTest::newRow("no lane departure")
            << QByteArray("use_ldws=0") << QStringLiteral("차선이탈감지 기능") << 9 << true;
        QTest::newRow("no start alert")
            << QByteArray("use_fvsa=0") << QStringLiteral("앞차출발알림 기능") << 9 << true;
        QTest::newRow("no assistant")
            << QByteArray("use_safe_drive=0") << QStringLiteral("안전운전도우미") << 9 << true;
        QTest::newRow("no hybrid") << QByteArray("use_hybrid=0") << QString() << 5 << true;
        QTest::newRow("no secret mode") << QByteArray("use_secret=0") << QString() << 9 << false;
    }
    void capabilitiesEnableTheirControls()
    {
        QFETCH(const QByteArray, ini);
        open(ini, "ldws=1\nfvsa=1\nsafe_drive=1\nlimit_volt=12000\nsecret_mode=1");
        QStringList disabled;
        const QList<QQuickItem *> boxes = probe().all(QAccessible::CheckBox);
        for (QQuickItem *box : boxes) {
            if (box->isEnabled())
                continue;
            disabled.append(WindowProbe::nameOf(box));
            QVERIFY(!box->property("checked").toBool());
        }
        QTEST(disabled.join(u'/'), "disabled");
        QQuickItem *voltage = control(QAccessible::ComboBox, "전압설정(V)");
        QTEST(voltage->property("count").toInt(), "voltages");
        QCOMPARE(voltage->property("displayText").toString(), QStringLiteral("12.0v / 24.0v"));
        QTEST(control(QAccessible::CheckBox, "시크릿 모드") != nullptr, "hasSecretMode");
        QVERIFY(control(QAccessible::Slider, "좌측")->isEnabled());
        QVERIFY(!control(QAccessible::EditableText, "날짜 년")->isEnabled());
        save();
        QCOMPARE(saved("secret_mode"), QByteArray("1")); // with its control or without
    }

    void whatNoControlOffersIsShownAsNothingAndKept()
    {
        const QByteArray odd = "mem_type=9\nevent_sens=7\nldws_l=-3\nldws_r=4294967296\ndrive_type=5\n"
                               "parking_mode=4294967297\nrec_qual=2\ngmt=30";
        open("x=1", odd);
        for (const char *name : {"세계표준시(시간)", "녹화화질"}) {
            QCOMPARE(control(QAccessible::ComboBox, name)->property("currentIndex"), QVariant(-1));
            QCOMPARE(control(QAccessible::ComboBox, name)->property("displayText"), QVariant(QString()));
        }
        for (QQuickItem *option : probe().all(QAccessible::RadioButton))
            QVERIFY2(!WindowProbe::stateOf(option).checked, qPrintable(WindowProbe::nameOf(option)));
        QCOMPARE(probe().all(QAccessible::RadioButton).size(), 10);
        QCOMPARE(control(QAccessible::Slider, "이벤트 감도")->property("value"), QVariant(2.0));
        QCOMPARE(control(QAccessible::Slider, "좌측")->property("value"), QVariant(0.0));
        QCOMPARE(control(QAccessible::Slider, "우측")->property("value"), QVariant(4.0));
        save();
        QVERIFY2(m_card.savedCfg().startsWith("[bbox]\n" + odd + '\n'), m_card.savedCfg().constData());
    }

    void eachControlChangesItsOwnField()
    {
        open("x=1", "mic=0\nvolume=60\nldws_l=4\nparking_mode=1\nlimit_volt=0\ngmt=0\nmystery=kept");
        click(QAccessible::CheckBox, "음성 녹음");
        click(QAccessible::RadioButton, "사용안함(블랙박스 종료)");
        press(Qt::Key_Left); // to the option before
        click(QAccessible::RadioButton, "주행우선2");
        control(QAccessible::Slider, "시스템 볼륨")->forceActiveFocus();
        press(Qt::Key_Right);
        control(QAccessible::Slider, "좌측")->setProperty("value", 1.0); // as a screen reader does
        QQuickItem *voltage = control(QAccessible::ComboBox, "전압설정(V)");
        voltage->forceActiveFocus();
        press(Qt::Key_Down);
        press(Qt::Key_Down);
        QCOMPARE(voltage->property("displayText").toString(), QStringLiteral("12.0v / 24.0v"));
        QGuiApplication::clipboard()->setText(QStringLiteral("ab\r\nc\u2028d"));
        control(QAccessible::EditableText, "SSID")->forceActiveFocus();
        press(Qt::Key_V, Qt::ControlModifier);
        type("!");
        save();
        QCOMPARE(saved("mic"), QByteArray("1"));
        QCOMPARE(saved("parking_mode"), QByteArray("3"));
        QCOMPARE(saved("mem_type"), QByteArray("1"));
        QCOMPARE(saved("volume"), QByteArray("88"));
        QCOMPARE(saved("ldws_l"), QByteArray("1"));
        QCOMPARE(saved("limit_volt"), QByteArray("12000"));
        QCOMPARE(saved("wifi_ssid_1"), QByteArray("abcd!"));
        QCOMPARE(saved("gmt"), QByteArray("0")); // not touched
        QCOMPARE(saved("mystery"), QByteArray("kept"));
        QCOMPARE(saved("sync_time"), QByteArray("(none)"));
    }

    void dateAndTimeAreTypedAndStepped()
    {
        open("x=1", "x=1");
        click(QAccessible::CheckBox, "PC 시간 동기화");
        const auto enter = [this](const char *part, const char *digits) {
            control(QAccessible::EditableText, part)->forceActiveFocus(Qt::TabFocusReason);
            type(digits);
        };
        enter("날짜 년", "2024");
        enter("날짜 월", "1");
        enter("날짜 일", "31");
        enter("날짜 월", "02"); // the day follows: it has 29
        enter("시간 시", "0");
        press(Qt::Key_Down); // round
        enter("시간 분", "99"); // no such minute: the last that made sense stays
        press(Qt::Key_Tab);
        QCOMPARE(control(QAccessible::EditableText, "날짜 일")->property("text").toString(),
                 QStringLiteral("29"));
        QCOMPARE(control(QAccessible::EditableText, "시간 시")->property("text").toString(),
                 QStringLiteral("23"));
        QCOMPARE(control(QAccessible::EditableText, "시간 분")->property("text").toString(),
                 QStringLiteral("09"));
        enter("날짜 일", "");
        click(QAccessible::Button, "날짜 올리기"); // from the last day to the first
        save();
        const QByteArrayList parts = saved("sync_time").split(',');
        QCOMPARE(parts.mid(0, 5), QByteArrayList({"2024", "02", "01", "23", "09"}));
        QCOMPARE(parts.last().size(), 2);
    }

    void barsGlideToTheChosenSplit()
    {
        open("x=1", "mem_type=0");
        const auto percents = [this] {
            QStringList texts;
            for (QQuickItem *bar : probe().all(QAccessible::ProgressBar))
                texts.append(WindowProbe::descriptionOf(bar));
            return texts.join(u' ');
        };
        QTRY_COMPARE(percents(), QStringLiteral("50% 25% 20% 5%"));
        click(QAccessible::RadioButton, "주차우선");
        QCOMPARE(percents(), QStringLiteral("50% 25% 20% 5%")); // not at once
        QTRY_COMPARE(percents(), QStringLiteral("30% 45% 20% 5%"));
        click(QAccessible::RadioButton, "이벤트우선");
        QTRY_COMPARE(percents(), QStringLiteral("30% 20% 45% 5%"));
    }

    void oneWindowAtATimeThatKeepsItsEditsWhileItIsOpen()
    {
        LogCapture log;
        open("x=1", "mic=0");
        click(QAccessible::CheckBox, "음성 녹음");
        QQuickWindow *first = window();
        show();
        QCOMPARE(window(), first);
        QVERIFY(control(QAccessible::CheckBox, "음성 녹음")->property("checked").toBool());
        QCOMPARE(first->transientParent(), qobject_cast<QWindow *>(m_parent.get()));
        QCOMPARE(first->title(), QStringLiteral("블랙박스 설정"));
        first->close();
        QVERIFY(!window());
        QCOMPARE(log.lines().last(), QStringLiteral("[SettingsWindow] windowWillClose"));
        QCOMPARE(m_card.savedCfg(), QByteArray("mic=0"));
        open("x=1", "mic=0\nvoice_alarm=1"); // another one, which reads again
        QVERIFY(!control(QAccessible::CheckBox, "음성 녹음")->property("checked").toBool());
        QVERIFY(control(QAccessible::CheckBox, "음성 안내")->property("checked").toBool());
        m_card.remove();
        save();
        QVERIFY(log.lines().contains(QStringLiteral("[FileExtractor] getSDCardPath failed")));
    }

    void aSmallScreenScrollsTheFormAndKeepsTheButtons()
    {
        show();
        const QSize screen = window()->screen()->availableSize();
        QVERIFY(screen.height() < designSize.height() + 40 && window()->height() < screen.height());
        QVERIFY(QTest::qWaitForWindowActive(window()));
        const QRectF whole({}, window()->size());
        QVERIFY(whole.contains(probe().areaOf(control(QAccessible::Button, "저장"))));
        QQuickItem *last = control(QAccessible::RadioButton, "모션인식");
        window()->setMinimumSize({});
        window()->resize(900, 600);
        QTRY_COMPARE(window()->contentItem()->height(), 600);
        QVERIFY(probe().areaOf(last).bottom() > 540);
        last->forceActiveFocus(Qt::TabFocusReason);
        QTRY_VERIFY(probe().areaOf(last).bottom() < 540);
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "tst_settingswindow.moc"
