// One file encoded in segments by several workers and joined, against the same file in one pass:
// the same decoded length, no more error near the joins than the single pass has there (the
// measure of a seamless join), a joined file that ffmpeg decodes without a word, and for MP3 an
// Info header that gives the stream's true duration.
#include "core/convert/conversion_run.h"
#include "core/convert/segmented_encode_job.h"
#include "core/convert/worker_encode_job.h"
#include "core/media/source_facts.h"
#include "support/media_maker.h"

#include <QDir>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <cstring>
#include <vector>

using namespace sonivert;
using namespace Qt::Literals::StringLiterals;
using sonivert::test::runFfmpeg;

namespace {

constexpr double MinimumSegmentSeconds = 2.0;
constexpr double WindowSeconds = 0.05;
constexpr double NearJoinSeconds = 2.0;
constexpr double AllowedDb = 3.0;

struct Converted
{
    RowOutcome outcome = RowOutcome::Waiting;
    QString message;
    QString output;
    int segments = 0;
};

Converted convert(const QString &input, const QString &folder, const QString &extension,
    const EncodePlan &plan, const TaskCut &cut, int threads, bool segments)
{
    ConversionRun run;
    run.setEngineChoice(EngineChoice::Worker);
    run.setSegmentation(segments);
    run.setMinimumSegmentSeconds(MinimumSegmentSeconds);
    run.begin(folder);
    TaskPlan task;
    task.extension = extension;
    task.cut = cut;
    task.source = readSourceFacts(input);
    task.encoding = plan;
    Converted result;
    if (run.addRow(0, input, task).isEmpty()) {
        result.message = run.LastErrorText();
        return result;
    }
    QSignalSpy ended(&run, &ConversionRun::runEnded);
    run.start(threads);
    if (ended.isEmpty() && !ended.wait(60'000))
        result.message = QStringLiteral("the run did not end");
    result.outcome = run.outcome(0);
    result.output = run.finalOutput(0);
    result.segments = run.taskSegments(0);
    if (!run.failures().isEmpty())
        result.message = run.failures().first().message;
    return result;
}

struct Pcm
{
    std::vector<float> samples; // interleaved stereo
    QString errors; // what ffmpeg -v error said while decoding
    qint64 frames() const { return qint64(samples.size() / 2); }
};

Pcm decodePcm(const QString &path, int rate, const QStringList &before = {})
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
        QStringList { QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
            QStringLiteral("-err_detect"), QStringLiteral("crccheck") }
            + before
            + QStringList { QStringLiteral("-i"), path, QStringLiteral("-ac"), QStringLiteral("2"),
                QStringLiteral("-ar"), QString::number(rate), QStringLiteral("-f"),
                QStringLiteral("f32le"), QStringLiteral("-") });
    ffmpeg.waitForFinished(60'000);
    Pcm pcm;
    const QByteArray bytes = ffmpeg.readAllStandardOutput();
    pcm.samples.resize(size_t(bytes.size()) / sizeof(float));
    std::memcpy(pcm.samples.data(), bytes.constData(), pcm.samples.size() * sizeof(float));
    pcm.errors = QString::fromUtf8(ffmpeg.readAllStandardError()).trimmed();
    if (ffmpeg.exitCode() != 0 && pcm.errors.isEmpty())
        pcm.errors = QStringLiteral("ffmpeg exited with %1").arg(ffmpeg.exitCode());
    return pcm;
}

double windowError(const Pcm &coded, const Pcm &source, qint64 from, qint64 count)
{
    double energy = 0;
    for (qint64 i = from * 2; i < (from + count) * 2; ++i) {
        const double d = double(coded.samples[size_t(i)]) - double(source.samples[size_t(i)]);
        energy += d * d;
    }
    return energy;
}

// What ffprobe reads, by default the duration (from the Info header's frame count) and the frames
// it counts.
QStringList probed(const QString &path,
    const QString &entries = QStringLiteral("format=duration:stream=nb_read_packets"))
{
    QProcess probe;
    probe.start(QStringLiteral("ffprobe"),
        { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-count_packets"),
            QStringLiteral("-show_entries"), entries, QStringLiteral("-of"),
            QStringLiteral("default=nw=1:nk=1"), path });
    probe.waitForFinished(30'000);
    return QString::fromUtf8(probe.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

EncodePlan audioPlan(const QString &encoder, int rate, int kbps)
{
    EncodePlan plan;
    plan.channels = 2;
    plan.sampleRate = QString::number(rate);
    plan.audioBitrateKbps = kbps;
    plan.audioEncoder = encoder;
    return plan;
}

} // namespace

class SegmentJoinTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
            QSKIP("the ffmpeg program is needed to make and decode the test media");
        QVERIFY(m_dir.isValid());
    }

    void joinedMatchesSinglePass_data()
    {
        QTest::addColumn<QString>("sound"); // a lavfi source, two channels
        QTest::addColumn<int>("sourceRate");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("container"); // of the source
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("kbps");
        QTest::addColumn<qint64>("startUs"); // 2.5 s starts within an encoder frame
        QTest::addColumn<int>("threads");

        const QString tone = QStringLiteral("aevalsrc=0.5*sin(2*PI*440*t)|0.4*sin(2*PI*660*t)");
        const QString noise = QStringLiteral("anoisesrc=a=0.3:c=pink");
        const QString sweep
            = QStringLiteral("aevalsrc=0.5*sin(2*PI*(100*t+300*t*t))|0.5*sin(2*PI*(80*t+200*t*t))");
        const QString bursts = QStringLiteral(
            "aevalsrc=0.6*sin(2*PI*190*t+3*sin(2*PI*5*t))*gt(sin(2*PI*1.3*t)\\,0.2)"
            "|0.5*sin(2*PI*240*t)*gt(sin(2*PI*0.9*t+1)\\,0.3)");
        const QString silence = QStringLiteral("anullsrc=cl=stereo");

        QTest::newRow("mp3 tone 44.1k") << tone << 44100 << 8.0 << u"wav"_s << u"MP3"_s
                                        << u"libmp3lame"_s << 44100 << 192 << qint64(0) << 2;
        QTest::newRow("mp3 noise 48k->44.1k, aac source")
            << noise << 48000 << 8.0 << u"m4a"_s << u"MP3"_s << u"libmp3lame"_s << 44100 << 192
            << qint64(0) << 2;
        QTest::newRow("mp3 sweep 48k, trimmed, three segments")
            << sweep << 48000 << 12.5 << u"wav"_s << u"MP3"_s << u"libmp3lame"_s << 48000 << 128
            << qint64(2'500'000) << 3;
        QTest::newRow("mp3 bursts") << bursts << 44100 << 8.0 << u"wav"_s << u"MP3"_s
                                    << u"libmp3lame"_s << 44100 << 192 << qint64(0) << 2;
        // LAME's reservoir stays fuller in the later segment here: the join needs a larger frame.
        // Short segments, four joins, and a reservoir that LAME keeps full on this sound.
        QTest::newRow("mp3 tone over noise 128k, five segments")
            << u"sine=f=440:r=48000:d=12[t];anoisesrc=r=48000:d=12:a=0.2[n];[t][n]amix=2[out0]"_s
            << 48000 << 12.0 << u"m4a"_s << u"MP3"_s << u"libmp3lame"_s << 44100 << 128 << qint64(0)
            << 5;
        QTest::newRow("mp3 silence") << silence << 44100 << 7.0 << u"wav"_s << u"MP3"_s
                                     << u"libmp3lame"_s << 44100 << 192 << qint64(0) << 2;
        QTest::newRow("aac noise 48k") << noise << 48000 << 45.0 << u"wav"_s << u"M4A"_s << u"aac"_s
                                       << 48000 << 192 << qint64(0) << 2;
        QTest::newRow("aac sweep 48k->44.1k, trimmed")
            << sweep << 48000 << 50.0 << u"wav"_s << u"M4A"_s << u"aac"_s << 44100 << 128
            << qint64(2'500'000) << 2;
        QTest::newRow("flac bursts 48k->44.1k, trimmed, three segments")
            << bursts << 48000 << 12.5 << u"m4a"_s << u"FLAC"_s << u"flac"_s << 44100 << 0
            << qint64(2'500'000) << 3;
        QTest::newRow("wav tone") << tone << 44100 << 7.0 << u"wav"_s << u"WAV"_s << u"pcm_s16le"_s
                                  << 44100 << 0 << qint64(0) << 2;
    }

    void joinedMatchesSinglePass()
    {
        QFETCH(QString, sound);
        QFETCH(int, sourceRate);
        QFETCH(double, seconds);
        QFETCH(QString, container);
        QFETCH(QString, extension);
        QFETCH(QString, encoder);
        QFETCH(int, rate);
        QFETCH(int, kbps);
        QFETCH(qint64, startUs);
        QFETCH(int, threads);

        const QString name = QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'_');
        const QString input = m_dir.filePath(name + QLatin1Char('.') + container);
        // A whole graph names its own length and rate.
        const QString graph = sound.contains(QStringLiteral("[out0]")) ? sound
                                                                       : sound
                + QStringLiteral(":d=%1:%2=%3")
                      .arg(seconds)
                      .arg(sound.startsWith(u"aeval") ? u"s"_s : u"r"_s)
                      .arg(sourceRate);
        QStringList make { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            graph, QStringLiteral("-ac"), QStringLiteral("2") };
        make << QStringLiteral("-metadata") << QStringLiteral("title=Long take")
             << QStringLiteral("-metadata") << QStringLiteral("artist=Tester");
        if (container == QLatin1String("m4a"))
            make << QStringLiteral("-c:a") << QStringLiteral("aac") << QStringLiteral("-b:a")
                 << QStringLiteral("256k");
        QString makeError;
        QVERIFY2(runFfmpeg(make << input, &makeError), qPrintable(makeError));

        const QString singleFolder = m_dir.filePath(name + QStringLiteral("-single"));
        const QString joinedFolder = m_dir.filePath(name + QStringLiteral("-joined"));
        QVERIFY(QDir().mkpath(singleFolder) && QDir().mkpath(joinedFolder));
        const EncodePlan plan = audioPlan(encoder, rate, kbps);
        const TaskCut cut { startUs, -1 };
        const Converted single = convert(input, singleFolder, extension, plan, cut, threads, false);
        QCOMPARE(single.message, QString());
        QCOMPARE(single.outcome, RowOutcome::Done);
        QCOMPARE(single.segments, 1);
        const Converted joined = convert(input, joinedFolder, extension, plan, cut, threads, true);
        QCOMPARE(joined.message, QString());
        QCOMPARE(joined.outcome, RowOutcome::Done);
        QCOMPARE(joined.segments, threads);
        // Nothing but the output is left: no segment file, no temporary output.
        QCOMPARE(QDir(joinedFolder).entryList(QDir::Files | QDir::Hidden).size(), 1);

        const Pcm a = decodePcm(single.output, rate);
        const Pcm b = decodePcm(joined.output, rate);
        QCOMPARE(a.errors, QString());
        QCOMPARE(b.errors, QString());
        QCOMPARE(b.frames(), a.frames());
        const QStringList seek = startUs > 0
            ? QStringList { QStringLiteral("-ss"), QString::number(startUs / 1e6, 'f', 6) }
            : QStringList();
        const Pcm source = decodePcm(input, rate, seek);
        QVERIFY(source.frames() >= a.frames() - rate / 10);

        // The joins lie on the encoder's frame grid, within a frame of where the run puts them.
        const qint64 window = qint64(WindowSeconds * rate);
        const qint64 near = qint64((NearJoinSeconds + 0.1) * rate);
        const qint64 length = std::min(a.frames(), source.frames());
        const QList<qint64> starts
            = segmentStarts(a.frames(), threads, segmentCostsFor(encoder, rate));
        for (int j = 1; j < threads; ++j) {
            const qint64 join = starts.at(j);
            for (qint64 at = std::max<qint64>(join - near, 0);
                 at + window <= std::min(join + near, length); at += window) {
                const double singleError = windowError(a, source, at, window);
                const double joinedError = windowError(b, source, at, window);
                // Silence coded as silence has no error to compare against.
                const double floor = 1e-9 * double(window);
                const double db = 10 * std::log10((joinedError + floor) / (singleError + floor));
                if (db > AllowedDb) {
                    QFAIL(qPrintable(QStringLiteral("%1 dB more error than one pass at %2 s")
                                         .arg(db, 0, 'f', 1)
                                         .arg(double(at) / rate, 0, 'f', 2)));
                }
            }
        }
        // Tags as one pass writes them, whatever the join did to the stream.
        const QStringList tags = probed(joined.output, QStringLiteral("format_tags"));
        QCOMPARE(tags, probed(single.output, QStringLiteral("format_tags")));
        QVERIFY2(tags.contains(QStringLiteral("Long take")), qPrintable(tags.join(u'|')));
        if (encoder == QLatin1String("libmp3lame")) {
            // The Info header counts the frames the stream holds, as a single pass's does.
            const QStringList facts = probed(joined.output);
            QCOMPARE(facts, probed(single.output));
            QCOMPARE(facts.size(), 2);
            const double frames = facts.at(0).toDouble();
            const double duration = facts.at(1).toDouble();
            QVERIFY2(std::abs(duration - frames * 1152 / rate) < 0.001,
                qPrintable(QStringLiteral("ffprobe says %1 s, the stream holds %2 frames")
                               .arg(duration)
                               .arg(frames)));
        }
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(SegmentJoinTest)
#include "segment_join_test.moc"
