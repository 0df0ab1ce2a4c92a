#include "core/media/media_item.h"
#include "core/media/probe.h"
#include "core/media/time_text.h"
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <csignal>
#include <sys/stat.h>

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeAll(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QStringList hiddenIn(const QString &folder)
{
    return QDir(folder).entryList({ u".*"_s }, QDir::Files | QDir::Hidden | QDir::System);
}

// The children of pid, from /proc.
QList<qint64> childrenOf(qint64 pid)
{
    QList<qint64> children;
    const QDir tasks(u"/proc/%1/task"_s.arg(pid));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QByteArray text = readAll(tasks.filePath(task + u"/children"_s));
        for (const QByteArray &word : text.split(' ')) {
            if (!word.trimmed().isEmpty())
                children << word.trimmed().toLongLong();
        }
    }
    return children;
}

double secondsOf(const QString &path)
{
    const ProbeResult probe = probeMediaFile(path);
    if (!probe.ok)
        return -1;
    return double(joinHalfTexts(
               probe.item.text(Field::FileDurationLow), probe.item.text(Field::FileDurationHigh)))
        / 1e6;
}

} // namespace

// What the command line promises when things go wrong: every input has its entry, a killed run
// leaves nothing behind for the next, a stalled conversion ends, damaged media never crash.
class ReliabilityTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_clip; // 1 s, video and audio, index at the end

    QString path(const QString &name) const { return m_dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = path(u"clip.mp4"_s);
        ClipOptions options;
        options.width = 160;
        options.height = 120;
        QVERIFY(makeClip(m_clip, options));
    }

    // A file that fails to probe is in the JSON in its place, and libav's own lines reach the
    // terminal only with --verbose.
    void everyInputAccountedFor()
    {
        const QString zero = path(u"zero.mp4"_s);
        const QString cut = path(u"cut.mp4"_s);
        const QString folder = path(u"folder.mp4"_s);
        QVERIFY(writeAll(zero, {}));
        QVERIFY(writeAll(cut, readAll(m_clip).left(3000)));
        QVERIFY(QDir().mkpath(folder));
        const QStringList files { zero, m_clip, cut, path(u"missing.mp4"_s), folder };
        const QString out = path(u"accounted"_s);

        const CliRun run = runCli(QStringList { u"convert"_s, u"--json"_s, u"-o"_s, out } + files);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(!run.err.contains(u"moov atom"_s), qPrintable(run.err));
        const QJsonArray entries = run.json().array();
        QCOMPARE(entries.size(), files.size());
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QJsonObject entry = entries.at(i).toObject();
            QCOMPARE(entry[u"file"].toString(), files.at(i));
            const bool good = files.at(i) == m_clip;
            QCOMPARE(entry[u"state"].toString(), good ? u"done"_s : u"failed"_s);
            QCOMPARE(entry[u"message"].toString().isEmpty(), good);
            QCOMPARE(entry[u"output"].toString().isEmpty(), !good);
        }

        const CliRun probe = runCli(QStringList { u"probe"_s, u"--json"_s } + files);
        QCOMPARE(probe.exitCode, 1);
        QCOMPARE(probe.json().array().size(), files.size());
        QVERIFY(!probe.err.contains(u"moov atom"_s));

        const CliRun diagnose = runCli({ u"diagnose"_s, u"--json"_s, cut });
        QCOMPARE(diagnose.exitCode, 1);
        const QJsonObject failed = diagnose.json().array().at(0).toObject();
        QCOMPARE(failed[u"file"].toString(), cut);
        QCOMPARE(failed[u"state"].toString(), u"failed"_s);
        QVERIFY(!failed[u"message"].toString().isEmpty());

        const CliRun verbose = runCli({ u"--verbose"_s, u"probe"_s, cut });
        QCOMPARE(verbose.exitCode, 1);
        QVERIFY2(verbose.err.contains(u"libav: [mov,mp4"_s), qPrintable(verbose.err));
    }

    // Killed while it writes, a run leaves its hidden outputs; the next run into the folder
    // removes them, and only them, and never touches a file that was there before.
    void killedRunLeavesNothing()
    {
        const QString out = path(u"killed"_s);
        QVERIFY(QDir().mkpath(out));
        QStringList inputs;
        ClipOptions options;
        options.seconds = 4;
        options.width = 160;
        options.height = 120;
        for (int i = 0; i < 4; ++i) {
            inputs << path(u"long%1.mp4"_s.arg(i));
            QVERIFY(makeClip(inputs.last(), options));
        }
        const QString kept = out + u"/long0.mp3"_s; // the person's file of the same name
        const QString lookalike = out + u"/.sonivert-1-1-0123abcd-00000000.mp3"_s;
        QVERIFY(writeAll(kept, "not ours"));
        QVERIFY(writeAll(lookalike, "not ours either"));

        for (const QString &engine : { u"ffmpeg"_s, u"worker"_s }) {
            QProcess cli;
            cli.start(cliProgram(),
                QStringList { u"convert"_s, u"--engine"_s, engine, u"-o"_s, out } + inputs);
            QVERIFY(cli.waitForStarted());
            QElapsedTimer waited;
            waited.start();
            while (hiddenIn(out).size() < 2 && waited.elapsed() < 20000)
                QTest::qWait(2);
            ::kill(pid_t(cli.processId()), SIGKILL);
            QVERIFY(cli.waitForFinished());
            QVERIFY2(hiddenIn(out).size() >= 2, "the run was not caught writing");

            const CliRun next = runCli({ u"convert"_s, u"-o"_s, out, m_clip });
            QCOMPARE(next.exitCode, 0);
            QCOMPARE(hiddenIn(out), QStringList { QFileInfo(lookalike).fileName() });
        }
        QCOMPARE(readAll(kept), QByteArray("not ours"));
        for (const QString &name : QDir(out).entryList(QDir::Files)) {
            if (out + u'/' + name != kept)
                QVERIFY2(secondsOf(out + u'/' + name) > 0.9, qPrintable(name));
        }
    }

    void stalledTaskFails_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s;
    }

    // The engine of the first file is stopped (SIGSTOP) as if its disk had hung: that row fails
    // after the time-out with a message naming the file, and the next file still converts.
    void stalledTaskFails()
    {
        QFETCH(QString, engine);
        const QString out = path(u"stalled-"_s + engine);
        const QString stuck = path(u"stuck.wav"_s);
        ClipOptions options;
        options.video = false;
        options.seconds = 30;
        QVERIFY(makeClip(stuck, options));

        QProcess cli;
        cli.start(cliProgram(),
            { u"convert"_s, u"--engine"_s, engine, u"--stall-timeout"_s, u"1"_s, u"--threads"_s,
                u"1"_s, u"--json"_s, u"-o"_s, out, stuck, m_clip });
        QVERIFY(cli.waitForStarted());
        qint64 stopped = 0;
        QElapsedTimer waited;
        waited.start();
        while (stopped == 0 && waited.elapsed() < 10000) {
            for (qint64 child : childrenOf(cli.processId())) {
                // Once it runs the engine's program, not while the child is still the fork.
                const QString program = QFileInfo(u"/proc/%1/exe"_s.arg(child)).symLinkTarget();
                if (program.endsWith(u"/ffmpeg"_s) || program.endsWith(u"/sonivert-worker"_s)) {
                    stopped = child;
                    ::kill(pid_t(stopped), SIGSTOP);
                    break;
                }
            }
            QThread::usleep(500);
        }
        QVERIFY(stopped != 0);
        QVERIFY(cli.waitForFinished(30000));
        QCOMPARE(cli.exitCode(), 1);
        const QJsonArray entries = QJsonDocument::fromJson(cli.readAllStandardOutput()).array();
        QCOMPARE(entries.size(), 2);
        const QString message = entries.at(0).toObject()[u"message"].toString();
        QVERIFY2(message.contains(stuck) && message.contains(u"no progress for 1 s"_s),
            qPrintable(message));
        QCOMPARE(entries.at(1).toObject()[u"state"].toString(), u"done"_s);
        QVERIFY(hiddenIn(out).isEmpty());
        ::kill(pid_t(stopped), SIGCONT); // in case it outlived its run
    }

    // Damaged copies of a clip, and things that are no media file at all: probing and
    // converting them ends within the time limit, each with its entry and a message, and a
    // failed file leaves nothing in the output folder.
    void brokenMediaEndWithAMessage()
    {
        const QString folder = path(u"broken"_s);
        QVERIFY(QDir().mkpath(folder));
        const QByteArray clip = readAll(m_clip);
        QStringList files;
        const auto add = [&](const QString &name, const QByteArray &bytes) {
            files << folder + u'/' + name;
            QVERIFY(writeAll(files.last(), bytes));
        };
        for (int percent : { 1, 5, 20, 50, 80, 95, 99 })
            add(u"cut%1.mp4"_s.arg(percent), clip.left(clip.size() * percent / 100));
        add(u"zero.mp4"_s, {});
        QRandomGenerator random(17);
        QByteArray noise(64 * 1024, '\0');
        random.fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
        add(u"random.mp4"_s, noise);
        QByteArray header = clip;
        for (int i = 0; i < 64; i += 3)
            header[i] = char(header.at(i) ^ 0x5a);
        add(u"header-bits.mp4"_s, header);
        QByteArray middle = clip;
        for (qsizetype i = middle.size() / 2; i < middle.size() / 2 + 512; ++i)
            middle[i] = char(middle.at(i) ^ (1 << (i % 8)));
        add(u"middle-bits.mp4"_s, middle);
        QByteArray huge = clip;
        const qsizetype mvhd = huge.indexOf("mvhd");
        QVERIFY(mvhd > 0);
        huge.replace(mvhd + 20, 4, QByteArray("\x7f\xff\xff\xff", 4));
        add(u"huge-duration.mp4"_s, huge);

        const QString wav = path(u"tone.wav"_s);
        ClipOptions tone;
        tone.video = false;
        QVERIFY(makeClip(wav, tone));
        QByteArray noChannels = readAll(wav);
        noChannels.replace(22, 2, QByteArray(2, '\0'));
        add(u"no-channels.wav"_s, noChannels);
        QByteArray noRate = readAll(wav);
        noRate.replace(24, 4, QByteArray(4, '\0'));
        add(u"no-rate.wav"_s, noRate);
        files << folder + u"/pipe.mp4"_s;
        QCOMPARE(::mkfifo(QFile::encodeName(files.last()).constData(), 0600), 0);
        files << folder + u"/folder.mp4"_s;
        QVERIFY(QDir().mkpath(files.last()));

        QElapsedTimer clock;
        clock.start();
        const CliRun probe = runCli(QStringList { u"probe"_s, u"--json"_s } + files, 60000);
        QVERIFY2(probe.exitCode == 1, qPrintable(probe.err));
        QCOMPARE(probe.json().array().size(), files.size());

        const QString out = path(u"broken-out"_s);
        const CliRun run
            = runCli(QStringList { u"convert"_s, u"--json"_s, u"-o"_s, out } + files, 120000);
        QVERIFY2(run.exitCode == 1, qPrintable(run.err));
        const QJsonArray entries = run.json().array();
        QCOMPARE(entries.size(), files.size());
        QStringList written;
        int withCommand = 0;
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QJsonObject entry = entries.at(i).toObject();
            QCOMPARE(entry[u"file"].toString(), files.at(i));
            if (entry[u"state"].toString() == u"done"_s) {
                written << QFileInfo(entry[u"output"].toString()).fileName();
                continue;
            }
            QCOMPARE(entry[u"state"].toString(), u"failed"_s);
            QVERIFY2(!entry[u"message"].toString().isEmpty(), qPrintable(files.at(i)));
            // A file whose conversion ran tells the command, as a person runs it again: from
            // the file, into the output's own name.
            if (!entry.contains(u"argv"_s))
                continue;
            ++withCommand;
            QStringList argv;
            for (const QJsonValue &word : entry[u"argv"].toArray())
                argv << word.toString();
            QCOMPARE(argv.last(), entry[u"output"].toString());
            QCOMPARE(argv.at(argv.indexOf(u"-i"_s) + 1), files.at(i));
        }
        QVERIFY(withCommand > 0);
        written.sort();
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden), written);
        QVERIFY2(clock.elapsed() < 90000, "damaged media took too long");
    }
};

QTEST_GUILESS_MAIN(ReliabilityTest)
#include "reliability_test.moc"
