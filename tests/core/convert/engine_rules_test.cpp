#include "core/convert/encoder.h"
#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/option_builder.h"
#include "core/convert/option_tokens.h"
#include "core/formats/output_settings.h"
#include "core/media/media_item.h"

#include <QTemporaryDir>
#include <QTest>

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
