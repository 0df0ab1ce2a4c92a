#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/formats/output_settings.h"
#include "core/media/media_item.h"

#include <QLocale>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <clocale>

using namespace sonivert;
using namespace Qt::StringLiterals;

namespace {

// An MP3 output, audio only, 44100 Hz, stereo, 192 kbps.
EncoderOptionSettings mp3Settings()
{
    EncoderOptionSettings s;
    s.videoCodec = u"No Video"_s;
    s.fileExtension = u"MP3"_s;
    s.audioCodec = u"MP3"_s;
    s.sampleRate = u"44100 Hz"_s;
    s.audioBitrate = u"192 kbps"_s;
    s.channelsPosition = 1;
    s.audioSize = u"16 bit"_s;
    s.videoBitrateValue = u"0"_s;
    return s;
}

// A 640 x 480, 25 frames per second source, not trimmed.
MediaItem sourceItem()
{
    MediaItem item;
    item.set(Field::VideoWidth, 640);
    item.set(Field::VideoHeight, 480);
    item.set(Field::VideoFrameRateNumerator, 25);
    item.set(Field::VideoSampleAspectRatio, u"1.33"_s);
    item.set(Field::Deinterlacing, u"black"_s);
    item.set(Field::TrimStartLow, u"0"_s);
    item.set(Field::TrimStartHigh, u"0"_s);
    item.set(Field::TrimEndLow, u"-1"_s);
    item.set(Field::TrimEndHigh, u"-1"_s);
    return item;
}

void setTrim(MediaItem &item, qint64 startUs, qint64 endUs)
{
    item.set(Field::TrimStartLow, halfText(int32_t(uint32_t(uint64_t(startUs)))));
    item.set(Field::TrimStartHigh, halfText(int32_t(startUs >> 32)));
    item.set(Field::TrimEndLow, halfText(int32_t(uint32_t(uint64_t(endUs)))));
    item.set(Field::TrimEndHigh, halfText(int32_t(endUs >> 32)));
}

// Changes written as "key=value": settings by their list names, the source by "src..." keys.
void apply(const QStringList &changes, EncoderOptionSettings &s, MediaItem &item)
{
    for (const QString &change : changes) {
        const qsizetype at = change.indexOf(u'=');
        const QString key = change.left(at);
        const QString value = change.mid(at + 1);
        if (key == u"VideoCodec")
            s.videoCodec = value;
        else if (key == u"FPS")
            s.fps = value;
        else if (key == u"FileExtention")
            s.fileExtension = value;
        else if (key == u"AudioCodec")
            s.audioCodec = value;
        else if (key == u"SampleRate")
            s.sampleRate = value;
        else if (key == u"AudioBitrate")
            s.audioBitrate = value;
        else if (key == u"Channels")
            s.channelsPosition = value.toInt();
        else if (key == u"AudioSize")
            s.audioSize = value;
        else if (key == u"AspectRatio")
            s.aspectRatio = value;
        else if (key == u"VideoBitrate")
            s.videoBitrateChoice = value;
        else if (key == u"Width")
            s.width = value.toInt();
        else if (key == u"Height")
            s.height = value.toInt();
        else if (key == u"VideoBitrateValue")
            s.videoBitrateValue = value;
        else if (key == u"VideoBitrateMaximum")
            s.videoBitrateMaximum = value.toInt();
        else if (key == u"QualityLevel")
            s.quality = *qualityLevelFromName(value);
        else if (key == u"srcWidth")
            item.set(Field::VideoWidth, value.toInt());
        else if (key == u"srcHeight")
            item.set(Field::VideoHeight, value.toInt());
        else if (key == u"srcRate")
            item.set(Field::VideoFrameRateNumerator, value.toInt());
        else if (key == u"srcAspect")
            item.set(Field::VideoSampleAspectRatio, value);
        else if (key == u"Filters")
            item.set(Field::Filters, value);
        else if (key == u"Deinterlacing")
            item.set(Field::Deinterlacing, value);
        else if (key == u"trim") // start:end in microseconds
            setTrim(item, value.section(u':', 0, 0).toLongLong(),
                value.section(u':', 1, 1).toLongLong());
        else
            QFAIL(qPrintable(u"unknown key "_s + key));
    }
}

// A video output beside the MP3 audio: MPEG-1 at 25 fps, 4:3, a fixed 800 kbps.
const QStringList mpeg1 { u"VideoCodec=MPEG-1"_s, u"FileExtention=mpg"_s, u"FPS=25 fps"_s,
    u"AspectRatio=4:3"_s, u"VideoBitrate=Custom"_s, u"VideoBitrateValue=800"_s };
const QString mp3Audio = u" -ac 2 -ar 44100 -ab 192k -acodec libmp3lame"_s;

QSet<QString> ffmpegEncoders()
{
    QProcess ffmpeg;
    ffmpeg.start(u"ffmpeg"_s, { u"-hide_banner"_s, u"-encoders"_s });
    if (!ffmpeg.waitForFinished(30000))
        return {};
    QSet<QString> names;
    const QStringList lines = QString::fromUtf8(ffmpeg.readAllStandardOutput()).split(u'\n');
    for (const QString &line : lines) {
        const QStringList words = line.simplified().split(u' ');
        if (words.size() < 2 || words.at(0).size() != 6 || words.at(0) == u"------")
            continue;
        names.insert(words.at(1));
        // ffmpeg also takes the codec's name for its encoder: "msmpeg4 ... (codec msmpeg4v3)".
        const qsizetype codec = words.indexOf(u"(codec"_s);
        if (codec >= 0 && codec + 1 < words.size())
            names.insert(words.at(codec + 1).chopped(1));
    }
    return names;
}

} // namespace

class OptionBuilderTest : public QObject
{
    Q_OBJECT

private slots:
    void build_data()
    {
        QTest::addColumn<QStringList>("changes");
        QTest::addColumn<QString>("expected");

        const QString hook = u"-VideoOutputHook "_s;
        QTest::newRow("mp3 trimmed from 10 to 70.5 s")
            << QStringList { u"trim=10000000:70500000"_s }
            << u"-VideoOutputHook  -ac 2 -ar 44100 -ab 192k -acodec libmp3lame -vn -t 60.5"_s;
        QTest::newRow("audio and video off")
            << QStringList { u"AudioCodec=No Audio"_s } << u"-VideoOutputHook  -an  -vn"_s;
        QTest::newRow("mono") << QStringList { u"Channels=0"_s }
                              << hook + u" -ac 1 -ar 44100 -ab 192k -acodec libmp3lame -vn"_s;
        QTest::newRow("5.1") << QStringList { u"Channels=2"_s }
                             << hook + u" -ac 6 -ar 44100 -ab 192k -acodec libmp3lame -vn"_s;
        QTest::newRow("channels position 3")
            << QStringList { u"Channels=3"_s }
            << hook + u" -ar 44100 -ab 192k -acodec libmp3lame -vn"_s;
        QTest::newRow("no channel selected")
            << QStringList { u"Channels=-1"_s }
            << hook + u" -ar 44100 -ab 192k -acodec libmp3lame -vn"_s;
        QTest::newRow("fractional audio bit rate") << QStringList {
            u"AudioBitrate=4.75 kbps"_s, u"AudioCodec=AMR ACELP"_s, u"SampleRate=8000 Hz"_s
        } << hook + u" -ac 2 -ar 8000 -ab 5k -acodec libopencore_amrnb -vn"_s;
        QTest::newRow("audio bit rate not a number")
            << QStringList { u"AudioBitrate=-"_s }
            << hook + u" -ac 2 -ar 44100 -ab 64k -acodec libmp3lame -vn"_s;
        QTest::newRow("pcm little-endian 8 bit") << QStringList { u"AudioCodec=PCM little-endian"_s,
            u"AudioSize=8 bit"_s } << hook + u" -ac 2 -ar 44100 -ab 192k -acodec pcm_u8 -vn"_s;
        QTest::newRow("pcm little-endian 24 bit")
            << QStringList { u"AudioCodec=PCM little-endian"_s, u"AudioSize=24 bit"_s }
            << hook + u" -ac 2 -ar 44100 -ab 192k -acodec pcm_s24le -vn"_s;
        QTest::newRow("pcm big-endian 8 bit") << QStringList { u"AudioCodec=PCM big-endian"_s,
            u"AudioSize=8 bit"_s } << hook + u" -ac 2 -ar 44100 -ab 192k -acodec pcm_s8 -vn"_s;
        QTest::newRow("pcm big-endian 32 bit") << QStringList { u"AudioCodec=PCM big-endian"_s,
            u"AudioSize=32 bit"_s } << hook + u" -ac 2 -ar 44100 -ab 192k -acodec pcm_s32be -vn"_s;
        QTest::newRow("pcm of an odd size") << QStringList { u"AudioCodec=PCM big-endian"_s,
            u"AudioSize=12 bit"_s } << hook + u" -ac 2 -ar 44100 -ab 192k -vn"_s;
        QTest::newRow("label compared with case")
            << QStringList { u"AudioCodec=mp3"_s } << hook + u" -ac 2 -ar 44100 -ab 192k -vn"_s;
        QTest::newRow("label trimmed")
            << QStringList { u"AudioCodec= Ogg Vorbis "_s }
            << hook + u" -ac 2 -ar 44100 -ab 192k -acodec libvorbis -vn"_s;

        QTest::newRow("video, fixed bit rate, source size") << mpeg1
                                                            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("video without audio")
            << mpeg1 + QStringList { u"AudioCodec=No Audio"_s }
            << u"-VideoOutputHook  -an  -r 25 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf "
               "\"scale=640:480\""_s;
        QTest::newRow("rounded frame rates") << mpeg1 + QStringList { u"FPS=29.97 fps"_s }
                                             << hook + mp3Audio
                + u" -r 30 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("original rate 29")
            << mpeg1 + QStringList { u"FPS=Original"_s, u"srcRate=29"_s }
            << hook + mp3Audio
                + u" -r 29 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("original rate 1000")
            << mpeg1 + QStringList { u"FPS=Original"_s, u"srcRate=1000"_s }
            << hook + mp3Audio
                + u" -r 30 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("set size and smart fit aspect")
            << mpeg1 + QStringList { u"Width=320"_s, u"Height=240"_s, u"AspectRatio=Smart Fit"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 1.33 -vb 800k -vcodec mpeg1video -vf \"scale=320:240\""_s;
        QTest::newRow("smart fit without a size takes the source's aspect")
            << mpeg1 + QStringList { u"AspectRatio=Smart Fit"_s, u"srcAspect=1.78"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 1.78 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("original aspect")
            << mpeg1 + QStringList { u"AspectRatio= Original"_s, u"srcAspect=2.35"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 2.35 -vb 800k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        QTest::newRow("filter chain order")
            << mpeg1 + QStringList { u"Deinterlacing= 1"_s, u"Filters=hflip"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -vcodec mpeg1video -vf "
                  "\"scale=640:480,yadif,hflip\""_s;
        QTest::newRow("filters after the duration")
            << mpeg1 + QStringList { u"Filters=hflip"_s, u"trim=0:5000000"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -vcodec mpeg1video -t 5 -vf "
                  "\"scale=640:480,hflip\""_s;
        QTest::newRow("audio only ignores the item's filters")
            << QStringList { u"Deinterlacing=1"_s, u"Filters=hflip"_s }
            << hook + mp3Audio + u" -vn"_s;
        QTest::newRow("uncompressed gif")
            << mpeg1 + QStringList { u"VideoCodec=Uncompressed"_s, u"FileExtention= gif "_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -pix_fmt rgb24 -vf "
                  "\"scale=640:480\""_s;
        QTest::newRow("uncompressed avi")
            << mpeg1 + QStringList { u"VideoCodec=Uncompressed"_s, u"FileExtention=Avi"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -vcodec rawvideo -vf \"scale=640:480\""_s;
        QTest::newRow("uncompressed mkv")
            << mpeg1 + QStringList { u"VideoCodec=Uncompressed"_s, u"FileExtention=MKV"_s }
            << hook + mp3Audio + u" -r 25 -aspect 4:3 -vb 800k -vf \"scale=640:480\""_s;
        QTest::newRow("dv ntsc") << mpeg1
                + QStringList { u"VideoCodec=DV - Digital Video Format"_s, u"Width=720"_s,
                      u"Height=480"_s }
                                 << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -target ntsc-dv -vcodec dvvideo -vf "
                  "\"scale=720:480\""_s;
        QTest::newRow("dv pal") << mpeg1
                + QStringList { u"VideoCodec=DV - Digital Video Format"_s, u"Width=720"_s,
                      u"Height=576"_s }
                                << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -target pal-dv -vcodec dvvideo -vf "
                  "\"scale=720:576\""_s;
        QTest::newRow("dv of another size")
            << mpeg1 + QStringList { u"VideoCodec=DV - Digital Video Format"_s }
            << hook + mp3Audio + u" -r 25 -aspect 4:3 -vb 800k -vf \"scale=640:480\""_s;
        QTest::newRow("xvid tag") << mpeg1 + QStringList { u"VideoCodec=Xvid MPEG4"_s }
                                  << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 800k -vcodec mpeg4 -vtag xvid -vf \"scale=640:480\""_s;
        QTest::newRow("unknown video label")
            << mpeg1 + QStringList { u"VideoCodec=Theora"_s }
            << hook + mp3Audio + u" -r 25 -aspect 4:3 -vb 800k -vf \"scale=640:480\""_s;
        QTest::newRow("video bit rate not a number")
            << mpeg1 + QStringList { u"VideoBitrateValue=fast"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 200k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        // 640 * 480 * 25 * 2 * 0.07 bits = 1075.2 kbps
        QTest::newRow("bit rate 0 is estimated from the source")
            << mpeg1 + QStringList { u"VideoBitrateValue=0"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 1075k -vcodec mpeg1video -vf \"scale=640:480\""_s;
        // 1280 * 720 * 25 * 4 * 0.07 bits = 6451.2 kbps
        QTest::newRow("smart fit estimate from the set size, high quality") << mpeg1
                + QStringList { u"VideoBitrate=Smart Fit"_s, u"Width=1280"_s, u"Height=720"_s,
                      u"QualityLevel=High"_s }
                                                                            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 6451k -vcodec mpeg1video -vf \"scale=1280:720\""_s;
        // Narrower than 500: the factor grows by 2. 320 * 240 * 25 * 3 * 0.07 = 403.2 kbps
        QTest::newRow("small picture, small size") << mpeg1
                + QStringList { u"VideoBitrate=Smart Fit"_s, u"Width=320"_s, u"Height=240"_s,
                      u"QualityLevel=SmallSize"_s }
                                                   << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 403k -vcodec mpeg1video -vf \"scale=320:240\""_s;
        QTest::newRow("estimate kept within the box's maximum")
            << mpeg1 + QStringList { u"VideoBitrate=Smart Fit"_s, u"VideoBitrateMaximum=1000"_s }
            << hook + mp3Audio
                + u" -r 25 -aspect 4:3 -vb 1000k -vcodec mpeg1video -vf \"scale=640:480\""_s;
    }

    void build()
    {
        QFETCH(QStringList, changes);
        QFETCH(QString, expected);
        EncoderOptionSettings settings = mp3Settings();
        MediaItem item = sourceItem();
        apply(changes, settings, item);
        const EncodePlan plan = planEncoding(item, settings);
        QCOMPARE(BuildEncoderOptions(item, settings), expected);
        // The command line comes from the same plan, word for word what ffmpeg made of the text
        // but for the duration, which the command line takes from the task's cut.
        QStringList words = ffmpegOptionWords(expected);
        if (const qsizetype t = words.indexOf(u"-t"_s); t >= 0)
            words.remove(t, 2);
        QCOMPARE(ffmpegOutputWords(plan), words);
    }

    void batchBitrate()
    {
        MediaItem small = sourceItem();
        MediaItem large = sourceItem();
        large.set(Field::VideoWidth, 1280);
        large.set(Field::VideoHeight, 720);
        EncoderOptionSettings settings = mp3Settings();
        MediaItem unused;
        apply(mpeg1, settings, unused);

        // A value of 0: the first file's estimate replaces it and serves the next file too.
        settings.videoBitrateValue = u"0"_s;
        QVERIFY(BuildEncoderOptions(small, settings).contains(u" -vb 1075k "_s));
        QCOMPARE(settings.videoBitrateValue, u"1075"_s);
        QVERIFY(BuildEncoderOptions(large, settings).contains(u" -vb 1075k "_s));

        // Smart Fit: each file its own estimate (1280 * 720 * 25 * 2 * 0.07 = 3225.6 kbps).
        settings.videoBitrateChoice = u"Smart Fit"_s;
        QVERIFY(BuildEncoderOptions(small, settings).contains(u" -vb 1075k "_s));
        QVERIFY(BuildEncoderOptions(large, settings).contains(u" -vb 3226k "_s));
        QCOMPARE(settings.videoBitrateValue, u"3226"_s);
    }

    void trimOptions_data()
    {
        QTest::addColumn<QString>("startLow");
        QTest::addColumn<QString>("startHigh");
        QTest::addColumn<QString>("endLow");
        QTest::addColumn<QString>("endHigh");
        QTest::addColumn<QString>("seek");
        QTest::addColumn<QString>("duration");

        QTest::newRow("10 to 70.5 s")
            << u"10000000"_s << u"0"_s << u"70500000"_s << u"0"_s << u" -ss 10"_s << u" -t 60.5"_s;
        QTest::newRow("0 to 5 s") << u"0"_s << u"0"_s << u"5000000"_s << u"0"_s << u" -ss 0"_s
                                  << u" -t 5"_s;
        QTest::newRow("hundredths") << u"12500000"_s << u"0"_s << u"12540000"_s << u"0"_s
                                    << u" -ss 12.5"_s << u" -t 0.04"_s;
        QTest::newRow("one microsecond") << u"1"_s << u"0"_s << u"2000002"_s << u"0"_s
                                         << u" -ss 0.000001"_s << u" -t 2.000001"_s;
        QTest::newRow("end -1") << u"0"_s << u"0"_s << u"-1"_s << u"-1"_s << u" -ss 0"_s << u""_s;
        QTest::newRow("end empty") << u"0"_s << u"0"_s << u""_s << u""_s << u" -ss 0"_s << u""_s;
        QTest::newRow("start -1") << u"-1"_s << u"0"_s << u"3000000"_s << u"0"_s << u""_s
                                  << u" -t 3"_s;
        QTest::newRow("start empty")
            << u""_s << u""_s << u"3000000"_s << u"0"_s << u""_s << u" -t 3"_s;
        // 3,000,000,000 us: the low half reads negative as a signed number.
        QTest::newRow("low half past 2^31") << u"-1294967296"_s << u"0"_s << u"-1294967296"_s
                                            << u"1"_s << u" -ss 3000"_s << u" -t 4294.967296"_s;
        // The engine's unknown time (only the sign bit) is no end at all.
        QTest::newRow("unknown end")
            << u"0"_s << u"0"_s << u"0"_s << u"-2147483648"_s << u" -ss 0"_s << u""_s;
    }

    void trimOptions()
    {
        QFETCH(QString, startLow);
        QFETCH(QString, startHigh);
        QFETCH(QString, endLow);
        QFETCH(QString, endHigh);
        QFETCH(QString, seek);
        QFETCH(QString, duration);
        QCOMPARE(BuildSeekOption(startLow, startHigh), seek);
        QCOMPARE(BuildDurationOption(startLow, startHigh, endLow, endHigh), duration);
    }

    // A German desktop writes "60,5"; the command line of the engine must still read "60.5".
    void taskCut_data()
    {
        QTest::addColumn<bool>("trimmed");
        QTest::addColumn<qint64>("startUs");
        QTest::addColumn<qint64>("endUs");
        QTest::addColumn<qint64>("fileUs");
        QTest::addColumn<qint64>("cutStart");
        QTest::addColumn<qint64>("cutLength");
        // The probe fills the whole range into every row; it is never cut.
        QTest::newRow("untrimmed") << false << qint64(0) << qint64(60'000'000) << qint64(60'000'000)
                                   << qint64(0) << qint64(-1);
        QTest::newRow("untrimmed, duration 0")
            << false << qint64(0) << qint64(0) << qint64(0) << qint64(0) << qint64(-1);
        QTest::newRow("range") << true << qint64(10'000'000) << qint64(70'500'000)
                               << qint64(90'000'000) << qint64(10'000'000) << qint64(60'500'000);
        QTest::newRow("from the start") << true << qint64(0) << qint64(5'000'000)
                                        << qint64(90'000'000) << qint64(0) << qint64(5'000'000);
        // Where the file is said to end, the sound may go on: the cut runs to its end.
        QTest::newRow("to the stated end") << true << qint64(3'000'000) << qint64(90'000'000)
                                           << qint64(90'000'000) << qint64(3'000'000) << qint64(-1);
        QTest::newRow("length unknown") << true << qint64(3'000'000) << qint64(8'000'000)
                                        << qint64(-1) << qint64(3'000'000) << qint64(5'000'000);
        QTest::newRow("empty range") << true << qint64(3'000'000) << qint64(0) << qint64(0)
                                     << qint64(3'000'000) << qint64(-1);
    }

    void taskCut()
    {
        QFETCH(bool, trimmed);
        QFETCH(qint64, startUs);
        QFETCH(qint64, endUs);
        QFETCH(qint64, fileUs);
        QFETCH(qint64, cutStart);
        QFETCH(qint64, cutLength);
        MediaItem item = sourceItem();
        setTrim(item, startUs, endUs);
        item.set(Field::FileDurationLow, halfText(int32_t(uint32_t(uint64_t(fileUs)))));
        item.set(Field::FileDurationHigh, halfText(int32_t(fileUs >> 32)));
        item.trimmed = trimmed;
        const TaskCut cut = taskCutOf(item);
        QCOMPARE(cut.startUs, cutStart);
        QCOMPARE(cut.lengthUs, cutLength);
    }

    void numbersIgnoreTheDesktopLocale()
    {
        const QLocale previous;
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const bool cLocale = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
        EncoderOptionSettings settings = mp3Settings();
        MediaItem item = sourceItem();
        apply(mpeg1
                + QStringList { u"trim=12500000:73000000"_s, u"FPS=29.97 fps"_s,
                    u"AudioBitrate=4.75 kbps"_s, u"AspectRatio=Smart Fit"_s, u"Width=1280"_s,
                    u"Height=720"_s },
            settings, item);
        const QString options = BuildEncoderOptions(item, settings);
        const QString seek = BuildSeekOption(u"12500000"_s, u"0"_s);
        const int rounded = ToIntegerOr(u"4,75"_s, -7);
        if (cLocale)
            std::setlocale(LC_ALL, "C.UTF-8");
        QLocale::setDefault(previous);

        QCOMPARE(seek, u" -ss 12.5"_s);
        QVERIFY2(options.contains(u" -t 60.5"_s), qPrintable(options));
        QVERIFY2(options.contains(u" -r 30 -aspect 1.78 "_s), qPrintable(options));
        QVERIFY2(options.contains(u" -ab 5k "_s), qPrintable(options));
        QCOMPARE(rounded, -7);
    }

    void toIntegerOr_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("result");
        QTest::newRow("whole") << u"128"_s << 128;
        QTest::newRow("blanks") << u" 7 "_s << 7;
        QTest::newRow("half down to even") << u"4.5"_s << 4;
        QTest::newRow("half up to even") << u"5.5"_s << 6;
        QTest::newRow("negative half") << u"-2.5"_s << -2;
        QTest::newRow("above half") << u"4.75"_s << 5;
        QTest::newRow("upper bound") << u"32767"_s << 32767;
        QTest::newRow("lower bound") << u"-32768"_s << -32768;
        QTest::newRow("past the upper bound") << u"32768"_s << -1;
        QTest::newRow("rounds past the bound") << u"32767.5"_s << -1;
        QTest::newRow("below the lower bound") << u"-32769"_s << -1;
        QTest::newRow("empty") << u""_s << -1;
        QTest::newRow("trailing text") << u"12abc"_s << -1;
        QTest::newRow("comma") << u"4,5"_s << -1;
        QTest::newRow("infinity") << u"inf"_s << -1;
    }

    void toIntegerOr()
    {
        QFETCH(QString, text);
        QFETCH(int, result);
        QCOMPARE(ToIntegerOr(text, -1), result);
    }

    void smartFitAspect_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<QString>("aspect");
        QTest::newRow("720p") << 1280 << 720 << u"1.78"_s;
        QTest::newRow("vga") << 640 << 480 << u"1.33"_s;
        QTest::newRow("whole") << 720 << 360 << u"2"_s;
        QTest::newRow("one decimal") << 1000 << 400 << u"2.5"_s;
        QTest::newRow("half to even") << 9 << 8 << u"1.12"_s;
        QTest::newRow("no height") << 640 << 0 << u""_s;
    }

    void smartFitAspect()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(QString, aspect);
        QCOMPARE(SmartFitAspect(width, height), aspect);
    }

    void secondsTextCases_data()
    {
        QTest::addColumn<qint64>("microseconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << qint64(0) << u"0"_s;
        QTest::newRow("whole") << qint64(3000000) << u"3"_s;
        QTest::newRow("hundredths") << qint64(40000) << u"0.04"_s;
        QTest::newRow("negative") << qint64(-500000) << u"-0.5"_s;
        QTest::newRow("large") << qint64(123456789012345678) << u"123456789012.345678"_s;
        QTest::newRow("most negative")
            << std::numeric_limits<qint64>::min() << u"-9223372036854.775808"_s;
    }

    void secondsTextCases()
    {
        QFETCH(qint64, microseconds);
        QFETCH(QString, text);
        QCOMPARE(secondsText(microseconds), text);
    }

    // The run's settings: the preset fills them, the plan of a trimmed row reads them, and an
    // estimate is written back for the files after it.
    void planFromTheCatalogue()
    {
        QTemporaryDir folder;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, folder.path()));
        OutputSettings settings(catalogue);
        settings.selectFormat(u"MP3"_s);
        settings.applyPresetId(u"MP3-STANDARD"_s);
        MediaItem item = sourceItem();
        setTrim(item, 10000000, 70500000);
        const TaskPlan plan = planTask(item, settings);
        QCOMPARE(plan.inputOptions, u" -ss 10"_s);
        QCOMPARE(plan.outputOptions,
            u"-VideoOutputHook  -ac 2 -ar 44100 -ab 192k -acodec libmp3lame -vn -t 60.5"_s);
        QCOMPARE(plan.extension, u"MP3"_s);
        // The same decisions as values, for an engine that converts in process.
        QVERIFY(plan.encoding && plan.encoding->audio && !plan.encoding->video);
        QCOMPARE(plan.encoding->channels, 2);
        QCOMPARE(plan.encoding->sampleRate, u"44100"_s);
        QCOMPARE(plan.encoding->audioBitrateKbps, 192);
        QCOMPARE(plan.encoding->audioEncoder, u"libmp3lame"_s);
        QCOMPARE(optionString(*plan.encoding), plan.outputOptions);

        settings.applyPresetId(u"MP4-SOURCE"_s);
        if (settings.number(NumberId::VideoBitrate).value != 0)
            QSKIP("the catalogue's MP4 source preset no longer starts from a bit rate of 0");
        const TaskPlan video = planTask(sourceItem(), settings);
        QCOMPARE(video.extension, u"MP4"_s);
        QVERIFY2(
            video.outputOptions.contains(u" -vcodec libx264"_s), qPrintable(video.outputOptions));
        const int estimate = settings.number(NumberId::VideoBitrate).value;
        QVERIFY(estimate > 0);
        QCOMPARE(video.encoding->videoBitrateEstimate, estimate);
        QVERIFY2(video.outputOptions.contains(u" -vb %1k "_s.arg(estimate)),
            qPrintable(video.outputOptions));
    }

    // The copy family: its option string and command say "copy" and nothing a copy cannot
    // honour, the trim stays, and the extension comes from the chosen track's codec.
    void planOfTheCopyFamily()
    {
        QTemporaryDir folder;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, folder.path()));
        OutputSettings settings(catalogue);
        settings.selectFormat(u"Original audio (no re-encoding)"_s);
        MediaItem item = sourceItem();
        setTrim(item, 2000000, 7000000);
        item.source.audioTracks = { AudioTrack { 1, u"ac3"_s, u"AC-3"_s, 6, 48000, 448000, u"eng"_s,
                                        QString(), true, 9000000 },
            AudioTrack {
                2, u"opus"_s, u"Opus"_s, 2, 48000, 96000, u"fra"_s, QString(), false, 9000000 } };
        item.source.audioTrack = 0;
        const TaskPlan plan = planTask(item, settings);
        QCOMPARE(plan.outputOptions, u"-VideoOutputHook  -acodec copy -vn -sn -dn -t 5"_s);
        QCOMPARE(ffmpegOutputWords(*plan.encoding),
            (QStringList { u"-acodec"_s, u"copy"_s, u"-vn"_s, u"-sn"_s, u"-dn"_s }));
        QCOMPARE(plan.inputOptions, u" -ss 2"_s);
        QCOMPARE(plan.extension, u"AC3"_s);
        QCOMPARE(plan.encoding->channels, 0);
        QVERIFY(plan.encoding->audioEncoder.isEmpty());

        item.allAudioTracks = true;
        const QList<TaskPlan> plans = planRowTasks(item, settings);
        QCOMPARE(plans.size(), 2);
        QCOMPARE(plans.at(1).extension, u"OPUS"_s);
        QCOMPARE(plans.at(1).source.audioTrack, 1);
        QCOMPARE(plans.at(1).nameSuffix, u" (track 2, fra)"_s);
        QCOMPARE(plans.at(1).cut, plans.at(0).cut);
    }

    // Every codec the catalogue names must become an encoder the installed ffmpeg has, once
    // the engine has mapped what it substitutes (libfaac).
    void catalogueCodecsHaveEncoders()
    {
        const QSet<QString> encoders = ffmpegEncoders();
        if (encoders.isEmpty())
            QSKIP("the ffmpeg program is not installed");
        QTemporaryDir folder;
        Catalogue catalogue;
        QVERIFY(loadBuiltInCatalogue(catalogue, folder.path()));
        const CatalogueTable &formats = catalogue.formats;
        int checked = 0;
        for (int row = 1; row <= formats.rowCount(); ++row) {
            QString audio = GetCatalogueCell(formats, row, u"AudioCodec"_s).remove(u'#');
            QString video = GetCatalogueCell(formats, row, u"VideoCodec"_s).remove(u'#');
            const QStringList sizes
                = GetCatalogueCell(formats, row, u"AudioSize"_s).split(u';', Qt::SkipEmptyParts);
            for (const QString &size : sizes.isEmpty() ? QStringList { u"16 bit"_s } : sizes) {
                EncoderOptionSettings settings = mp3Settings();
                settings.audioCodec = audio.isEmpty() ? u"No Audio"_s : audio;
                settings.videoCodec = video.isEmpty() ? u"No Video"_s : video;
                settings.audioSize = size;
                settings.videoBitrateValue = u"500"_s;
                const QStringList words
                    = ffmpegOptionWords(BuildEncoderOptions(sourceItem(), settings));
                for (const QString &option : { u"-acodec"_s, u"-vcodec"_s }) {
                    const bool off = option == u"-acodec" ? settings.audioCodec == u"No Audio"
                            || settings.audioCodec == u"Original audio"
                                                          : settings.videoCodec == u"No Video";
                    if (off)
                        continue;
                    const QString encoder = optionValue(words, option);
                    QVERIFY2(encoders.contains(encoder),
                        qPrintable(
                            u"row %1: \"%2\" / \"%3\" %4 gives encoder \"%5\""_s.arg(row).arg(
                                audio, video, size, encoder)));
                    ++checked;
                }
            }
        }
        QVERIFY(checked > 10);
    }
};

QTEST_GUILESS_MAIN(OptionBuilderTest)
#include "option_builder_test.moc"
