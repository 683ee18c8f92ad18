// The real window over real files, used as a person does, and drawn without a display.
#include "settings/settingswindow.h"
#include "settingscard.h"
#include "style/style.h"
#include "support/logcapture.h"
#include "window/windowprobe.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QTest>

namespace {

/// All that assistive technologies get to know of a thing and of those inside it.
QString readOut(QAccessibleInterface *thing)
{
    QString text;
    for (const auto kind : {QAccessible::Name, QAccessible::Description, QAccessible::Value})
        text += thing->text(kind) + u' ';
    if (QAccessibleTextInterface *content = thing->textInterface())
        text += content->text(0, content->characterCount()) + u' ';
    for (int i = 0; i < thing->childCount(); ++i)
        text += readOut(thing->child(i));
    return text;
}

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
    void save() const
    {
        click(QAccessible::Button, "저장");
        QVERIFY(!window());
    }

private Q_SLOTS:
    void initTestCase()
    {
        applyStyle();
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
        QCOMPARE(probe().controlsWithoutName(), QStringList());
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

    void whatIsPastedStaysOnOneLine()
    {
        open("x=1", "wifi_ssid_1=ab");
        QGuiApplication::clipboard()->setText(QStringLiteral("c\r\nd\n\v\f\u0085\u2028\u2029e"));
        QQuickItem *field = control(QAccessible::EditableText, "SSID");
        field->forceActiveFocus();
        press(Qt::Key_Home);
        press(Qt::Key_V, Qt::ControlModifier);
        press(Qt::Key_Exclam);
        QCOMPARE(field->property("text").toString(), QStringLiteral("cde!ab"));
        save();
        QVERIFY2(m_card.savedCfg().contains("\nwifi_ssid_1=cde!ab\n"), m_card.savedCfg().constData());
    }

    void thePasswordIsNotReadOut()
    {
        open("x=1", "wifi_sspw_1=hush7");
        QQuickItem *field = control(QAccessible::EditableText, "암호");
        field->forceActiveFocus(Qt::TabFocusReason);
        press(Qt::Key_End);
        press(Qt::Key_8);
        QVERIFY(WindowProbe::stateOf(field).focused);
        QCOMPARE(QAccessible::queryAccessibleInterface(field)->text(QAccessible::Value), QString(6, u'●'));
        QVERIFY(!readOut(QAccessible::queryAccessibleInterface(window())).contains(u"hush"));
        save();
        QVERIFY(m_card.savedCfg().contains("\nwifi_sspw_1=hush78\n"));
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
    }

    void theCardThatIsInAtTheSaveHasToBeTheOneThatWasRead_data()
    {
        QTest::addColumn<QByteArray>(
            "ini"); // of the card that is in at the end; null: nothing read of it yet
        QTest::addColumn<QByteArray>("cfg"); // null: no card
        QTest::addColumn<bool>("isSaved");
        QTest::newRow("pulled") << QByteArray() << QByteArray() << false;
        QTest::newRow("the same one again") << QByteArray("use_ldws=0") << QByteArray("mic=0") << true;
        QTest::newRow("the same one, still being read") << QByteArray() << QByteArray("mic=0") << true;
        QTest::newRow("another one") << QByteArray("use_ldws=0") << QByteArray("volume=88") << false;
        QTest::newRow("one of another model") << QByteArray("use_fvsa=0") << QByteArray("mic=0") << false;
    }
    void theCardThatIsInAtTheSaveHasToBeTheOneThatWasRead()
    {
        QFETCH(const QByteArray, ini);
        QFETCH(const QByteArray, cfg);
        open("use_ldws=0", "mic=0");
        click(QAccessible::CheckBox, "음성 녹음");
        m_card.remove();
        m_settings->cardChanged();
        if (!cfg.isNull()) {
            m_card.insert();
            if (!ini.isNull())
                m_card.putIni(ini);
            m_card.putCfg(cfg);
            m_settings->cardChanged();
        }
        LogCapture log;
        save();
        QTEST(m_card.savedCfg().contains("\nmic=1\n"), "isSaved");
        QTEST(m_card.savedCfg() != (cfg.isNull() ? "mic=0" : cfg), "isSaved");
        QTEST(log.lines().filter(QStringLiteral(" failed")).isEmpty(), "isSaved");
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
