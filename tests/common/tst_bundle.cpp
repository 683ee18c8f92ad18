#include "common/bundle.h"

#include <QTest>

class BundleTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fallsBackOnlyForMissingOrForeignValues()
    {
        QCOMPARE(applicationName({}), QStringLiteral("Unknown App"));
        QCOMPARE(applicationName({{QStringLiteral("CFBundleName"), QStringLiteral("B")}}),
                 QStringLiteral("B"));
        QCOMPARE(applicationName({{QStringLiteral("CFBundleDisplayName"), QString()},
                                  {QStringLiteral("CFBundleName"), QStringLiteral("B")}}),
                 QString());
        QCOMPARE(shortVersion({{QStringLiteral("CFBundleShortVersionString"), 7}}), QStringLiteral("N/A"));
        QCOMPARE(buildVersion({}), QStringLiteral("N/A"));
    }
};

QTEST_GUILESS_MAIN(BundleTest)
#include "tst_bundle.moc"
