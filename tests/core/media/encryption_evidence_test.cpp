#include "core/media/encryption_evidence.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/probe.h"
#include "support/media_maker.h"
#include "support/protected_media.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;

namespace {

// One EBML element with a one-byte size (content shorter than 127 bytes) or an unknown size.
QByteArray element(const char *idHex, const QByteArray &content, bool unknownSize = false)
{
    QByteArray bytes = QByteArray::fromHex(idHex);
    if (unknownSize)
        return bytes + QByteArray::fromHex("01FFFFFFFFFFFFFF") + content;
    bytes.append(char(0x80 | content.size()));
    return bytes + content;
}

// A WebM header whose one track carries the given content encoding, then a cluster.
QByteArray webmWithEncoding(const QByteArray &encoding)
{
    const QByteArray header = element("1A45DFA3", element("4282", "webm"));
    const QByteArray track = element("D7", QByteArray(1, 1)) + element("83", QByteArray(1, 1))
        + element("6D80", element("6240", encoding));
    const QByteArray cluster = element("1F43B675", element("E7", QByteArray(1, 0)), true);
    return header + element("18538067", element("1654AE6B", element("AE", track)) + cluster, true);
}

} // namespace

class EncryptionEvidenceTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    bool write(const QString &name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    bool cutInHalf(const QString &name) const
    {
        QFile file(path(name));
        return file.resize(file.size() / 2);
    }

    bool copy(const QString &from, const QString &to) const
    {
        return QFile::copy(path(from), path(to));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        ClipOptions small;
        small.seconds = 0.5;
        small.width = 64;
        small.height = 48;
        ClipOptions sound = small;
        sound.video = false;

        QVERIFY(makeClip(path(QStringLiteral("plain.mp4")), small));
        QVERIFY(makeClip(path(QStringLiteral("plain.mkv")), small));
        QVERIFY(makeClip(path(QStringLiteral("plain.wma")), sound));
        QVERIFY(makeClip(path(QStringLiteral("plain.wmv")), small));
        QVERIFY(makeEncryptedMp4(path(QStringLiteral("protected.mp4")), small));
        ClipOptions faststart = small;
        faststart.extraOutputArgs = { QStringLiteral("-movflags"), QStringLiteral("+faststart") };
        QVERIFY(makeEncryptedMp4(path(QStringLiteral("protected-front.mp4")), faststart));
        QVERIFY(write(QStringLiteral("text.mkv"), "this is not a film\n"));
        QVERIFY(write(QStringLiteral("empty.mp4"), QByteArray()));

        // Damaged the ways the demuxer refuses with "Invalid data found when processing input".
        QVERIFY(copy(QStringLiteral("plain.mp4"), QStringLiteral("cut.mp4")));
        QVERIFY(cutInHalf(QStringLiteral("cut.mp4"))); // the index at the end is gone
        QVERIFY(copy(QStringLiteral("plain.mp4"), QStringLiteral("broken.mp4")));
        QVERIFY(patchMp4Box(path(QStringLiteral("broken.mp4")), "stsd", 15, 0)); // no entries
        QVERIFY(copy(QStringLiteral("plain.wma"), QStringLiteral("broken.wma")));
        QVERIFY(breakAsfHeader(path(QStringLiteral("broken.wma"))));
        // An initialisation vector size the demuxer does not know.
        QVERIFY(
            copy(QStringLiteral("protected-front.mp4"), QStringLiteral("protected-broken.mp4")));
        QVERIFY(patchMp4Box(path(QStringLiteral("protected-broken.mp4")), "tenc", 15, 3));
        QVERIFY(copy(QStringLiteral("plain.wma"), QStringLiteral("protected-broken.wma")));
        QVERIFY(protectAsf(
            path(QStringLiteral("protected-broken.wma")), AsfProtection::ContentEncryption));
        QVERIFY(breakAsfHeader(path(QStringLiteral("protected-broken.wma"))));
        QVERIFY(copy(QStringLiteral("protected.mp4"), QStringLiteral("protected-cut.mp4")));
        QVERIFY(cutInHalf(QStringLiteral("protected-cut.mp4")));
    }

    void containers_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("encrypted");
        QTest::newRow("MP4") << QStringLiteral("plain.mp4") << false;
        QTest::newRow("Matroska") << QStringLiteral("plain.mkv") << false;
        QTest::newRow("WMA") << QStringLiteral("plain.wma") << false;
        QTest::newRow("WMV") << QStringLiteral("plain.wmv") << false;
        QTest::newRow("text") << QStringLiteral("text.mkv") << false;
        QTest::newRow("zero bytes") << QStringLiteral("empty.mp4") << false;
        QTest::newRow("missing") << QStringLiteral("gone.mp4") << false;
        QTest::newRow("damaged MP4") << QStringLiteral("broken.mp4") << false;
        QTest::newRow("damaged WMA") << QStringLiteral("broken.wma") << false;
        QTest::newRow("CENC, index at the end") << QStringLiteral("protected.mp4") << true;
        QTest::newRow("CENC, index in front") << QStringLiteral("protected-front.mp4") << true;
        QTest::newRow("CENC, damaged") << QStringLiteral("protected-broken.mp4") << true;
        QTest::newRow("CENC, index cut off") << QStringLiteral("protected-cut.mp4") << false;
        QTest::newRow("ASF content encryption, damaged")
            << QStringLiteral("protected-broken.wma") << true;
    }
    void containers()
    {
        QFETCH(QString, name);
        QFETCH(bool, encrypted);
        QCOMPARE(containerShowsEncryption(path(name)), encrypted);
    }

    void asfProtectionMarks_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<int>("protection");
        QTest::newRow("content encryption")
            << QStringLiteral("plain.wmv") << int(AsfProtection::ContentEncryption);
        QTest::newRow("extended content encryption")
            << QStringLiteral("plain.wma") << int(AsfProtection::ExtendedContentEncryption);
        QTest::newRow("encrypted stream")
            << QStringLiteral("plain.wmv") << int(AsfProtection::EncryptedStreamFlag);
    }
    void asfProtectionMarks()
    {
        QFETCH(QString, source);
        QFETCH(int, protection);
        const QString marked = path(QStringLiteral("marked-%1-").arg(protection) + source);
        QVERIFY(QFile::copy(path(source), marked));
        QVERIFY(!containerShowsEncryption(marked));
        QVERIFY(protectAsf(marked, AsfProtection(protection)));
        QVERIFY(containerShowsEncryption(marked));
    }

    void matroskaContentEncodings_data()
    {
        QTest::addColumn<QByteArray>("encoding");
        QTest::addColumn<bool>("encrypted");
        QTest::newRow("AES encryption") << element("5033", QByteArray(1, 1))
                + element("5035", element("47E1", QByteArray(1, 5)))
                                        << true;
        QTest::newRow("encryption settings alone")
            << element("5035", element("47E1", QByteArray(1, 5))) << true;
        QTest::newRow("encryption type alone") << element("5033", QByteArray(1, 1)) << true;
        QTest::newRow("header stripping") << element("5033", QByteArray(1, 0))
                + element("5034", element("4254", QByteArray(1, 3)) + element("4255", "ab"))
                                          << false;
    }
    void matroskaContentEncodings()
    {
        QFETCH(QByteArray, encoding);
        QFETCH(bool, encrypted);
        QVERIFY(write(QStringLiteral("encoded.webm"), webmWithEncoding(encoding)));
        QCOMPARE(containerShowsEncryption(path(QStringLiteral("encoded.webm"))), encrypted);
    }

    void headersThatLieEndTheScan_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // Boxes that claim more than the file holds, or that nest into each other without end.
        QByteArray nested = QByteArray::fromHex("00000008") + "ftyp";
        for (int i = 0; i < 5000; ++i)
            nested += QByteArray::fromHex("7FFFFFFF") + "moov";
        QTest::newRow("MP4 nesting") << nested;
        QTest::newRow("MP4 64-bit size past the end")
            << QByteArray::fromHex("00000001") + "moov" + QByteArray::fromHex("7FFFFFFFFFFFFFFF");
        QTest::newRow("MP4 box smaller than its header")
            << QByteArray::fromHex("00000004") + "ftyp" + QByteArray(64, '\0');
        QByteArray asf = QByteArray::fromHex("3026B2758E66CF11A6D900AA0062CE6C");
        asf += QByteArray::fromHex("FFFFFFFFFFFFFFFF00000000FFFF");
        asf += QByteArray::fromHex("B503BF5F2EA9CF118EE300C00C205365") + QByteArray(8, '\xFF');
        QTest::newRow("ASF objects past the end") << asf;
        QByteArray ebml = element("1A45DFA3", QByteArray()) + QByteArray::fromHex("18538067");
        for (int i = 0; i < 5000; ++i)
            ebml += QByteArray::fromHex("01FFFFFFFFFFFFFF6D80");
        QTest::newRow("Matroska nesting") << ebml;
        QTest::newRow("Matroska element past its parent")
            << element("1A45DFA3", QByteArray()) + QByteArray::fromHex("1853806781AE88");
    }
    void headersThatLieEndTheScan()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(write(QStringLiteral("lies.bin"), bytes));
        QVERIFY(!containerShowsEncryption(path(QStringLiteral("lies.bin"))));
    }

    void encryptedFilesThatOpenGetARow()
    {
        // ffmpeg reads Common Encryption's boxes and opens the file; only decoding fails, so the
        // copy-protection rule of the import never sees it.
        const ProbeResult result = probeMediaFile(path(QStringLiteral("protected.mp4")));
        QVERIFY(result.ok);
        QVERIFY(!result.encrypted);
        QVERIFY(result.item.boolean(Field::AudioStream));
    }

    void onlyEncryptedFilesAreCopyProtected_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("title");
        const QString failed = QStringLiteral("Failed");
        const QString drm = QStringLiteral("DRM Protection");
        QTest::newRow("text") << QStringLiteral("text.mkv") << failed;
        QTest::newRow("zero bytes") << QStringLiteral("empty.mp4") << failed;
        QTest::newRow("unfinished download") << QStringLiteral("cut.mp4") << failed;
        QTest::newRow("damaged MP4") << QStringLiteral("broken.mp4") << failed;
        QTest::newRow("damaged WMA") << QStringLiteral("broken.wma") << failed;
        QTest::newRow("CENC whose index is gone") << QStringLiteral("protected-cut.mp4") << failed;
        QTest::newRow("CENC the demuxer refuses") << QStringLiteral("protected-broken.mp4") << drm;
        QTest::newRow("ASF the demuxer refuses") << QStringLiteral("protected-broken.wma") << drm;
    }
    void onlyEncryptedFilesAreCopyProtected()
    {
        QFETCH(QString, name);
        QFETCH(QString, title);
        FileListModel list;
        FailureReport report;
        ProbeFile(path(name), list, report);
        QCOMPARE(list.count(), 0);
        QCOMPARE(report.count(), 1);
        // Every one of them fails with the words of the copy-protection rule.
        QCOMPARE(report.entries().at(0).message,
            path(name) + QStringLiteral(": Invalid data found when processing input"));
        const FailureReportDisplay display = ShowFailureReport(
            report, QStringLiteral("Failed"), QStringLiteral("Failed to import files!"));
        QCOMPARE(display.title, title);
        if (title == QLatin1String("Failed"))
            QCOMPARE(display.message, QStringLiteral("Failed to import files!"));
    }

    void oneProtectedLineNamesTheReport()
    {
        FailureReport report;
        report.AddFailureReport(QStringLiteral("a.mp4"),
            QStringLiteral("/m/a.mp4: Invalid data found when processing input"));
        // Encrypted, but failing for another reason, it is not the protection that stopped it.
        report.AddFailureReport(QStringLiteral("b.mp4"), QStringLiteral("File not found!"), true);
        QCOMPARE(ShowFailureReport(report, QStringLiteral("Failed"), QString()).title,
            QStringLiteral("Failed"));
        report.AddFailureReport(QStringLiteral("c.wma"),
            QStringLiteral("/m/c.wma: Invalid data found when processing input"), true);
        const FailureReportDisplay display
            = ShowFailureReport(report, QStringLiteral("Failed"), QString());
        QVERIFY(display.copyProtected);
        QCOMPARE(display.title, QStringLiteral("DRM Protection"));
        QVERIFY(!isCopyProtected(report.entries().at(0)));
        QVERIFY(!isCopyProtected(report.entries().at(1)));
        QVERIFY(isCopyProtected(report.entries().at(2)));
    }
};

QTEST_GUILESS_MAIN(EncryptionEvidenceTest)
#include "encryption_evidence_test.moc"
