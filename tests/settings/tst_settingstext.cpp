#include "settings/text/settingstext.h"

#include <QTest>

class SettingsTextTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void takesEachLineWithOneEqualsSign_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<SettingsDictionary>("settings");
        const auto row = [](const char *name, const QString &text, const SettingsDictionary &settings) {
            QTest::newRow(name) << text << settings;
        };
        const SettingsDictionary ab{{QStringLiteral("a"), QStringLiteral("1")},
                                    {QStringLiteral("b"), QStringLiteral("2")}};
        row("nothing", QString(), {});
        row("section line", QStringLiteral("[bbox]\nvolume=60"),
            {{QStringLiteral("volume"), QStringLiteral("60")}});
        row("sections share their keys", QStringLiteral("[x]\na=0\n[y]\na=1\nb=2"), ab);
        row("CR LF", QStringLiteral("a=1\r\nb=2\r\n"), ab);
        for (const char16_t newline : std::u16string_view(u"\n\v\f\r\u0085\u2028\u2029"))
            row(qPrintable(QStringLiteral("line end U+%1").arg(int(newline), 4, 16, QChar(u'0'))),
                QStringLiteral("a=1") + QChar(newline) + QStringLiteral("b=2"), ab);
        row("a separator that ends no line", QStringLiteral("a=1\u001cb"),
            {{QStringLiteral("a"), QStringLiteral("1\u001cb")}});
        row("blanks of all kinds", QStringLiteral(" \ta\u00a0 = \u30001\u2003\t\nb=2"), ab);
        row("blanks inside stay", QStringLiteral("a b = c  d"),
            {{QStringLiteral("a b"), QStringLiteral("c  d")}});
        row("a control character is no blank", QStringLiteral("a=\u001f"),
            {{QStringLiteral("a"), QStringLiteral("\u001f")}});
        row("a second = drops the line, not the earlier one", QStringLiteral("a=1\na=b=c\nb=2\na=="), ab);
        row("the last one counts", QStringLiteral("a=0\nb=2\na=1"), ab);
        row("empty value, empty key", QStringLiteral("a=\n=b"),
            {{QStringLiteral("a"), QString()}, {QString(), QStringLiteral("b")}});
        row("no comments, no quotes", QStringLiteral("#a = \"1\""),
            {{QStringLiteral("#a"), QStringLiteral("\"1\"")}});
        row("composed and decomposed are two keys", QStringLiteral("\u00e9=1\ne\u0301=2"),
            {{QStringLiteral("\u00e9"), QStringLiteral("1")},
             {QStringLiteral("e\u0301"), QStringLiteral("2")}});
    }
    void takesEachLineWithOneEqualsSign()
    {
        QFETCH(const QString, text);
        QTEST(parseSettings(text), "settings");
    }
};

QTEST_GUILESS_MAIN(SettingsTextTest)
#include "tst_settingstext.moc"
