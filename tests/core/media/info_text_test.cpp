#include "core/media/info_text.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;

class InfoTextTest : public QObject
{
    Q_OBJECT

private:
    static MediaItem videoItem()
    {
        MediaItem item;
        item.set(Field::Name, QStringLiteral("clip.final.mp4"));
        item.set(Field::VideoCodecName, QStringLiteral("H.264 / AVC"));
        item.set(Field::VideoWidth, 1920);
        item.set(Field::VideoHeight, 1080);
        item.set(Field::VideoBitRate, 2500999);
        item.set(Field::VideoFrameRateNumerator, 29);
        item.set(Field::VideoSampleAspectRatio, QStringLiteral("1.78"));
        item.set(Field::AudioCodecName, QStringLiteral("Advanced Audio Coding"));
        item.set(Field::AudioSampleRate, 48000);
        item.set(Field::AudioBitRate, 128000);
        item.set(Field::AudioChannels, 6);
        return item;
    }

    static QStringList texts(const auto &labels)
    {
        QStringList result;
        for (const InfoText &label : labels)
            result << label.text;
        return result;
    }

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void notAvailableValues_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("missing");
        for (const char *v : { "", " ", "0", "x", "-1 x -1", "-1", "1:1", " 0 " })
            QTest::newRow(v) << QString::fromLatin1(v) << true;
        for (const char *v : { "1", "1.1", "00", "-2", "1.1:1", "0 x 0" })
            QTest::newRow(v) << QString::fromLatin1(v) << false;
    }
    void notAvailableValues()
    {
        QFETCH(QString, value);
        QFETCH(bool, missing);
        QCOMPARE(isNotAvailableValue(value), missing);
    }

    void panelOfAVideo()
    {
        const auto labels = inputFileInfoTexts(videoItem());
        QCOMPARE(texts(labels),
            (QStringList { QStringLiteral("H.264 / AVC"), QStringLiteral("1920 x 1080 pixels"),
                QStringLiteral("2500 kbps"), QStringLiteral("29 frames/second"),
                QStringLiteral("Advanced Audio Coding"), QStringLiteral("48000 Hz"),
                QStringLiteral("128 kbps"), QStringLiteral("6 Channels"),
                QStringLiteral("1.78") }));
        for (const InfoText &label : labels)
            QVERIFY(label.available);
    }

    void panelWithoutVideo()
    {
        MediaItem item = videoItem();
        item.set(Field::VideoCodecName, QString());
        item.set(Field::VideoWidth, -1);
        item.set(Field::VideoHeight, -1);
        item.set(Field::VideoBitRate, -1);
        item.set(Field::VideoFrameRateNumerator, -1);
        item.set(Field::VideoSampleAspectRatio, QStringLiteral("1.1"));
        item.set(Field::AudioChannels, 1);
        const auto labels = inputFileInfoTexts(item);
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(labels[size_t(i)].text, QStringLiteral("Not Available"));
            QVERIFY(!labels[size_t(i)].available);
        }
        QCOMPARE(labels[7].text, QStringLiteral("1 Channel (Mono)"));
        QCOMPARE(labels[8].text, QStringLiteral("1.1"));
    }

    void conversions()
    {
        QCOMPARE(bitRateText(QStringLiteral("128000")), QStringLiteral("128 kbps"));
        QCOMPARE(bitRateText(QStringLiteral("999")), QStringLiteral("0 kbps"));
        QCOMPARE(channelText(QStringLiteral("2")), QStringLiteral("2 Channels (Stereo)"));
        QCOMPARE(channelText(QStringLiteral("6")), QStringLiteral("6 Channels"));
    }

    void aspectDescriptions_data()
    {
        QTest::addColumn<QString>("aspect");
        QTest::addColumn<QString>("description");
        QTest::newRow("16:9") << QStringLiteral("1.78")
                              << QStringLiteral("1.78:1 - (16:9)  Widescreen");
        QTest::newRow("3:2 short") << QStringLiteral("1.5") << QStringLiteral("1.50:1 - (3:2)");
        QTest::newRow("3:2 as probed") << QStringLiteral("1.50") << QStringLiteral("1.50:1");
        QTest::newRow("2.4") << QStringLiteral("2.4")
                             << QStringLiteral("2.40:1 - (Widescreen Cinema Standard)");
        QTest::newRow("other") << QStringLiteral("1.1") << QStringLiteral("1.1:1");
        QTest::newRow("comma") << QStringLiteral("2,5") << QStringLiteral("2.5:1");
        QTest::newRow("square") << QStringLiteral("1") << QStringLiteral("1:1");
    }
    void aspectDescriptions()
    {
        QFETCH(QString, aspect);
        QFETCH(QString, description);
        QCOMPARE(aspectDescription(aspect), description);
    }

    void attributes()
    {
        QCOMPARE(attributeText(FileAttribute::ReadOnly | FileAttribute::Archive),
            QStringLiteral("Read-only, Archive"));
        QCOMPARE(attributeText(0xff), QStringLiteral("Hidden, Read-only, System, Normal, Archive"));
        QCOMPARE(attributeText(0), QString());
        QCOMPARE(attributeText(FileAttribute::Normal), QStringLiteral("Normal"));

        QTemporaryDir dir;
        const QString plain = dir.filePath(QStringLiteral("a.mp4"));
        const QString hidden = dir.filePath(QStringLiteral(".b.mp4"));
        for (const QString &p : { plain, hidden }) {
            QFile f(p);
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        QCOMPARE(linuxFileAttributes(plain), int(FileAttribute::Normal));
        QCOMPARE(linuxFileAttributes(hidden), int(FileAttribute::Hidden));
        QCOMPARE(linuxFileAttributes(dir.filePath(QStringLiteral("none"))), 0);
    }

    void propertiesOfAFile()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("clip.final.mp4")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
        file.close();

        MediaItem item = videoItem();
        item.set(Field::FilePath, dir.path() + QLatin1Char('/'));
        item.set(Field::FileTitle, QStringLiteral("Song"));
        item.set(Field::FileYear, 2019);
        const FileFacts facts = readFileFacts(item);
        QCOMPARE(facts.path, dir.filePath(QStringLiteral("clip.final.mp4")));
        QCOMPARE(facts.sizeText, QStringLiteral("4.88 kB (5,000 bytes)"));
        QVERIFY(!facts.typeDescription.isEmpty());
        QCOMPARE(facts.attributes, int(FileAttribute::Normal));
        QVERIFY(facts.modified.contains(QString::number(QDate::currentDate().year())));

        const auto labels = propertiesInfoTexts(item, facts);
        QCOMPARE(labels[0].text, QStringLiteral("clip.final"));
        QCOMPARE(labels[1].text, QStringLiteral("MP4"));
        QCOMPARE(labels[3].text, QStringLiteral("4.88 kB (5,000 bytes)"));
        QCOMPARE(labels[7].text, QStringLiteral("Normal"));
        QCOMPARE(labels[9].text, QStringLiteral("1920 x 1080 pixels"));
        QCOMPARE(labels[12].text, QStringLiteral("1.78:1 - (16:9)  Widescreen"));
        QCOMPARE(labels[17].text, QStringLiteral("6 Channels"));
        QCOMPARE(labels[19].text, QStringLiteral("Song"));
        QCOMPARE(labels[20].text, QStringLiteral("Not Available"));
        QCOMPARE(labels[23].text, QStringLiteral("2019"));
        QCOMPARE(labels[24].text, QStringLiteral("Not Available"));
        QVERIFY(!labels[13].available);
        QVERIFY(!labels[18].available);

        // A square picture's description is "1:1", which the rule then hides.
        item.set(Field::VideoSampleAspectRatio, QStringLiteral("1"));
        QCOMPARE(propertiesInfoTexts(item, facts)[12].text, QStringLiteral("Not Available"));
    }

    void goneFileShowsWhatCameBeforeItsFacts()
    {
        MediaItem item = videoItem();
        item.set(Field::FilePath, QStringLiteral("/nonexistent/"));
        item.set(Field::FileTitle, QStringLiteral("Song"));
        const FileFacts facts = readFileFacts(item);
        QVERIFY(!facts.read);
        QCOMPARE(facts.path, QStringLiteral("/nonexistent/clip.final.mp4"));
        const auto labels = propertiesInfoTexts(item, facts);
        QCOMPARE(labels[0].text, QStringLiteral("clip.final"));
        QCOMPARE(labels[1].text, QStringLiteral("MP4"));
        // The media facts and tags come after the failing read: not even "Not Available".
        for (int i = 2; i < PropertiesLabelCount; ++i)
            QVERIFY2(labels[size_t(i)].text.isEmpty(), qPrintable(QString::number(i)));

        // Names that the rule would hide are shown as they are: the rule never ran.
        item.set(Field::Name, QStringLiteral("0"));
        QCOMPARE(propertiesInfoTexts(item, readFileFacts(item))[0].text, QStringLiteral("0"));
        QCOMPARE(fileDateText(QDateTime()), QString());
    }
};

QTEST_GUILESS_MAIN(InfoTextTest)
#include "info_text_test.moc"
