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
        // A long message, past any buffer of one call.
        const QByteArray million(1000000, 'a');
        QCOMPARE(sha(1, million),
            QByteArray("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"));
    }

    // Out-of-range settings fall back to SHA-256 and one round.
    void methodAndRoundsSettings()
    {
        Enc2 sha;
        const QByteArray once = sha.HashString("abc");
        QCOMPARE(once.size(), 32);
        sha.setHashMethod(6);
        sha.setHashRounds(11);
        QCOMPARE(sha.HashString("abc"), once);
        sha.setHashMethod(-1);
        sha.setHashRounds(0);
        QCOMPARE(sha.HashString("abc"), once);
        sha.setHashMethod(0);
        QCOMPARE(sha.HashString("abc").size(), 28);
        // Accepted as a setting, but there is no such hash here.
        sha.setHashMethod(5);
        QVERIFY(sha.HashString("abc").isEmpty());
    }

    void furtherRoundsHashThePreviousDigest()
    {
        Enc2 sha;
        sha.setHashRounds(10); // the most rounds taken
        QByteArray expected = "abc";
        for (int i = 0; i < 10; ++i)
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
