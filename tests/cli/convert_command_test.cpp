#include "core/convert/option_tokens.h"
#include "core/media/media_item.h"
#include "core/media/probe.h"
#include "support/awkward_media.h"
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

extern "C" {
#include <libavcodec/avcodec.h>
}

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

namespace {

double durationSeconds(const MediaItem &item)
{
    return double(
               joinHalfTexts(item.text(Field::FileDurationLow), item.text(Field::FileDurationHigh)))
        / 1e6;
}

// The name the probe gives the codec an encoder writes: libmp3lame writes "MPEG audio layer 3".
QString codecNameOfEncoder(const QString &encoder)
{
    const QByteArray name = encoder.toUtf8();
    const AVCodec *codec = avcodec_find_encoder_by_name(name.constData());
    const AVCodecDescriptor *descriptor = codec ? avcodec_descriptor_get(codec->id)
                                                : avcodec_descriptor_get_by_name(name.constData());
    if (!descriptor)
        return QString();
    return NormaliseCodecName(
        QString::fromUtf8(descriptor->long_name ? descriptor->long_name : descriptor->name));
}

QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
}

} // namespace

// The convert command against the real ffmpeg: every offered format, trimming, the plan of a
// dry run, the exit codes, no overwriting and a clean stop.
class ConvertCommandTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_clip; // 0.6 s, video and stereo audio at 48000 Hz
    QString m_longer; // 1.5 s, for trimming

    QString path(const QString &name) const { return m_dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = path(u"clip.mkv"_s);
        ClipOptions options;
        options.seconds = 0.6;
        options.width = 160;
        options.height = 120;
        options.sampleRate = 48000;
        QVERIFY(makeClip(m_clip, options));
        m_longer = path(u"longer.mp4"_s);
        options.seconds = 1.5;
        options.sampleRate = 44100;
        QVERIFY(makeClip(m_longer, options));
    }

    // Each offered family with its default preset: the file the plan names is there, with the
    // codec, rate and channels the plan asked for and the length of the source.
    void everyOfferedFormatConverts()
    {
        const CliRun formats = runCli({ u"formats"_s });
        QCOMPARE(formats.exitCode, 0);
        const QStringList keywords = formats.text().split(u'\n', Qt::SkipEmptyParts);
        QVERIFY(keywords.size() >= 10);
        const ProbeResult source = probeMediaFile(m_clip);
        QVERIFY(source.ok);

        for (const QString &keyword : keywords) {
            const QString out = path(u"formats/"_s + QString(keyword).replace(u' ', u'_'));
            const QStringList common { u"convert"_s, u"--format"_s, keyword, u"-o"_s, out,
                u"--json"_s, m_clip };
            const CliRun plan = runCli(common + QStringList { u"--dry-run"_s });
            QVERIFY2(plan.exitCode == 0, qPrintable(plan.err));
            const QJsonObject planned = plan.json().array().at(0).toObject();
            const QStringList words = ffmpegOptionWords(planned[u"options"].toString());

            const CliRun run = runCli(common + QStringList { u"--threads"_s, u"2"_s });
            QVERIFY2(run.exitCode == 0, qPrintable(keyword + u": "_s + run.err));
            const QJsonObject result = run.json().array().at(0).toObject();
            QCOMPARE(result[u"state"].toString(), u"done"_s);
            const QString output = result[u"output"].toString();
            QCOMPARE(output, planned[u"output"].toString());
            QCOMPARE(filesIn(out), QStringList { QFileInfo(output).fileName() });

            const ProbeResult probe = probeMediaFile(output);
            QVERIFY2(probe.ok, qPrintable(keyword + u": "_s + probe.message));
            const MediaItem &item = probe.item;
            const QString what = keyword + u": "_s + commandLineText(words);
            QVERIFY2(!item.boolean(Field::VideoStream), qPrintable(what));
            if (words.contains(u"copy"_s)) {
                // The source's own sound, as it is.
                for (int field : { int(Field::AudioCodecName), int(Field::AudioSampleRate),
                         int(Field::AudioChannels) })
                    QCOMPARE(item.get(field), source.item.get(field));
                QVERIFY2(qAbs(durationSeconds(item) - durationSeconds(source.item)) < 0.1,
                    qPrintable(what));
                continue;
            }
            QCOMPARE(item.text(Field::AudioCodecName),
                codecNameOfEncoder(optionValue(words, u"-acodec"_s)));
            QCOMPARE(QString::number(item.integer(Field::AudioSampleRate)),
                optionValue(words, u"-ar"_s));
            QCOMPARE(
                QString::number(item.integer(Field::AudioChannels)), optionValue(words, u"-ac"_s));
            QVERIFY2(qAbs(durationSeconds(item) - durationSeconds(source.item)) < 0.1,
                qPrintable(what + u" lasts %1 s"_s.arg(durationSeconds(item))));
        }
    }

    // The range as the trim editor would store it; the output lasts that long within one
    // audio frame of the format.
    void trimConvertsTheRange_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("frameSamples");
        QTest::newRow("wav") << u"WAV"_s << 1;
        QTest::newRow("m4a") << u"AAC (M4A)"_s << 1024;
        QTest::newRow("ogg") << u"OGG Vorbis"_s << 1024;
    }

    void trimConvertsTheRange()
    {
        QFETCH(QString, format);
        QFETCH(int, frameSamples);
        const QString out = path(u"trim-"_s + format);
        const CliRun run = runCli({ u"convert"_s, u"--format"_s, format, u"--trim"_s,
            u"0.25:0.95"_s, u"-o"_s, out, u"--json"_s, m_longer });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QString output = run.json().array().at(0).toObject()[u"output"].toString();
        const ProbeResult probe = probeMediaFile(output);
        QVERIFY2(probe.ok, qPrintable(probe.message));
        const double frame = double(frameSamples) / probe.item.integer(Field::AudioSampleRate);
        const double length = durationSeconds(probe.item);
        QVERIFY2(qAbs(length - 0.7) <= frame + 1e-6, qPrintable(u"%1 s"_s.arg(length)));
    }

    void dryRunJsonShape()
    {
        const QString out = path(u"dry"_s);
        const CliRun run = runCli({ u"convert"_s, u"--dry-run"_s, u"--json"_s, u"--trim"_s,
            u"0.5:"_s, u"-o"_s, out, m_clip, m_longer });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonArray files = run.json().array();
        QCOMPARE(files.size(), 2);
        const QJsonObject first = files.at(0).toObject();
        QCOMPARE(first.keys(),
            (QStringList { u"argv"_s, u"audioTrack"_s, u"engine"_s, u"file"_s, u"options"_s,
                u"output"_s, u"seek"_s, u"settings"_s }));
        QCOMPARE(first[u"engine"].toString(), u"worker"_s); // sonivert-worker is beside it
        QCOMPARE(first[u"file"].toString(), m_clip);
        QCOMPARE(first[u"seek"].toString(), u" -ss 0.5"_s);
        // The first family and its default preset, as the main window starts.
        QVERIFY2(first[u"options"].toString().startsWith(
                     u"-VideoOutputHook  -ac 2 -ar 44100 -ab 192k -acodec libmp3lame -vn -t 0."_s),
            qPrintable(first[u"options"].toString()));
        QCOMPARE(first[u"output"].toString(), out + u"/clip.MP3"_s);

        const QStringList argv = first[u"argv"].toVariant().toStringList();
        QVERIFY(argv.first().endsWith(u"ffmpeg"_s));
        QCOMPARE(argv.last(), out + u"/clip.MP3"_s);
        QCOMPARE(argv.at(argv.indexOf(u"-i"_s) + 1), m_clip);
        // The trim is cut after decoding, never by a seek in the input.
        QVERIFY(argv.indexOf(u"-ss"_s) > argv.indexOf(u"-i"_s));
        QCOMPARE(argv.at(argv.indexOf(u"-ss"_s) + 1), u"0.5"_s);
        QVERIFY(!argv.contains(u"-VideoOutputHook"_s));

        const QJsonObject settings = first[u"settings"].toObject();
        QCOMPARE(settings[u"lists"][u"AudioCodec"][u"selected"].toString(), u"MP3"_s);
        QCOMPARE(settings[u"QualityLevel"].toString(), u"Standard"_s);
        QVERIFY(settings[u"VideoBitrateValue"].isObject());
        // Nothing is written by a dry run.
        QVERIFY(filesIn(out).isEmpty());
        QCOMPARE(files.at(1).toObject()[u"output"].toString(), out + u"/longer.MP3"_s);
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no file") << QStringList { u"-o"_s, u"x"_s };
        QTest::newRow("unknown option") << QStringList { u"--fast"_s, u"a.mkv"_s };
        QTest::newRow("end before start") << QStringList { u"--trim"_s, u"5:2"_s, u"a.mkv"_s };
        QTest::newRow("trim with a comma") << QStringList { u"--trim"_s, u"0,5:2"_s, u"a.mkv"_s };
        QTest::newRow("threads not a number")
            << QStringList { u"--threads"_s, u"two"_s, u"a.mkv"_s };
        QTest::newRow("unknown format") << QStringList { u"--format"_s, u"XYZ"_s, u"a.mkv"_s };
        QTest::newRow("not an entry")
            << QStringList { u"--set"_s, u"SampleRate=7 Hz"_s, u"a.mkv"_s };
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const CliRun run = runCli(QStringList { u"convert"_s } + args);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.err.startsWith(u"sonivert-cli convert: "_s));
    }

    void unusableOutputFolder()
    {
        const QString file = path(u"a-file"_s);
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        for (const QString &folder : { file, file + u"/below"_s }) {
            const CliRun run = runCli({ u"convert"_s, u"-o"_s, folder, m_clip });
            QCOMPARE(run.exitCode, 3);
            QVERIFY(run.err.contains(folder));
        }
    }

    void existingOutputIsKept()
    {
        const QString out = path(u"existing"_s);
        QVERIFY(QDir().mkpath(out));
        QFile taken(out + u"/clip.MP3"_s);
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.write("keep me");
        taken.close();
        const CliRun run = runCli({ u"convert"_s, u"-o"_s, out, m_clip, m_clip });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QVERIFY(taken.open(QIODevice::ReadOnly));
        QCOMPARE(taken.readAll(), QByteArray("keep me"));
        QCOMPARE(filesIn(out),
            (QStringList { u"clip.MP3"_s, u"clip_(new).MP3"_s, u"clip_(new_1).MP3"_s }));
        QVERIFY(probeMediaFile(out + u"/clip_(new_1).MP3"_s).ok);
    }

    void brokenInputIsReported()
    {
        const QString broken = path(u"broken.mkv"_s);
        QFile f(broken);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QByteArray(4096, 'x'));
        f.close();
        const QString out = path(u"broken-out"_s);
        const CliRun run = runCli({ u"convert"_s, u"-o"_s, out, broken, m_clip });
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(u"  broken.mkv: "_s + broken
                     + u": Invalid data found when processing input\n"_s),
            qPrintable(run.err));
        QCOMPARE(filesIn(out), QStringList { u"clip.MP3"_s });
        QVERIFY(run.out.contains("1 of 2 files converted"));
    }

    // A container that misstates its length still gives all of its sound; an output that ffmpeg
    // finished with status 0 but that lacks sound is a failure, and no such file stays.
    void doneMeansWhole()
    {
        QString error;
        const QList<AwkwardClip> clips = makeAwkwardClips(path(u""_s), &error);
        QVERIFY2(!clips.isEmpty(), qPrintable(error));
        const QString zero = std::find_if(clips.begin(), clips.end(), [](const AwkwardClip &c) {
            return c.path.endsWith(u"zero.wmv"_s);
        })->path;
        const QString damaged = path(u"damaged.m4a"_s);
        QVERIFY(makeDamagedSound(damaged));
        const QString out = path(u"whole-out"_s);
        const CliRun run = runCli({ u"convert"_s, u"--format"_s, u"OGG Vorbis"_s, u"-o"_s, out,
            u"--json"_s, zero, damaged });
        QCOMPARE(run.exitCode, 1);
        const QJsonArray files = run.json().array();
        QCOMPARE(files.size(), 2);
        QCOMPARE(files.at(0)[u"state"].toString(), u"done"_s);
        QCOMPARE(files.at(1)[u"state"].toString(), u"failed"_s);
        QCOMPARE(
            files.at(1)[u"message"].toString(), u"The output holds 2.0 s of the expected 3.0 s."_s);
        QCOMPARE(filesIn(out), QStringList { u"zero.OGG"_s });
        QVERIFY(std::abs(decodedSeconds(out + u"/zero.OGG"_s) - AwkwardSoundSeconds) < 0.08);
    }

    // Ctrl+C while a file is being written: the run ends with status 1 and leaves no file, not
    // even the hidden one the engine writes to.
    void interruptLeavesNoPartialFile()
    {
        const QString source = path(u"ten-minutes.wav"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"sine=frequency=440:sample_rate=22050:duration=600"_s, source }));
        const QString out = path(u"interrupted"_s);
        QProcess cli;
        cli.start(cliProgram(),
            { u"convert"_s, u"--format"_s, u"OGG Vorbis"_s, u"-o"_s, out, source, source });
        QVERIFY(cli.waitForStarted());
        QByteArray seen;
        while (!seen.contains('%') && cli.state() == QProcess::Running) {
            cli.waitForReadyRead(200);
            seen += cli.readAllStandardOutput();
        }
        QVERIFY2(seen.contains("0%"), seen.constData());
        QVERIFY(!filesIn(out).isEmpty()); // the engine's hidden file is being written
        ::kill(pid_t(cli.processId()), SIGINT);
        QVERIFY(cli.waitForFinished(30000));
        QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
        QCOMPARE(cli.exitCode(), 1);
        QCOMPARE(filesIn(out), QStringList {});
        QVERIFY(cli.readAllStandardError().contains("Stopped"));
    }
};

QTEST_GUILESS_MAIN(ConvertCommandTest)
#include "convert_command_test.moc"
