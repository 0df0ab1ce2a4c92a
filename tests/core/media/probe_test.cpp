#include "core/media/decoder.h"
#include "core/media/failure_report.h"
#include "core/media/file_list_model.h"
#include "core/media/probe.h"
#include "core/media/time_text.h"
#include "support/media_maker.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace sonivert;
using namespace Qt::StringLiterals;
using sonivert::test::ClipOptions;
using sonivert::test::makeClip;
using sonivert::test::runFfmpeg;

class ProbeTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    MediaItem probeOk(const QString &file)
    {
        const ProbeResult result = probeMediaFile(file);
        if (!result.ok)
            qWarning() << "probe failed:" << result.message;
        return result.ok ? result.item : MediaItem();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        ClipOptions tagged;
        tagged.seconds = 2.0;
        tagged.width = 720;
        tagged.height = 576;
        tagged.frameRate = QStringLiteral("30000/1001");
        tagged.extraOutputArgs = { QStringLiteral("-aspect"), QStringLiteral("16:9"),
            QStringLiteral("-metadata"), QStringLiteral("title=Song"), QStringLiteral("-metadata"),
            QStringLiteral("artist=Band"), QStringLiteral("-metadata"),
            QStringLiteral("album=Record"), QStringLiteral("-metadata"),
            QStringLiteral("date=2019-05-01"), QStringLiteral("-metadata"),
            QStringLiteral("track=3/12"), QStringLiteral("-metadata"), QStringLiteral("genre=Rock"),
            QStringLiteral("-metadata"), QStringLiteral("comment=Nice"),
            QStringLiteral("-metadata"), QStringLiteral("copyright=Me") };
        QVERIFY(makeClip(path(QStringLiteral("a.b.mkv")), tagged));

        ClipOptions surround;
        surround.video = false;
        surround.channelLayout = QStringLiteral("5.1");
        surround.sampleRate = 48000;
        QVERIFY(makeClip(path(QStringLiteral("surround.mp4")), surround));

        ClipOptions mono;
        mono.video = false;
        mono.channelLayout = QStringLiteral("mono");
        mono.extraOutputArgs = { QStringLiteral("-metadata"), QStringLiteral("title=Voice") };
        QVERIFY(makeClip(path(QStringLiteral("mono.ogg")), mono));

        ClipOptions silent;
        silent.audio = false;
        QVERIFY(makeClip(path(QStringLiteral("silent.mp4")), silent));

        QFile text(path(QStringLiteral("text.mkv")));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("this is not a film\n");
        text.close();
        QFile empty(path(QStringLiteral("empty.mp4")));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
    }

    void probeFillsEveryFieldOfAVideo()
    {
        const QString file = path(QStringLiteral("a.b.mkv"));
        const MediaItem item = probeOk(file);
        QCOMPARE(item.text(Field::Name), QStringLiteral("a.b.mkv"));
        QCOMPARE(item.text(Field::Format), QStringLiteral("MKV"));
        QCOMPARE(item.text(Field::FilePath), m_dir.path() + QLatin1Char('/'));
        QCOMPARE(item.text(Field::Duration), QStringLiteral("00:00:02"));
        QCOMPARE(item.text(Field::SrcDuration).left(3), QStringLiteral("2.0"));
        QCOMPARE(item.text(Field::SrcDuration).size(), 4);
        QCOMPARE(item.integer(Field::FileSize), int(QFileInfo(file).size()));
        QVERIFY(item.boolean(Field::VideoStream));
        QVERIFY(item.boolean(Field::AudioStream));
        QVERIFY(!item.boolean(Field::SubtitleStream));
        QCOMPARE(item.integer(Field::VideoStreamCount), 1);
        QCOMPARE(item.integer(Field::AudioStreamCount), 1);
        QCOMPARE(item.text(Field::VideoCodecName),
            QStringLiteral("H.264 / AVC / MPEG-4 AVC / MPEG-4 part 10"));
        QCOMPARE(item.integer(Field::VideoWidth), 720);
        QCOMPARE(item.integer(Field::VideoHeight), 576);
        QCOMPARE(item.integer(Field::VideoFrameRateNumerator), 29);
        QCOMPARE(item.text(Field::VideoSampleAspectRatio), QStringLiteral("1.78"));
        QCOMPARE(item.integer(Field::AudioChannels), 2);
        QCOMPARE(item.integer(Field::AudioSampleRate), 44100);
        QCOMPARE(item.text(Field::FileTitle), QStringLiteral("Song"));
        QCOMPARE(item.text(Field::FileAuthor), QStringLiteral("Band"));
        QCOMPARE(item.text(Field::FileAlbum), QStringLiteral("Record"));
        QCOMPARE(item.text(Field::FileComment), QStringLiteral("Nice"));
        QCOMPARE(item.text(Field::FileGenre), QStringLiteral("Rock"));
        QCOMPARE(item.text(Field::FileCopyright), QStringLiteral("Me"));
        QCOMPARE(item.integer(Field::FileYear), 2019);
        QCOMPARE(item.integer(Field::FileTrack), 3);

        // The duration travels as signed halves; the trim range starts as the whole file.
        const int64_t duration
            = joinHalfTexts(item.text(Field::FileDurationLow), item.text(Field::FileDurationHigh));
        QVERIFY(duration > 1900000 && duration < 2200000);
        QCOMPARE(item.integer(Field::FileDuration), int(duration));
        QCOMPARE(item.text(Field::TrimEndLow), item.text(Field::FileDurationLow));
        QCOMPARE(item.text(Field::TrimEndHigh), QStringLiteral("0"));
        QCOMPARE(item.text(Field::TrimStartLow), QStringLiteral("0"));
        QCOMPARE(item.text(Field::TrimStartHigh), QStringLiteral("0"));
        QCOMPARE(item.text(Field::Deinterlacing), QStringLiteral("black"));
        QCOMPARE(item.text(Field::NewAspectRatio), QStringLiteral("Original"));
        QCOMPARE(item.text(Field::ErrMsg), QString());
        QCOMPARE(item.stateIcon, int(ListIcon::Ready));

        // What the converter takes along: the lengths and every song tag, in a fixed order.
        QCOMPARE(item.source.durationUs, duration);
        QCOMPARE(item.source.audioDurationUs, -1); // Matroska keeps no length per stream
        QVERIFY(item.source.hasAudio);
        const SongTags expected { { u"title"_s, u"Song"_s }, { u"artist"_s, u"Band"_s },
            { u"album"_s, u"Record"_s }, { u"date"_s, u"2019-05-01"_s }, { u"genre"_s, u"Rock"_s },
            { u"track"_s, u"3/12"_s }, { u"copyright"_s, u"Me"_s }, { u"comment"_s, u"Nice"_s } };
        QCOMPARE(item.source.tags, expected);
    }

    void audioOnlyFilesHaveNoVideoFacts()
    {
        const MediaItem surround = probeOk(path(QStringLiteral("surround.mp4")));
        QCOMPARE(surround.integer(Field::AudioChannels), 6);
        QCOMPARE(surround.integer(Field::AudioSampleRate), 48000);
        QCOMPARE(surround.text(Field::AudioCodecName), QStringLiteral("Advanced Audio Coding"));
        QVERIFY(surround.integer(Field::AudioBitRate) > 0);
        QVERIFY(
            surround.source.audioDurationUs > 900000 && surround.source.audioDurationUs < 1100000);
        QVERIFY(!surround.boolean(Field::VideoStream));
        QCOMPARE(surround.integer(Field::VideoStreamCount), 0);
        QCOMPARE(surround.integer(Field::VideoWidth), -1);
        QCOMPARE(surround.integer(Field::VideoHeight), -1);
        QCOMPARE(surround.integer(Field::VideoFrameRateNumerator), -1);
        QCOMPARE(surround.text(Field::VideoCodecName), QString());
        // Without a picture the aspect text is the one of a height of 0, never a square's "1".
        QCOMPARE(surround.text(Field::VideoSampleAspectRatio), QStringLiteral("1.1"));

        // Ogg keeps its tags on the audio stream.
        const MediaItem mono = probeOk(path(QStringLiteral("mono.ogg")));
        QCOMPARE(mono.integer(Field::AudioChannels), 1);
        QCOMPARE(mono.text(Field::FileTitle), QStringLiteral("Voice"));
        QCOMPARE(mono.source.tags, (SongTags { { u"title"_s, u"Voice"_s } }));
        QCOMPARE(mono.text(Field::Format), QStringLiteral("OGG"));
        QCOMPARE(mono.text(Field::VideoSampleAspectRatio), QStringLiteral("1.1"));
    }

    void videoWithoutAudio()
    {
        const MediaItem item = probeOk(path(QStringLiteral("silent.mp4")));
        QVERIFY(item.boolean(Field::VideoStream));
        QVERIFY(!item.boolean(Field::AudioStream));
        QCOMPARE(item.integer(Field::AudioStreamCount), 0);
        QCOMPARE(item.integer(Field::AudioChannels), -1);
        QCOMPARE(item.text(Field::AudioCodecName), QString());
        QCOMPARE(item.integer(Field::VideoFrameRateNumerator), 25);
        QCOMPARE(item.text(Field::VideoSampleAspectRatio), QStringLiteral("1.33"));
    }

    void coverPictureIsNotVideo()
    {
        const QString cover = path(QStringLiteral("cover.png"));
        QVERIFY(runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("color=red:size=64x64"), QStringLiteral("-frames:v"),
            QStringLiteral("1"), cover }));
        const QString song = path(QStringLiteral("song.mp3"));
        QVERIFY(runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("sine=duration=1"), QStringLiteral("-i"), cover, QStringLiteral("-map"),
            QStringLiteral("0:a"), QStringLiteral("-map"), QStringLiteral("1:v"),
            QStringLiteral("-c:v"), QStringLiteral("png"), QStringLiteral("-disposition:v"),
            QStringLiteral("attached_pic"), QStringLiteral("-metadata"),
            QStringLiteral("date=2001"), song }));
        const MediaItem item = probeOk(song);
        QVERIFY(!item.boolean(Field::VideoStream));
        QCOMPARE(item.integer(Field::VideoStreamCount), 0);
        QCOMPARE(item.integer(Field::FileYear), 2001);
        QCOMPARE(item.text(Field::AudioCodecName), QStringLiteral("MPEG audio layer 3"));
    }

    void unreadableFilesBecomeReportLines_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("text with a film's name") << QStringLiteral("text.mkv");
        QTest::newRow("zero bytes") << QStringLiteral("empty.mp4");
    }
    void unreadableFilesBecomeReportLines()
    {
        QFETCH(QString, name);
        FileListModel list;
        FailureReport report;
        ProbeFile(path(name), list, report);
        QCOMPARE(list.count(), 0);
        QCOMPARE(report.count(), 1);
        QCOMPARE(report.entries().at(0).name, name);
        QCOMPARE(report.entries().at(0).message,
            path(name) + QStringLiteral(": Invalid data found when processing input"));
        // Nothing in them says encrypted, so they are not called copy-protected.
        QVERIFY(!report.entries().at(0).encrypted);
        QVERIFY(!ShowFailureReport(report, QStringLiteral("Failed"), QString()).copyProtected);
    }

    void missingFileCarriesTheDecoderMessage()
    {
        FileListModel list;
        FailureReport report;
        ProbeFile(path(QStringLiteral("gone.mp4")), list, report);
        QCOMPARE(list.count(), 0);
        QCOMPARE(report.entries().at(0).message,
            path(QStringLiteral("gone.mp4")) + QStringLiteral(": No such file or directory"));
    }

    void pipeIsRefusedRatherThanWaitedFor()
    {
        const QString fifo = path(QStringLiteral("pipe.mkv"));
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        const ProbeResult result = probeMediaFile(fifo);
        QVERIFY(!result.ok);
        QCOMPARE(result.message, fifo + QStringLiteral(": Not a regular file"));
    }

    void probeFileAppendsAReadyRow()
    {
        FileListModel list;
        FailureReport report;
        ProbeFile(path(QStringLiteral("silent.mp4")), list, report);
        QVERIFY(report.isEmpty());
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.getRowState(0), RowState::Ready);
        QCOMPARE(
            list.data(list.index(0, 0), FileListModel::IconIdRole).toInt(), int(ListIcon::Ready));
        QCOMPARE(list.srcDurationTag(0), list.getFieldText(0, Field::SrcDuration));

        // Whatever a probe's outcome, the last row is ready again, even one of an earlier run.
        list.SetRowState(0, true, RowState::Done);
        ProbeFile(path(QStringLiteral("text.mkv")), list, report);
        QCOMPARE(list.count(), 1);
        QCOMPARE(report.count(), 1);
        QCOMPARE(list.getRowState(0), RowState::Ready);
        QCOMPARE(list.getFieldText(0, Field::State), QString());
    }

    void abortFlagStopsTheOpen()
    {
        std::atomic_bool abort { true };
        Decoder decoder;
        decoder.setAbortFlag(&abort);
        QVERIFY(!decoder.OpenFile(path(QStringLiteral("a.b.mkv"))));
        QVERIFY(decoder.LastErrorText().startsWith(
            path(QStringLiteral("a.b.mkv")) + QLatin1String(": ")));
        QVERIFY(!decoder.isOpen());
        QCOMPARE(decoder.FirstVideoStreamIndex(), -1);
        QCOMPARE(decoder.GetFileInfoDurationHigh(), int32_t(0x80000000u));
        QCOMPARE(decoder.GetFileInfoDurationLow(), 0);
    }

    void codecNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("long name") << QStringLiteral("AAC (Advanced Audio Coding)")
                                   << QStringLiteral("Advanced Audio Coding");
        QTest::newRow("no parentheses") << QStringLiteral("H.264 / AVC / MPEG-4 AVC")
                                        << QStringLiteral("H.264 / AVC / MPEG-4 AVC");
        QTest::newRow("unclosed") << QStringLiteral("X (open") << QStringLiteral("open");
        QTest::newRow("two parts") << QStringLiteral("A (b) c (d)") << QStringLiteral("b) c (d");
        QTest::newRow("empty") << QString() << QString();
    }
    void codecNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        QCOMPARE(NormaliseCodecName(name), expected);
    }

    void aspectRatios_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("d");
        QTest::addColumn<float>("ratio");
        QTest::addColumn<QString>("expected");
        QTest::newRow("16:9") << 1920 << 1080 << 16 << 9 << 1.7777f << QStringLiteral("1.78");
        QTest::newRow("3:2 pair") << 300 << 200 << 3 << 2 << 0.0f << QStringLiteral("1.50");
        QTest::newRow("ratio beats pair") << 1 << 1 << 4 << 3 << 1.85f << QStringLiteral("1.85");
        QTest::newRow("2.40") << 1 << 1 << 0 << 0 << 2.4f << QStringLiteral("2.4");
        QTest::newRow("1.77 from ratio") << 1 << 1 << 0 << 0 << 1.7749f << QStringLiteral("1.77");
        QTest::newRow("by size") << 1000 << 400 << 0 << 0 << 0.0f << QStringLiteral("2.5");
        QTest::newRow("portrait") << 300 << 400 << 0 << 0 << 0.0f << QStringLiteral("0.75");
        QTest::newRow("square") << 500 << 500 << 1 << 1 << 1.0f << QStringLiteral("1");
        QTest::newRow("height 0") << 0 << 0 << 0 << 0 << 0.0f << QStringLiteral("1.1");
    }
    void aspectRatios()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(int, n);
        QFETCH(int, d);
        QFETCH(float, ratio);
        QFETCH(QString, expected);
        QCOMPARE(ClassifyAspectRatio(width, height, n, d, ratio), expected);
    }

    void frameRates()
    {
        QCOMPARE(frameRateField(24000, 1001), 23);
        QCOMPARE(frameRateField(30000, 1001), 29);
        QCOMPARE(frameRateField(25, 1), 25);
        QCOMPARE(frameRateField(0, 0), 0);
        QCOMPARE(frameRateField(-1, 5), -1);
        QCOMPARE(frameRateField(50, 0), 50);
    }
};

QTEST_GUILESS_MAIN(ProbeTest)
#include "probe_test.moc"
