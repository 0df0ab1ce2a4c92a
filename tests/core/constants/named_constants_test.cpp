#include "core/constants/named_constants.h"
#include "core/constants/table_cipher.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>
#include <cstring>

using namespace sonivert;

namespace {

const QString kIncompleteTable = QStringLiteral("\"COMPANY_NAME\",\"Corvallo\"\r\n"
                                                "\"FOLDER_DATA\",\"Corvallo/Sonivert\"");

// The test program starts itself with this argument to see a missing constant end a process.
constexpr const char *kChildArgument = "--look-up-folder-temp";

QStringList failureMessages;
QList<int> exitCodes;

void recordFailure(const QString &message)
{
    failureMessages.append(message);
}
void recordExit(int code)
{
    exitCodes.append(code);
}

} // namespace

class NamedConstantsTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        failureMessages.clear();
        exitCodes.clear();
        setConstantFailureHandler(recordFailure);
        setConstantProgramEnd(recordExit);
    }

    void cleanup()
    {
        setConstantFailureHandler(nullptr);
        setConstantProgramEnd(nullptr);
    }

    void lookupRules_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");

        const QString table = QStringLiteral("\"COMPANY_NAME\",\"Corvallo\"\r\n"
                                             "\"PRODUCT_NAME\",\" Sonivert \"\r\n"
                                             "\"PATH\",\"a,b\"c\"\r\n"
                                             "\"TWICE\",\"first\"\r\n"
                                             "\"twice\",\"second\"\r\n"
                                             "\"NAME_IN_VALUE\",\"keeps name_in_value out\"");
        QTest::newRow("plain") << table << QStringLiteral("COMPANY_NAME")
                               << QStringLiteral("Corvallo");
        QTest::newRow("key in any case")
            << table << QStringLiteral("company_Name") << QStringLiteral("Corvallo");
        QTest::newRow("value not trimmed")
            << table << QStringLiteral("PRODUCT_NAME") << QStringLiteral(" Sonivert ");
        QTest::newRow("commas and quotes go")
            << table << QStringLiteral("PATH") << QStringLiteral("abc");
        QTest::newRow("first line wins")
            << table << QStringLiteral("twice") << QStringLiteral("first");
        QTest::newRow("every key occurrence goes")
            << table << QStringLiteral("NAME_IN_VALUE") << QStringLiteral("keeps  out");
        QTest::newRow("last line without CRLF") << QStringLiteral("\"A\",\"1\"\r\n\"B\",\"2\"")
                                                << QStringLiteral("B") << QStringLiteral("2");
    }

    void lookupRules()
    {
        QFETCH(QString, table);
        QFETCH(QString, key);
        QFETCH(QString, value);
        QCOMPARE(lookupNamedConstant(table, key), std::optional<QString>(value));
    }

    void keyMustBeQuoted()
    {
        const QString table = QStringLiteral("\"COMPANY_NAME\",\"Corvallo\"");
        QCOMPARE(lookupNamedConstant(table, QStringLiteral("NAME")), std::nullopt);
        QCOMPARE(
            lookupNamedConstant(table, QStringLiteral("Corvallo")), QStringLiteral("COMPANY_NAME"));
        // Lines end at CRLF only; a bare line feed leaves one line.
        QCOMPARE(
            lookupNamedConstant(QStringLiteral("\"A\",\"1\"\n\"B\",\"2\""), QStringLiteral("A")),
            QStringLiteral("1\nB2"));
        QCOMPARE(lookupNamedConstant(QString(), QStringLiteral("A")), std::nullopt);
    }

    void builtInTableHoldsTheProductConstants_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::newRow("company") << QStringLiteral("COMPANY_NAME") << QStringLiteral("Corvallo");
        QTest::newRow("product") << QStringLiteral("PRODUCT_NAME") << QStringLiteral("Sonivert");
        QTest::newRow("version") << QStringLiteral("PRODUCT_VERSION")
                                 << QStringLiteral(SONIVERT_VERSION);
        QTest::newRow("instance mark")
            << QStringLiteral("PRODUCT_ID") << QStringLiteral("Sonivert");
        QTest::newRow("settings key")
            << QStringLiteral("REGISTRY_PRODUCT") << QStringLiteral("Software/Corvallo/Sonivert");
        QTest::newRow("data folder")
            << QStringLiteral("FOLDER_DATA") << QStringLiteral("Corvallo/Sonivert");
        QTest::newRow("temporary folder")
            << QStringLiteral("FOLDER_TEMP") << QStringLiteral("Temp");
    }

    void builtInTableHoldsTheProductConstants()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QCOMPARE(GetNamedConstant(key), value);
        QVERIFY(failureMessages.isEmpty());
        QVERIFY(exitCodes.isEmpty());
    }

    void missingKeyIsFatal()
    {
        const QString hex = encipherTable(kIncompleteTable);
        QCOMPARE(GetNamedConstant(hex, QStringLiteral("FOLDER_DATA")),
            QStringLiteral("Corvallo/Sonivert"));
        QVERIFY(failureMessages.isEmpty());

        QCOMPARE(GetNamedConstant(hex, QStringLiteral("FOLDER_TEMP")), QString());
        QCOMPARE(failureMessages, QStringList { QStringLiteral("FOLDER_TEMP not found!") });
        QCOMPARE(exitCodes, QList<int> { 1 });

        QVERIFY(!GetNamedConstant(QStringLiteral("NO_SUCH_CONSTANT")).size());
        QCOMPARE(failureMessages.last(), QStringLiteral("NO_SUCH_CONSTANT not found!"));
    }

    // A table that cannot be read holds no key at all.
    void unreadableTableFindsNothing()
    {
        const QString hex = encipherTable(kIncompleteTable);
        QCOMPARE(lookupEncipheredConstant(hex, QStringLiteral("COMPANY_NAME")),
            QStringLiteral("Corvallo"));
        QCOMPARE(
            lookupEncipheredConstant(hex.chopped(1), QStringLiteral("COMPANY_NAME")), std::nullopt);
        QCOMPARE(
            lookupEncipheredConstant(hex.left(20), QStringLiteral("COMPANY_NAME")), std::nullopt);
        const QString foreign
            = encipherTable(kIncompleteTable, QStringLiteral("Somebody else's key"));
        QCOMPARE(lookupEncipheredConstant(foreign, QStringLiteral("COMPANY_NAME")), std::nullopt);

        GetNamedConstant(hex.chopped(1), QStringLiteral("COMPANY_NAME"));
        QCOMPARE(failureMessages, QStringList { QStringLiteral("COMPANY_NAME not found!") });
    }

    void missingKeyEndsTheProcess()
    {
        QProcess child;
        child.start(
            QCoreApplication::applicationFilePath(), { QString::fromLatin1(kChildArgument) });
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 1);
        QCOMPARE(child.readAllStandardError(), QByteArray("FOLDER_TEMP not found!\n"));
        QCOMPARE(child.readAllStandardOutput(), QByteArray());
    }
};

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], kChildArgument) == 0) {
        // The default handlers: message to stderr, then the end of the process.
        GetNamedConstant(encipherTable(kIncompleteTable), QStringLiteral("FOLDER_TEMP"));
        std::puts("still running");
        return 0;
    }
    QCoreApplication app(argc, argv);
    NamedConstantsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "named_constants_test.moc"
