#include "core/constants/key_derivation.h"
#include "core/constants/sha2.h"
#include "core/constants/sha2_words.h"
#include "core/constants/stop_processing.h"

#include <QCryptographicHash>
#include <QTest>

using namespace sonivert;

namespace {

QByteArray hex(const QByteArray &digest)
{
    return digest.toHex();
}

QByteArray sha(int method, const QByteArray &data)
{
    Enc2 sha;
    sha.setHashMethod(method);
    return hex(sha.HashString(data));
}

} // namespace

class Sha2Test : public QObject
{
    Q_OBJECT

private slots:
    void init() { setStopProcessing(false); }
    void cleanup() { setStopProcessing(false); }

    void publishedVectors_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("sha224");
        QTest::addColumn<QByteArray>("sha256");

        QTest::newRow("abc") << QByteArray(
            "abc") << QByteArray("23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7")
                             << QByteArray(
                                    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f"
                                    "20015ad");
        QTest::newRow("empty") << QByteArray()
                               << QByteArray(
                                      "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f")
                               << QByteArray(
                                      "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7"
                                      "852b855");
        QTest::newRow("448 bits, two blocks")
            << QByteArray("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")
            << QByteArray("75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525")
            << QByteArray("248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
        QTest::newRow("one million a")
            << QByteArray(1000000, 'a')
            << QByteArray("20794655980c91d8bbb4c1ea97618a4bf03f42581948b2ee4ee7ad67")
            << QByteArray("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc"
                          "7112cd0");
    }

    void publishedVectors()
    {
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, sha224);
        QFETCH(QByteArray, sha256);
        QCOMPARE(sha(0, message), sha224);
        QCOMPARE(sha(1, message), sha256);
    }

    // Every padding case: lengths on both sides of the 55/56 and 63/64 byte block boundaries.
    void agreesWithQtAcrossPaddingBoundaries()
    {
        QByteArray message;
        for (int length = 0; length <= 200; ++length) {
            QCOMPARE(sha(0, message),
                QCryptographicHash::hash(message, QCryptographicHash::Sha224).toHex());
            QCOMPARE(sha(1, message),
                QCryptographicHash::hash(message, QCryptographicHash::Sha256).toHex());
            message.append(static_cast<char>((length * 37 + 11) & 0xff));
        }
    }

    void methodAndRoundsSettings()
    {
        Enc2 sha;
        QCOMPARE(sha.HashMethod(), 1);
        QCOMPARE(sha.HashRounds(), 1);

        sha.setHashMethod(6);
        QCOMPARE(sha.HashMethod(), 1);
        sha.setHashMethod(-1);
        QCOMPARE(sha.HashMethod(), 1);
        sha.setHashMethod(0);
        QCOMPARE(sha.HashString("abc").size(), 28);

        // Accepted as settings, but there is no such hash here.
        sha.setHashMethod(5);
        QCOMPARE(sha.HashMethod(), 5);
        QVERIFY(sha.HashString("abc").isEmpty());

        sha.setHashRounds(0);
        QCOMPARE(sha.HashRounds(), 1);
        sha.setHashRounds(11);
        QCOMPARE(sha.HashRounds(), 1);
        sha.setHashRounds(10);
        QCOMPARE(sha.HashRounds(), 10);
    }

    void furtherRoundsHashThePreviousDigest()
    {
        Enc2 sha;
        sha.setHashRounds(3);
        QByteArray expected = "abc";
        for (int i = 0; i < 3; ++i)
            expected = QCryptographicHash::hash(expected, QCryptographicHash::Sha256);
        QCOMPARE(sha.HashString("abc"), expected);
    }

    void keyMaterialIsLowerCaseHexOfSha256()
    {
        Enc4 front;
        QCOMPARE(front.HashMethod(), 0);
        QCOMPARE(front.HashRounds(), 1);
        QByteArray material;
        QVERIFY(front.HashString("Unable to load record.", material));
        QCOMPARE(material,
            QByteArray("95553e0b937ce167d70581e202f87eab3290581e51ac9b7c770e25ccc64d3daa"));
    }

    void hashFrontEndRounds()
    {
        Enc4 front;
        front.setHashRounds(10);
        QCOMPARE(front.HashRounds(), 10);
        front.setHashRounds(11);
        QCOMPARE(front.HashRounds(), 1);

        front.setHashMethod(23);
        front.setHashRounds(5);
        QCOMPARE(front.HashRounds(), 5);

        // Methods outside 0-12 and 20-23 take 3 to 15 rounds.
        front.setHashMethod(15);
        front.setHashRounds(15);
        QCOMPARE(front.HashRounds(), 15);
        front.setHashRounds(2);
        QCOMPARE(front.HashRounds(), 3);
        front.setHashRounds(16);
        QCOMPARE(front.HashRounds(), 3);

        QByteArray result = "untouched";
        QVERIFY(!front.HashString("abc", result));
        QCOMPARE(result, QByteArray("untouched"));
    }

    void stopFlagMakesHashingFail()
    {
        setStopProcessing(true);
        Enc2 sha;
        QVERIFY(sha.HashString("abc").isEmpty());
        Enc4 front;
        QVERIFY(front.StopProcessing());
        QByteArray material;
        QVERIFY(!front.HashString("abc", material));

        front.setStopProcessing(false);
        QVERIFY(!StopProcessing());
        QVERIFY(front.HashString("abc", material));
    }

    void wordHelpers()
    {
        static_assert(Enc3::UnsignedAdd(0xffffffffu, 2u) == 1u);
        static_assert(Enc3::UnsignedAdd(0x7fffffffu, 1u, 0x80000000u) == 0u);
        static_assert(Enc3::w32Shift(0x80000001u, -1) == 0x40000000u); // logical, no sign fill
        static_assert(Enc3::w32Shift(0x80000001u, 1) == 0x00000002u);
        static_assert(Enc3::w32Shift(0x12345678u, 32) == 0u);
        static_assert(Enc3::w32Rotate(0x80000001u, 1) == 0x00000003u);
        static_assert(Enc3::w32Rotate(0x80000001u, -1) == 0xc0000000u);
        static_assert(Enc3::w32Rotate(0x12345678u, -32) == 0x12345678u);
        static_assert(Enc3::w32Rotate(0x12345678u, 36) == Enc3::w32Rotate(0x12345678u, 4));
        // A signed word counts modulo 2^32.
        QCOMPARE(Enc3::UnsignedAdd(static_cast<std::uint32_t>(-1), 1u), 0u);
    }
};

QTEST_GUILESS_MAIN(Sha2Test)
#include "sha2_test.moc"
