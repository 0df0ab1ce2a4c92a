#include "support/cli_runner.h"

#include <QTest>

using sonivert::test::CliRun;
using sonivert::test::runCli;

class CliMainTest : public QObject
{
    Q_OBJECT

private slots:
    void versionNamesTheBuild()
    {
        for (const char *flag : { "--version", "-v" }) {
            const CliRun r = runCli({ QLatin1String(flag) });
            QCOMPARE(r.exitCode, 0);
            QCOMPARE(r.text(), QStringLiteral("sonivert-cli " SONIVERT_VERSION "\n"));
        }
    }

    void helpListsUsageAndExitCodes()
    {
        const CliRun r = runCli({ QStringLiteral("--help") });
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.text().startsWith(QStringLiteral("Usage: sonivert-cli COMMAND")));
        QVERIFY(r.text().contains(QStringLiteral("2 usage error")));
        QVERIFY(r.err.isEmpty());
    }

    void usageErrorsExitWithTwo()
    {
        CliRun r = runCli({});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains(QStringLiteral("Usage:")));
        QVERIFY(r.out.isEmpty());

        r = runCli({ QStringLiteral("transmogrify") });
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.startsWith(QStringLiteral("sonivert-cli: unknown command 'transmogrify'")));
    }
};

QTEST_GUILESS_MAIN(CliMainTest)
#include "cli_main_test.moc"
