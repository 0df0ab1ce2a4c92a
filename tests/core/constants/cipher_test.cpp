#include "core/constants/cipher_front_end.h"
#include "core/constants/stop_processing.h"
#include "core/constants/stream_cipher.h"
#include "core/constants/table_cipher.h"

#include <QTest>
#include <cstdint>

using namespace sonivert;

namespace {

QByteArray sample(int length)
{
    QByteArray data;
    for (int i = 0; i < length; ++i)
        data.append(static_cast<char>((i * 131 + 7) & 0xff));
    return data;
}

QByteArray runEnc1(const QByteArray &data, int keyLength, int rounds, bool encrypt = true)
{
    Enc1 cipher;
    cipher.setKeyLength(keyLength);
    cipher.setEncryptRounds(rounds);
    cipher.setPassword(QByteArray("0123456789"));
    QByteArray out = data;
    if (!cipher.ArcFour_String(out, encrypt))
        return QByteArray("failed");
    return out;
}

// The trailer's bytes are XORed with their index plus 12; underneath is a little-endian 64-bit
// count of ten-thousandths.
std::int64_t unmaskedTrailer(const QByteArray &container)
{
    const QByteArray trailer = container.right(8);
    std::uint64_t value = 0;
    for (int x = 7; x >= 0; --x)
        value = (value << 8)
            | (static_cast<std::uint8_t>(trailer[x]) ^ static_cast<std::uint8_t>(x + 12));
    return static_cast<std::int64_t>(value);
}

Enc5 tableCipher(const QString &password)
{
    Enc5 cipher;
    cipher.setStopProcessing(false);
    cipher.setPassword(password);
    cipher.setKeyLength(8);
    cipher.setCipherRounds(5);
    return cipher;
}

} // namespace

class CipherTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { setStopProcessing(false); }
    void cleanup() { setStopProcessing(false); }

    void roundTrip_data()
    {
        QTest::addColumn<int>("length");
        for (int length : { 1, 2, 7, 8, 9, 255, 256, 257, 1000 })
            QTest::addRow("%d bytes", length) << length;
    }

    void roundTrip()
    {
        QFETCH(int, length);
        const QByteArray plain = sample(length);

        Enc5 sender = tableCipher(QStringLiteral("Unable to load record."));
        QByteArray data = plain;
        QVERIFY(sender.EncryptString(data));
        QCOMPARE(data.size(), length + 8);
        QVERIFY(data.left(length) != plain);

        Enc5 receiver = tableCipher(QStringLiteral("Unable to load record."));
        QVERIFY(receiver.DecryptString(data));
        QCOMPARE(data, plain);
    }

    void trailerRecordsTheHighestIndex()
    {
        Enc5 cipher = tableCipher(QStringLiteral("Unable to load record."));
        QByteArray data = sample(1000);
        QVERIFY(cipher.EncryptString(data));
        QCOMPARE(unmaskedTrailer(data), std::int64_t { 999 * 10000 });

        QByteArray one = "A";
        QVERIFY(cipher.EncryptString(one));
        QCOMPARE(one.right(8).toHex(), QByteArray("0c0d0e0f10111213"));
    }

    // Literal outputs, so any change to the key preparation, schedule, passes or trailer shows.
    void fixedVectors()
    {
        QCOMPARE(encipherTable(
                     QStringLiteral("\"KEY\",\"Value\""), QStringLiteral("Unable to load record.")),
            QStringLiteral("2698EC6489984C53A96734A109CCD90F0F10111213"));
        QCOMPARE(
            runEnc1("Hello", 256, 1).toHex().toUpper(), QByteArray("76369DBB194C910E0F10111213"));
        // 1024 bits need more key bytes than the 10-byte password: the rest comes from its
        // schedule.
        QCOMPARE(
            runEnc1("Hello", 1024, 3).toHex().toUpper(), QByteArray("14CBFF7FB44C910E0F10111213"));
        QCOMPARE(runEnc1(QByteArray::fromHex("14CBFF7FB44C910E0F10111213"), 1024, 3, false),
            QByteArray("Hello"));
    }

    // Key lengths the cipher does not list and rounds outside 1 to 10 fall
    // back to 128 bits and one round.
    void keyLengthAndRoundsSettings()
    {
        const QByteArray plain = sample(40);
        const QByteArray with128 = runEnc1(plain, 128, 1);
        for (int bits : { 8, 100, 0, 480, 1025 })
            QCOMPARE(runEnc1(plain, bits, 1), with128);
        QVERIFY(runEnc1(plain, 256, 1) != with128);
        QCOMPARE(runEnc1(plain, 128, 0), with128);
        QCOMPARE(runEnc1(plain, 128, 11), with128);
        QVERIFY(runEnc1(plain, 128, 2) != with128);
        QVERIFY(runEnc1(plain, 128, 10) != with128);
    }

    void progressAfterEveryPass()
    {
        Enc1 cipher;
        cipher.setPassword(QStringLiteral("  secret words  "));
        QCOMPARE(cipher.Password(), QByteArray("secret words"));
        cipher.setEncryptRounds(4);
        QList<int> passes;
        cipher.setProgressHandler([&passes](int pass, int count) {
            QCOMPARE(count, 4);
            passes.append(pass);
        });
        QByteArray data = "payload";
        QVERIFY(cipher.ArcFour_String(data, true));
        QCOMPARE(passes, QList<int>({ 1, 2, 3, 4 }));
    }

    void damagedContainersFail()
    {
        Enc5 sender = tableCipher(QStringLiteral("Unable to load record."));
        QByteArray good = sample(30);
        QVERIFY(sender.EncryptString(good));

        const auto decrypts = [](QByteArray data) {
            Enc5 receiver = tableCipher(QStringLiteral("Unable to load record."));
            return receiver.DecryptString(data);
        };
        QVERIFY(decrypts(good));
        QVERIFY(!decrypts(good.left(good.size() - 1))); // body one byte short of the trailer
        QVERIFY(!decrypts(good.left(7))); // not even a trailer
        QVERIFY(!decrypts(QByteArray(1, 'x') + good)); // one byte too many
        QByteArray trailer = good;
        trailer[trailer.size() - 8] = static_cast<char>(trailer[trailer.size() - 8] ^ 1);
        QVERIFY(!decrypts(trailer)); // not a whole index any more
    }

    void passwordRules()
    {
        Enc5 cipher;
        QVERIFY(!cipher.setPassword(QStringLiteral("short6")));
        QVERIFY(!cipher.setPassword(QString(50, QLatin1Char('p'))));
        QVERIFY(cipher.setPassword(QString(49, QLatin1Char('p'))));
        QVERIFY(cipher.setPassword(QStringLiteral("  eight!!!  ")));

        QByteArray data = "table";
        QVERIFY(cipher.EncryptString(data));

        // Seven characters are taken as a password but are too few to encipher with.
        QVERIFY(cipher.setPassword(QStringLiteral("seven77")));
        data = "table";
        QVERIFY(!cipher.EncryptString(data));
    }

    void failureRaisesTheSharedStopFlag()
    {
        Enc5 cipher = tableCipher(QStringLiteral("Unable to load record."));
        QByteArray empty;
        QVERIFY(!cipher.EncryptString(empty));
        QVERIFY(StopProcessing());

        // Every other cipher object now refuses until the flag is lowered.
        QByteArray data = "payload";
        QCOMPARE(runEnc1(data, 128, 1), QByteArray("failed"));
        Enc5 other = tableCipher(QStringLiteral("Unable to load record."));
        QVERIFY(other.EncryptString(data));
    }

    void unknownCipherMethodFails()
    {
        Enc5 cipher = tableCipher(QStringLiteral("Unable to load record."));
        cipher.setCipherMethod(1);
        QByteArray data = "payload";
        QVERIFY(!cipher.EncryptString(data));
    }

    void hexText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("plain") << QStringLiteral("00ff7A") << true << QByteArray::fromHex("00ff7a");
        QTest::newRow("prefix and blanks")
            << QStringLiteral("  &h0A0b \r\n") << true << QByteArray("\n\x0b");
        QTest::newRow("empty") << QStringLiteral("   ") << true << QByteArray();
        QTest::newRow("odd length") << QStringLiteral("ABC") << false << QByteArray();
        QTest::newRow("bad digit") << QStringLiteral("0G") << false << QByteArray();
        QTest::newRow("sign") << QStringLiteral("-1") << false << QByteArray();
        QTest::newRow("inner blank") << QStringLiteral("0A 0B") << false << QByteArray();
    }

    void hexText()
    {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(QByteArray, bytes);
        const std::optional<QByteArray> decoded = decodeHexText(text);
        QCOMPARE(decoded.has_value(), valid);
        if (valid)
            QCOMPARE(*decoded, bytes);
    }

    void tableRoundTrip()
    {
        const QString table = QStringLiteral("\"A\",\"1\"\r\n\"B\",\"caf\u00e9 \"");
        const QString hex = encipherTable(table);
        QVERIFY(!hex.isEmpty());
        QCOMPARE(hex, hex.toUpper());
        QCOMPARE(DecipherTable(hex), table);
        QCOMPARE(DecipherTable(QStringLiteral("&H") + hex.toLower()), table);
    }

    void tableTextStopsAtNul()
    {
        const QString hex
            = encipherTable(QStringLiteral("kept") + QChar(0) + QStringLiteral("dropped"));
        QCOMPARE(DecipherTable(hex), QStringLiteral("kept"));
    }

    void unreadableTablesGiveEmptyText()
    {
        const QString hex = encipherTable(QStringLiteral("\"KEY\",\"Value\""));
        QVERIFY(DecipherTable(hex.chopped(1)).isEmpty()); // odd length
        QVERIFY(DecipherTable(hex.chopped(2) + QStringLiteral("ZZ")).isEmpty()); // bad digits
        QVERIFY(DecipherTable(hex.chopped(2)).isEmpty()); // trailer cut
        QVERIFY(DecipherTable(QString()).isEmpty());
        QVERIFY(DecipherTable(QStringLiteral("&H")).isEmpty());
        // A failure leaves the stop flag raised; the next table lowers it again.
        QVERIFY(StopProcessing());
        QVERIFY(!DecipherTable(hex).isEmpty());
    }

    // The trailer is not keyed, so another password still "deciphers": to noise.
    void wrongPasswordGivesOtherText()
    {
        const QString table = QStringLiteral("\"KEY\",\"Value\"");
        const QString hex = encipherTable(table, QStringLiteral("Not the program's password"));
        QVERIFY(!hex.isEmpty());
        QVERIFY(DecipherTable(hex) != table);
        QVERIFY(!DecipherTable(hex).contains(QLatin1String("KEY")));
        QVERIFY(encipherTable(table, QStringLiteral("short")).isEmpty());
    }
};

QTEST_GUILESS_MAIN(CipherTest)
#include "cipher_test.moc"
