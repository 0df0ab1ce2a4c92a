#include "core/convert/encoder.h"
#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/formats/output_settings.h"
#include "core/media/media_item.h"

#include <QTemporaryDir>
#include <QTest>

extern "C" {
#include <libavcodec/codec_id.h>
}

using namespace sonivert;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(sonivert::TaskCut)

// A 640 x 480 source of 90 s with tags; trimmed to 10-70.5 s or whole.
MediaItem sourceItem(bool trimmed)
{
    MediaItem item;
    item.set(Field::VideoWidth, 640);
    item.set(Field::VideoHeight, 480);
    item.set(Field::VideoFrameRateNumerator, 25);
    item.set(Field::VideoSampleAspectRatio, u"1.33"_s);
    item.set(Field::Deinterlacing, u"black"_s);
    item.set(Field::FileDurationLow, u"90000000"_s);
    item.set(Field::FileDurationHigh, u"0"_s);
    item.set(Field::TrimStartLow, trimmed ? u"10000000"_s : u"0"_s);
    item.set(Field::TrimStartHigh, u"0"_s);
    item.set(Field::TrimEndLow, trimmed ? u"70500000"_s : u"90000000"_s);
    item.set(Field::TrimEndHigh, u"0"_s);
    item.trimmed = trimmed;
    item.source.durationUs = 90'000'000;
    item.source.tags = { { u"title"_s, u"A \"B\" C"_s }, { u"artist"_s, u"Band"_s } };
    return item;
}

class EngineRulesTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    Catalogue m_catalogue;

private slots:
    void initTestCase() { QVERIFY(loadBuiltInCatalogue(m_catalogue, m_folder.path())); }

    // The command line is rendered from the plan, as the option texts people read are; for
    // every preset of the catalogue, whole and trimmed, ffmpeg gets the words the texts say.
    void planArgumentsAreTheTextsWords_data()
    {
        QTest::addColumn<int>("presetRow");
        QTest::addColumn<bool>("trimmed");
        const int ids = m_catalogue.presets.columnIndex(u"ID"_s);
        QVERIFY(ids >= 0 && m_catalogue.presets.rowCount() > 20);
        for (int row = 1; row <= m_catalogue.presets.rowCount(); ++row) {
            const QString id = m_catalogue.presets.rows.at(row - 1).value(ids);
            QTest::addRow("%s whole", qPrintable(id)) << row << false;
            QTest::addRow("%s trimmed", qPrintable(id)) << row << true;
        }
    }

    void planArgumentsAreTheTextsWords()
    {
        QFETCH(int, presetRow);
        QFETCH(bool, trimmed);
        OutputSettings settings(m_catalogue);
        settings.ChangePreset(presetRow);
        const TaskPlan plan = planTask(sourceItem(trimmed), settings);
        const QStringList fromTexts = buildFfmpegArguments(u"/in/a.mp4"_s, plan.inputOptions,
            u"/out/.a.x"_s, plan.outputOptions, plan.cut, plan.source);
        QCOMPARE(buildFfmpegArguments(u"/in/a.mp4"_s, u"/out/.a.x"_s, plan), fromTexts);

        EncodeTask task { u"/in/a.mp4"_s, u"/out/a.x"_s, u"/out/.a.x"_s, plan.inputOptions,
            plan.outputOptions, plan.cut, plan.source, plan.encoding };
        QCOMPARE(buildFfmpegArguments(task), fromTexts);
        QCOMPARE(fromTexts.count(u"-ss"_s), trimmed ? 1 : 0);
    }

    void splitWords_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("blanks") << u"  -ac 2   -ar 44100 "_s
                                << QStringList { u"-ac"_s, u"2"_s, u"-ar"_s, u"44100"_s };
        QTest::newRow("quoted filter chain")
            << u" -vf \"scale=320:240, yadif\" -vn"_s
            << QStringList { u"-vf"_s, u"scale=320:240, yadif"_s, u"-vn"_s };
        QTest::newRow("quotes inside a word")
            << u"-metadata title=\"A B\""_s << QStringList { u"-metadata"_s, u"title=A B"_s };
        QTest::newRow("empty quoted word")
            << u"-x \"\" -y"_s << QStringList { u"-x"_s, u""_s, u"-y"_s };
        QTest::newRow("escaped quote")
            << u"\"say \\\"hi\\\"\" a\\ b"_s << QStringList { u"say \"hi\""_s, u"a b"_s };
        QTest::newRow("single quotes are ordinary")
            << u"-af \"volume='0.5'\""_s << QStringList { u"-af"_s, u"volume='0.5'"_s };
        QTest::newRow("backslash kept inside quotes")
            << u"\"drawtext=text=a\\:b\""_s << QStringList { u"drawtext=text=a\\:b"_s };
        QTest::newRow("nothing") << u"   "_s << QStringList {};
    }

    void splitWords()
    {
        QFETCH(QString, options);
        QFETCH(QStringList, words);
        QCOMPARE(splitOptionWords(options), words);
    }

    void ffmpegWords()
    {
        QCOMPARE(
            ffmpegOptionWords(
                u"-VideoOutputHook  -ac 2 -ar 44100 -ab 192k -acodec libmp3lame -vn -t 60.5"_s),
            QStringList({ u"-ac"_s, u"2"_s, u"-ar"_s, u"44100"_s, u"-ab"_s, u"192k"_s, u"-acodec"_s,
                u"libmp3lame"_s, u"-vn"_s, u"-t"_s, u"60.5"_s }));
        QCOMPARE(ffmpegOptionWords(QStringLiteral("-VideoOutputHook  -acodec libfaac -ab 128k")),
            QStringList({ u"-acodec"_s, u"aac"_s, u"-ab"_s, u"128k"_s }));
        // Only as the codec's value: a file or title named libfaac stays.
        QCOMPARE(ffmpegOptionWords(QStringLiteral("-metadata libfaac")),
            QStringList({ u"-metadata"_s, u"libfaac"_s }));
    }

    void arguments()
    {
        SourceFacts facts;
        facts.tags = { { u"title"_s, u"Ünïcode, \"quoted\""_s }, { u"artist"_s, u"Band"_s } };
        const QStringList args = buildFfmpegArguments(QStringLiteral("/in/-a b.avi"),
            QStringLiteral(" -ss 10 -re"), QStringLiteral("/out/.t.MP3"),
            QStringLiteral("-VideoOutputHook  -vn -acodec libmp3lame -t 60.5"), TaskCut {}, facts);
        const qsizetype input = args.indexOf(QStringLiteral("-i"));
        QVERIFY(input > 0);
        // The option texts' cut never reaches ffmpeg: an untrimmed task seeks nowhere.
        QCOMPARE(args.mid(input - 1),
            QStringList(
                { u"-re"_s, u"-i"_s, u"/in/-a b.avi"_s, u"-map_metadata"_s, u"-1"_s, u"-fflags"_s,
                    u"+bitexact"_s, u"-metadata"_s, u"title=Ünïcode, \"quoted\""_s, u"-metadata"_s,
                    u"artist=Band"_s, u"-vn"_s, u"-acodec"_s, u"libmp3lame"_s, u"/out/.t.MP3"_s }));
        for (const char *needed : { "-nostdin", "-hide_banner", "-nostats", "-n" })
            QVERIFY2(args.indexOf(QLatin1String(needed)) < input, needed);
        QCOMPARE(optionValue(args, QStringLiteral("-progress")), QStringLiteral("pipe:1"));
        QVERIFY(!args.contains(QStringLiteral("-VideoOutputHook")));
    }

    void trimmedArguments_data()
    {
        QTest::addColumn<TaskCut>("cut");
        QTest::addColumn<QStringList>("tail");
        QTest::newRow("range") << TaskCut { 10'500'000, 60'000'001 }
                               << QStringList { u"-ss"_s, u"10.5"_s, u"-t"_s, u"60.000001"_s };
        QTest::newRow("from the start")
            << TaskCut { 0, 5'000'000 } << QStringList { u"-t"_s, u"5"_s };
        QTest::newRow("to the end")
            << TaskCut { 3'000'000, -1 } << QStringList { u"-ss"_s, u"3"_s };
    }

    void trimmedArguments()
    {
        QFETCH(TaskCut, cut);
        QFETCH(QStringList, tail);
        const QStringList args = buildFfmpegArguments(u"/in/a.flv"_s, u" -ss 99"_s,
            u"/out/.a.MP3"_s, u"-VideoOutputHook  -vn -t 99"_s, cut, {});
        // The cut follows the input and the person's options, so it is made after decoding.
        const qsizetype input = args.indexOf(u"-i"_s);
        const QStringList expected
            = QStringList { u"-vn"_s } + tail + QStringList { u"/out/.a.MP3"_s };
        QCOMPARE(args.mid(input + 6), expected);
        QCOMPARE(args.count(u"-ss"_s), cut.startUs > 0 ? 1 : 0);
    }

    // What carries the cover and chapters, by the output's format, the cut and the choices. Every
    // input is the source itself, so the command can be run again as it is shown.
    void coverAndChapterWords_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<qint64>("startUs");
        QTest::addColumn<bool>("copy");
        QTest::addColumn<bool>("video");
        QTest::addColumn<int>("coverCodec"); // 0: the source has no picture
        QTest::addColumn<int>("cover"); // CoverChoice
        QTest::addColumn<bool>("chapters");
        QTest::addColumn<QStringList>("before"); // the arguments before the source's "-i"
        QTest::addColumn<QStringList>("expected"); // those after the source
        const QStringList tags = { u"-fflags"_s, u"+bitexact"_s, u"-metadata"_s, u"title=T"_s };
        const QStringList keepChapterTitles
            = { u"-map_metadata:g"_s, u"-1"_s, u"-map_metadata:s"_s, u"-1"_s };
        const QStringList noChapters = { u"-map_metadata"_s, u"-1"_s, u"-map_chapters"_s, u"-1"_s };
        const QStringList maps = { u"-map"_s, u"0:1"_s, u"-map"_s };
        const QStringList copied
            = { u"0:2"_s, u"-c:v"_s, u"copy"_s, u"-disposition:v:0"_s, u"attached_pic"_s };
        const QStringList mp3 = { u"-acodec"_s, u"libmp3lame"_s };
        const QString scale = u"scale=w='max(2,round(iw*sar*min(1,600/max(iw*sar,ih))/2)*2)':"
                              "h='max(2,round(ih*min(1,600/max(iw*sar,ih))/2)*2)':flags=bicubic,"
                              "setsar=1"_s;
        const QStringList jpeg = { u"-frames:v"_s, u"1"_s, u"-filter:v"_s, scale, u"-c:v"_s,
            u"mjpeg"_s, u"-q:v"_s, u"3"_s, u"-disposition:v:0"_s, u"attached_pic"_s };
        const int mjpeg = AV_CODEC_ID_MJPEG;
        const int source = int(CoverChoice::Source);

        // The picture is copied from the source; no "-vn" may drop it again.
        QTest::newRow("mp3 whole")
            << u"/o/.x.MP3"_s << 0ll << false << false << mjpeg << source << true << QStringList()
            << keepChapterTitles + tags + maps + copied + mp3 + QStringList { u"/o/.x.MP3"_s };
        // An output "-ss" would drop the picture: the sound is trimmed after the resampler, and
        // the chapters come from the source on a time line moved back by the start.
        QTest::newRow("mp3 cut") << u"/o/.x.MP3"_s << 2'000'000ll << false << false << mjpeg
                                 << source << true << QStringList()
                                 << QStringList { u"-itsoffset"_s, u"-2"_s, u"-i"_s,
                                        u"/in/a.mkv"_s }
                + keepChapterTitles + QStringList { u"-map_chapters"_s, u"1"_s } + tags + maps
                + copied + mp3
                + QStringList { u"-af"_s, u"aresample=44100,atrim=start=2,asetpts=PTS-STARTPTS"_s,
                      u"/o/.x.MP3"_s };
        // A copy's time line moves back by the start instead, and what falls before zero goes.
        QTest::newRow("copy cut") << u"/o/.x.M4A"_s << 2'500'000ll << true << false << mjpeg
                                  << source << false << QStringList { u"-itsoffset"_s, u"-2.5"_s }
                                  << noChapters + tags + maps + copied
                + QStringList { u"-acodec"_s, u"copy"_s, u"-sn"_s, u"-dn"_s, u"-copypriorss:a"_s,
                      u"0"_s, u"/o/.x.M4A"_s };
        // A picture no holder takes as it is becomes a JPEG.
        QTest::newRow("webp") << u"/o/.x.FLAC"_s << 0ll << false << false << int(AV_CODEC_ID_WEBP)
                              << source << false << QStringList()
                              << noChapters + tags + maps + QStringList { u"0:2"_s } + jpeg + mp3
                + QStringList { u"/o/.x.FLAC"_s };
        // A frame of the video, from the source opened again at a tenth of its duration.
        QTest::newRow("frame") << u"/o/.x.M4B"_s << 0ll << false << false << 0
                               << int(CoverChoice::Frame) << false << QStringList()
                               << QStringList { u"-ss"_s, u"5"_s, u"-t"_s, u"2"_s, u"-i"_s,
                                      u"/in/a.mkv"_s }
                + noChapters + tags + maps + QStringList { u"1:0"_s } + jpeg + mp3
                + QStringList { u"/o/.x.M4B"_s };
        QTest::newRow("no picture, no frame wanted")
            << u"/o/.x.MP3"_s << 1'000'000ll << false << false << 0 << source << false
            << QStringList()
            << noChapters + tags + mp3 + QStringList { u"-vn"_s, u"-ss"_s, u"1"_s, u"/o/.x.MP3"_s };
        // Chapters as comments, which lavf's muxers would not write (or write wrongly).
        QTest::newRow("flac") << u"/o/.x.FLAC"_s << 500'000ll << false << false << mjpeg
                              << int(CoverChoice::None) << true << QStringList()
                              << noChapters + tags
                + QStringList { u"-metadata"_s, u"CHAPTER000=00:00:00.000"_s, u"-metadata"_s,
                      u"CHAPTER000NAME=One"_s, u"-metadata"_s, u"CHAPTER001=00:00:00.500"_s,
                      u"-acodec"_s, u"libmp3lame"_s, u"-vn"_s, u"-ss"_s, u"0.5"_s,
                      u"/o/.x.FLAC"_s };
        QTest::newRow("no chapters wanted")
            << u"/o/.x.M4A"_s << 0ll << false << false << mjpeg << int(CoverChoice::None) << false
            << QStringList() << noChapters + tags + mp3 + QStringList { u"-vn"_s, u"/o/.x.M4A"_s };
        // Nothing holds them: no cover, and ffmpeg is told not to copy chapters.
        QTest::newRow("wav") << u"/o/.x.WAV"_s << 0ll << false << false << mjpeg << source << true
                             << QStringList()
                             << noChapters + tags + mp3 + QStringList { u"-vn"_s, u"/o/.x.WAV"_s };
        // A video output keeps ffmpeg's own choice of streams.
        QTest::newRow("video") << u"/o/.x.MP4"_s << 0ll << false << true << mjpeg << source << true
                               << QStringList() << keepChapterTitles + tags;
    }

    void coverAndChapterWords()
    {
        QFETCH(QString, output);
        QFETCH(qint64, startUs);
        QFETCH(bool, copy);
        QFETCH(bool, video);
        QFETCH(int, coverCodec);
        QFETCH(int, cover);
        QFETCH(bool, chapters);
        QFETCH(QStringList, before);
        QFETCH(QStringList, expected);
        EncodeTask task;
        task.input = u"/in/a.mkv"_s;
        task.temporaryOutput = output;
        task.cut = { startUs, -1 };
        task.facts.durationUs = 50'000'000;
        task.facts.audioStream = 1;
        task.facts.videoStream = 0;
        task.facts.coverStream = coverCodec ? 2 : -1;
        task.facts.coverCodec = coverCodec;
        task.facts.tags = { { u"title"_s, u"T"_s } };
        task.facts.chapters = { { 0, 1'000'000, "One" }, { 1'000'000, 2'000'000, "" } };
        EncodePlan plan;
        plan.copyAudio = copy;
        plan.audioEncoder = u"libmp3lame"_s;
        plan.sampleRate = u"44100"_s;
        plan.video = video;
        task.plan = plan;
        task.extras = { CoverChoice(cover), chapters };
        const QStringList args = buildFfmpegArguments(task);
        const qsizetype input = args.indexOf(u"/in/a.mkv"_s);
        const qsizetype first = args.indexOf(u"-n"_s) + 1;
        QCOMPARE(args.mid(first, input - 1 - first), before);
        const QStringList after = args.mid(input + 1);
        if (video) {
            QCOMPARE(after.mid(0, expected.size()), expected);
            QVERIFY(!after.contains(u"-map"_s));
            return;
        }
        // The encoding words of the plan sit between, as everywhere: only the ends are compared.
        QStringList kept = after;
        for (const char *word : { "-ac", "-ar", "-ab" }) {
            const qsizetype at = kept.indexOf(QLatin1String(word));
            if (at >= 0)
                kept.remove(at, 2);
        }
        QCOMPARE(kept, expected);
    }

    void commandLineTextCases()
    {
        QCOMPARE(commandLineText({ u"ffmpeg"_s, u"-i"_s, u"/in/a b.mp4"_s, u"it's"_s, u""_s,
                     u"-metadata"_s, u"title=x,y"_s, u"/out/ü.MP3"_s }),
            u"ffmpeg -i '/in/a b.mp4' 'it'\\''s' '' -metadata title=x,y '/out/ü.MP3'"_s);
    }

    void expectedLength_data()
    {
        QTest::addColumn<qint64>("duration");
        QTest::addColumn<TaskCut>("cut");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("whole") << qint64(90'000'000) << TaskCut {} << qint64(90'000'000);
        QTest::newRow("from a start")
            << qint64(90'000'000) << TaskCut { 10'500'000, -1 } << qint64(79'500'000);
        QTest::newRow("range") << qint64(90'000'000) << TaskCut { 10'000'000, 60'500'000 }
                               << qint64(60'500'000);
        QTest::newRow("range past the end")
            << qint64(5'000'000) << TaskCut { 0, 60'000'000 } << qint64(5'000'000);
        QTest::newRow("start past the end")
            << qint64(5'000'000) << TaskCut { 6'000'000, -1 } << qint64(0);
        QTest::newRow("unknown duration, range")
            << qint64(-1) << TaskCut { 0, 60'000'000 } << qint64(60'000'000);
        QTest::newRow("unknown duration, whole") << qint64(-1) << TaskCut {} << qint64(0);
    }

    void expectedLength()
    {
        QFETCH(qint64, duration);
        QFETCH(TaskCut, cut);
        QFETCH(qint64, expected);
        QCOMPARE(expectedOutputLength(duration, cut), expected);
    }

    void logLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << u"[info] Stream mapping:"_s << int(LogInfo)
                               << u"Stream mapping:"_s;
        QTest::newRow("component")
            << u"[mov,mp4,m4a,3gp,3g2,mj2 @ 0x559c67c328c0] [error] moov atom not found"_s
            << int(LogError) << u"moov atom not found"_s;
        QTest::newRow("nested components")
            << u"[Parsed_volume_0 @ 0x5596] [Eval @ 0x7ffe4ba477e0] [error] Undefined constant"_s
            << int(LogError) << u"Undefined constant"_s;
        QTest::newRow("fatal") << u"[fatal] Unknown encoder 'libfaac'"_s << int(LogFatal)
                               << u"Unknown encoder 'libfaac'"_s;
        QTest::newRow("untagged") << u"some text [x @ 0x1] here"_s << int(LogInfo)
                                  << u"some text [x @ 0x1] here"_s;
    }

    void logLines()
    {
        QFETCH(QString, line);
        QFETCH(int, level);
        QFETCH(QString, text);
        const FfmpegLogLine parsed = parseFfmpegLogLine(line);
        QCOMPARE(parsed.level, level);
        QCOMPARE(parsed.text, text);
    }

    void messages_data()
    {
        QTest::addColumn<QStringList>("errors");
        QTest::addColumn<bool>("hasAudio");
        QTest::addColumn<QString>("expected");
        const QString in = QStringLiteral("/in/a b.mp4");
        QTest::newRow("undecodable input") << QStringList {
            u"moov atom not found"_s, in + u": Invalid data found when processing input"_s
        } << true << in + u": Invalid data found when processing input"_s;
        QTest::newRow("missing input") << QStringList { in + u": No such file or directory"_s }
                                       << true << in + u": No such file or directory"_s;
        QTest::newRow("output path") << QStringList { u"/out/a.MP3: Permission denied"_s,
            u"Error opening output files: Permission denied"_s }
                                     << true << u"/out/a.MP3: Permission denied"_s;
        QTest::newRow("full disk")
            << QStringList { u"av_interleaved_write_frame(): No space left on device"_s,
                   u"    Last message repeated 3 times"_s,
                   u"Error writing trailer of /out/a.MP3: No space left on device"_s }
            << true << NoSpaceMessage;
        QTest::newRow("full disk on the trailer")
            << QStringList { u"Error writing trailer of /out/a.MP3: No space left on device"_s }
            << true << NoSpaceMessage;
        QTest::newRow("rejected parameters") << QStringList {
            u"Specified sample rate 96000 is not supported"_s,
            u"Error initializing output stream 0:0 -- Error while opening encoder for output "_s
            u"stream #0:0 - maybe incorrect parameters such as bit_rate, rate, width or "_s
            u"height"_s
        } << true << RejectedParametersMessage;
        QTest::newRow("no sound track")
            << QStringList { u"Output file #0 does not contain any stream"_s } << false
            << NoSoundTrackMessage;
        QTest::newRow("no stream although there is sound")
            << QStringList { u"Output file #0 does not contain any stream"_s } << true
            << u"Output file #0 does not contain any stream"_s;
        QTest::newRow("last error line") << QStringList { u"Error reinitializing filters!"_s,
            u"Failed to inject frame"_s, u"    Last message repeated 1 times"_s }
                                         << true << u"Failed to inject frame"_s;
        QTest::newRow("missing encoder") << QStringList { u"Unknown encoder 'libopencore_amrnb'"_s }
                                         << true << u"Unknown encoder 'libopencore_amrnb'"_s;
        QTest::newRow("nothing") << QStringList {} << true << QString();
    }

    void messages()
    {
        QFETCH(QStringList, errors);
        QFETCH(bool, hasAudio);
        QFETCH(QString, expected);
        const FailureFacts facts { QStringLiteral("/in/a b.mp4"), QStringLiteral("/out/a.MP3"),
            hasAudio };
        QCOMPARE(engineMessage(errors, facts), expected);
    }
};

QTEST_GUILESS_MAIN(EngineRulesTest)
#include "engine_rules_test.moc"
