#include "core/convert/encoder.h"
#include "core/convert/engine_message.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/output_naming.h"
#include "core/media/decoder.h"
#include "core/media/source_facts.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;
using sonivert::test::ClipOptions;
using sonivert::test::makeClip;

namespace {

struct TaskEnd
{
    int task = 0;
    bool success = false;
    bool failure = false;
    QString message;
};

struct Progress
{
    int task = 0;
    qint64 position = 0;
    qint64 total = 0;
};

// Everything the encoder reports, in order.
struct Events
{
    QList<Progress> progress;
    QList<TaskEnd> ends;
    QStringList log;
    QList<QPair<int, QString>> renamed;

    explicit Events(Encoder &encoder)
    {
        QObject::connect(&encoder, &Encoder::progress, &encoder,
            [this](int task, qint64 position, qint64 total) {
                progress << Progress { task, position, total };
            });
        QObject::connect(&encoder, &Encoder::taskEnd, &encoder,
            [this](int task, EncoderTaskState state, const QString &message) {
                ends << TaskEnd { task, state == EncoderTaskState::Succeeded,
                    state == EncoderTaskState::Failed, message };
            });
        QObject::connect(&encoder, &Encoder::logLine, &encoder,
            [this](int task, int level, const QString &line) {
                log << QStringLiteral("#%1.%2 %3").arg(task).arg(level).arg(line);
            });
        QObject::connect(&encoder, &Encoder::outputFileRenamed, &encoder,
            [this](int task, const QString &path) { renamed << qMakePair(task, path); });
    }

    bool queueDone() const { return !ends.isEmpty() && ends.constLast().task == -1; }
    TaskEnd endOf(int task) const
    {
        for (const TaskEnd &end : ends) {
            if (end.task == task)
                return end;
        }
        return TaskEnd { -2, false, false, u"(no end event)"_s };
    }
};

bool runQueue(Encoder &encoder, Events &events, int threads)
{
    encoder.StartTasks(threads);
    return QTest::qWaitFor([&] { return events.queueDone(); }, 60000);
}

// Every name in folder, hidden ones included.
QStringList filesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

} // namespace

class EncoderTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString in(const QString &name) const { return m_dir.filePath(u"in/"_s + name); }
    QString out(const QString &name) const { return m_dir.filePath(u"out/"_s + name); }
    QString outFolder() const { return m_dir.filePath(u"out"_s); }

    // Queues one task; fails the test when the encoder refuses it.
    int queue(Encoder &encoder, const QString &input, const QString &output,
        const QString &outputOptions, const QString &inputOptions = QString(),
        const TaskCut &cut = {})
    {
        // The facts a probe would have read of the input.
        const int task = encoder.AddInputFile(input, inputOptions, readSourceFacts(input));
        if (task < 0)
            qWarning() << "refused:" << encoder.LastErrorText();
        if (task >= 0 && encoder.AddOutputFile(task, output, outputOptions, cut) < 0)
            qWarning() << "output refused:" << encoder.LastErrorText();
        return task;
    }

    static QString mp3Options()
    {
        return u"-VideoOutputHook  -ac 2 -ab 128k -acodec libmp3lame -vn"_s;
    }

private slots:
    void initTestCase()
    {
        if (findFfmpegProgram().isEmpty())
            QSKIP("the ffmpeg program is not installed on this machine");
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkpath(u"in"_s));

        ClipOptions tagged;
        tagged.seconds = 0.5;
        tagged.width = 64;
        tagged.height = 48;
        tagged.extraOutputArgs
            = { u"-metadata"_s, u"title=Song"_s, u"-metadata"_s, u"artist=Band"_s, u"-metadata"_s,
                  u"album=Record"_s, u"-metadata"_s, u"date=2019"_s, u"-metadata"_s, u"track=3"_s,
                  u"-metadata"_s, u"genre=Rock"_s, u"-metadata"_s, u"comment=Nice"_s };
        QVERIFY(makeClip(in(u"clip.mp4"_s), tagged));

        ClipOptions ogg = tagged;
        ogg.video = false;
        QVERIFY(makeClip(in(u"tagged.ogg"_s), ogg));

        ClipOptions silent = tagged;
        silent.audio = false;
        silent.extraOutputArgs.clear();
        QVERIFY(makeClip(in(u"video.mp4"_s), silent));

        ClipOptions sound;
        sound.video = false;
        sound.seconds = 2;
        sound.channelLayout = u"mono"_s;
        sound.sampleRate = 8000;
        QVERIFY(makeClip(in(u"long.wav"_s), sound));

        QFile bad(in(u"bad.mp4"_s));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        for (int i = 0; i < 1000; ++i)
            bad.write(QByteArray::number(i * 7919 % 104729, 16).rightJustified(4, 'z'));
        bad.close();

        // The first part of a "faststart" MP4: ffmpeg converts what it has and exits 0.
        ClipOptions faststart;
        faststart.seconds = 3;
        faststart.width = 64;
        faststart.height = 48;
        faststart.extraOutputArgs = { u"-movflags"_s, u"+faststart"_s };
        QVERIFY(makeClip(in(u"whole.mp4"_s), faststart));
        QFile whole(in(u"whole.mp4"_s));
        QVERIFY(whole.open(QIODevice::ReadOnly));
        QFile cut(in(u"cut.mp4"_s));
        QVERIFY(cut.open(QIODevice::WriteOnly));
        cut.write(whole.read(whole.size() * 85 / 100));
    }

    void init()
    {
        QDir(outFolder()).removeRecursively();
        QVERIFY(QDir(m_dir.path()).mkpath(u"out"_s));
    }

    void queueRunsInOrderWithProgressAndLog()
    {
        Encoder encoder;
        Events events(encoder);
        QCOMPARE(queue(encoder, in(u"clip.mp4"_s), out(u"a.MP3"_s), mp3Options()), 0);
        QCOMPARE(queue(encoder, in(u"tagged.ogg"_s), out(u"b.WAV"_s), u" -vn"_s), 1);
        QCOMPARE(queue(encoder, in(u"clip.mp4"_s), out(u"c.OGG"_s), u" -vn -acodec libvorbis"_s,
                     u" -ss 0.1"_s, TaskCut { 100000, -1 }),
            2);
        QCOMPARE(encoder.TaskCount(), 3);
        QVERIFY(runQueue(encoder, events, 2));

        for (int task = 0; task < 3; ++task) {
            const TaskEnd end = events.endOf(task);
            QVERIFY2(end.success && !end.failure, qPrintable(end.message));
            QVERIFY(std::any_of(events.progress.begin(), events.progress.end(),
                [task](const Progress &p) { return p.task == task; }));
        }
        QCOMPARE(events.ends.size(), 4);
        QCOMPARE(events.ends.constLast().success, true);
        for (const Progress &p : events.progress) {
            QVERIFY(p.position >= 0);
            const qint64 expected = p.task == 2 ? 400000 : 500000;
            QVERIFY2(std::abs(p.total - expected) < 50000, qPrintable(QString::number(p.total)));
        }
        QCOMPARE(filesIn(outFolder()), QStringList({ u"a.MP3"_s, u"b.WAV"_s, u"c.OGG"_s }));
        QCOMPARE(encoder.taskInfo(0).finalOutput, out(u"a.MP3"_s));
        QVERIFY(events.renamed.isEmpty());

        static const QRegularExpression logForm(u"^#[0-2]\\.(8|16|24|32) \\S"_s);
        QVERIFY(!events.log.isEmpty());
        for (const QString &line : events.log)
            QVERIFY2(logForm.match(line).hasMatch(), qPrintable(line));
    }

    void tagsReachTheOutputs()
    {
        Encoder encoder;
        Events events(encoder);
        queue(encoder, in(u"clip.mp4"_s), out(u"from-mp4.MP3"_s), mp3Options());
        queue(encoder, in(u"tagged.ogg"_s), out(u"from-ogg.MP3"_s), mp3Options());
        queue(encoder, in(u"clip.mp4"_s), out(u"from-mp4.OGG"_s), u" -vn -acodec libvorbis"_s);
        queue(encoder, in(u"tagged.ogg"_s), out(u"from-ogg.M4A"_s), u" -vn -acodec aac"_s);
        QVERIFY(runQueue(encoder, events, 2));

        for (const QString &name :
            { u"from-mp4.MP3"_s, u"from-ogg.MP3"_s, u"from-mp4.OGG"_s, u"from-ogg.M4A"_s }) {
            Decoder decoder;
            QVERIFY2(decoder.OpenFile(out(name)), qPrintable(name));
            QCOMPARE(decoder.GetFileInfoTitle(), u"Song"_s);
            QCOMPARE(decoder.GetFileInfoAuthor(), u"Band"_s);
            QCOMPARE(decoder.GetFileInfoAlbum(), u"Record"_s);
            QCOMPARE(decoder.GetFileInfoYear(), 2019);
            QCOMPARE(decoder.GetFileInfoTrack(), 3);
            QCOMPARE(decoder.GetFileInfoGenre(), u"Rock"_s);
            QCOMPARE(decoder.GetFileInfoComment(), u"Nice"_s);
        }
    }

    void pauseHoldsTheTaskUntilResumed()
    {
        Encoder encoder;
        Events events(encoder);
        // -re reads the input at its own pace, so the three-second task is still running.
        queue(encoder, in(u"long.wav"_s), out(u"paused.WAV"_s), u" -vn"_s, u" -re"_s);
        encoder.StartTasks(1);
        QVERIFY(QTest::qWaitFor([&] { return !events.progress.isEmpty(); }, 10000));
        encoder.PauseTasks();
        QVERIFY(encoder.isPaused());
        QTest::qWait(100); // what was under way before the pause
        const qsizetype seen = events.progress.size();
        QTest::qWait(1000);
        QCOMPARE(events.progress.size(), seen);
        QVERIFY(events.ends.isEmpty());

        encoder.ResumeTasks();
        QVERIFY(QTest::qWaitFor([&] { return events.queueDone(); }, 20000));
        QVERIFY2(events.endOf(0).success, qPrintable(events.endOf(0).message));
        QVERIFY(events.progress.size() > seen);
        QCOMPARE(filesIn(outFolder()), QStringList({ u"paused.WAV"_s }));
    }

    void stopLeavesNothingBehind_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("wait");
        QTest::newRow("running") << false << true;
        // A suspended child must still end promptly.
        QTest::newRow("paused") << true << true;
        // Without waiting, the children end on their own; the encoder's end waits for them.
        QTest::newRow("no wait") << false << false;
    }

    void stopLeavesNothingBehind()
    {
        QFETCH(bool, paused);
        QFETCH(bool, wait);
        {
            Encoder encoder;
            Events events(encoder);
            queue(encoder, in(u"long.wav"_s), out(u"stopped.WAV"_s), u" -vn"_s, u" -re"_s);
            queue(encoder, in(u"clip.mp4"_s), out(u"never.MP3"_s), mp3Options());
            encoder.StartTasks(1);
            QVERIFY(QTest::qWaitFor([&] { return !events.progress.isEmpty(); }, 10000));
            if (paused)
                encoder.PauseTasks();
            encoder.StopTasks(wait);
            if (wait) {
                QCOMPARE(filesIn(outFolder()), QStringList());
                QTest::qWait(300);
            }
            QVERIFY(events.ends.isEmpty());
            QCOMPARE(encoder.taskInfo(0).state, EncoderTaskState::Cancelled);
            QCOMPARE(encoder.taskInfo(1).state, EncoderTaskState::Cancelled);
            QVERIFY(!encoder.isBusy());
        }
        QCOMPARE(filesIn(outFolder()), QStringList());
    }

    void existingFilesAreNeverReplaced()
    {
        for (const QString &name : { u"keep.MP3"_s, u".keep.MP3"_s }) {
            QFile file(out(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("precious");
        }
        Encoder encoder;
        Events events(encoder);
        // keep.MP3 appeared after the name was chosen.
        queue(encoder, in(u"clip.mp4"_s), out(u"keep.MP3"_s), mp3Options());
        QVERIFY(runQueue(encoder, events, 0));

        QVERIFY2(events.endOf(0).success, qPrintable(events.endOf(0).message));
        const QString moved = out(u"keep_(new).MP3"_s);
        QCOMPARE(events.renamed, (QList<QPair<int, QString>> { { 0, moved } }));
        QCOMPARE(encoder.taskInfo(0).finalOutput, moved);
        for (const QString &name : { u"keep.MP3"_s, u".keep.MP3"_s }) {
            QFile file(out(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("precious"));
        }
        QCOMPARE(filesIn(outFolder()),
            QStringList({ u".keep.MP3"_s, u"keep.MP3"_s, u"keep_(new).MP3"_s }));
    }

    void libfaacUsesTheBuiltInEncoder()
    {
        Encoder encoder;
        Events events(encoder);
        queue(encoder, in(u"clip.mp4"_s), out(u"faac.M4A"_s),
            u"-VideoOutputHook  -ac 2 -ar 44100 -ab 128k -acodec libfaac -vn"_s);
        QVERIFY(runQueue(encoder, events, 1));
        QVERIFY2(events.endOf(0).success, qPrintable(events.endOf(0).message));
        QVERIFY(encoder.taskInfo(0).commandLine.contains(u"aac"_s));
    }

    void awkwardNamesPassUntouched()
    {
        const QStringList names = { u"with blank"_s, u"quote\"d 'x'"_s, u"-dash"_s,
            u"ünïcødé 日本"_s, u"semi;colon $HOME"_s };
        Encoder encoder;
        Events events(encoder);
        for (const QString &name : names) {
            QVERIFY(QFile::copy(in(u"clip.mp4"_s), in(name + u".mp4"_s)));
            QVERIFY(queue(encoder, in(name + u".mp4"_s), out(name + u".MP3"_s), mp3Options()) >= 0);
        }
        QVERIFY(runQueue(encoder, events, 2));
        for (int task = 0; task < names.size(); ++task)
            QVERIFY2(events.endOf(task).success, qPrintable(events.endOf(task).message));
        for (const QString &name : names)
            QVERIFY2(QFile::exists(out(name + u".MP3"_s)), qPrintable(name));
        QCOMPARE(filesIn(outFolder()).size(), names.size());
    }

    void failuresExplainThemselves()
    {
        Encoder encoder;
        const QString missing = in(u"missing.mp4"_s);
        QCOMPARE(encoder.AddInputFile(missing, QString()), -1);
        QCOMPARE(encoder.LastErrorText(), missing + u": No such file or directory"_s);
        QCOMPARE(encoder.AddInputFile(m_dir.path(), QString()), -1);
        QCOMPARE(encoder.LastErrorText(), m_dir.path() + u": Is a directory"_s);

        Events events(encoder);
        queue(encoder, in(u"bad.mp4"_s), out(u"bad.MP3"_s), mp3Options());
        queue(encoder, in(u"video.mp4"_s), out(u"video.MP3"_s), mp3Options());
        queue(
            encoder, in(u"clip.mp4"_s), out(u"rate.MP3"_s), u" -vn -acodec libmp3lame -ar 96000"_s);
        queue(encoder, in(u"clip.mp4"_s), out(u"amr.AMR"_s), u" -vn -acodec libopencore_amrnb"_s);
        queue(encoder, in(u"cut.mp4"_s), out(u"cut.MP3"_s), mp3Options());
        QVERIFY(runQueue(encoder, events, 2));

        const QStringList expected = {
            in(u"bad.mp4"_s) + u": Invalid data found when processing input"_s,
            NoSoundTrackMessage,
            RejectedParametersMessage,
            u"Unknown encoder 'libopencore_amrnb'"_s,
            in(u"cut.mp4"_s) + u": partial file"_s,
        };
        for (int task = 0; task < expected.size(); ++task) {
            const TaskEnd end = events.endOf(task);
            QVERIFY(!end.success && end.failure);
            QCOMPARE(end.message, expected.at(task));
            const EncoderTaskInfo info = encoder.taskInfo(task);
            QCOMPARE(info.state, EncoderTaskState::Failed);
            QCOMPARE(info.message, end.message);
            QCOMPARE(info.commandLine.constFirst(), encoder.ffmpegProgram());
            QVERIFY(info.commandLine.contains(info.input));
            QVERIFY(!info.stderrTail.isEmpty());
        }
        QCOMPARE(filesIn(outFolder()), QStringList());
    }

    void fullDiskStopsWithTheKnownText()
    {
        const QString mountPoint = outFolder() + u"/small"_s;
        QVERIFY(QDir().mkpath(mountPoint));
        QProcess mount;
        mount.start(
            u"mount"_s, { u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size=256k"_s, u"tmpfs"_s, mountPoint });
        if (!mount.waitForFinished(10000) || mount.exitStatus() != QProcess::NormalExit
            || mount.exitCode() != 0)
            QSKIP("mounting a small tmpfs to fill is not permitted here");
        auto unmount = qScopeGuard([&] { QProcess::execute(u"umount"_s, { mountPoint }); });

        Encoder encoder;
        Events events(encoder);
        queue(encoder, in(u"long.wav"_s), mountPoint + u"/full.WAV"_s,
            u" -vn -ac 2 -ar 96000 -acodec pcm_s32le"_s);
        QVERIFY(runQueue(encoder, events, 1));
        QCOMPARE(events.endOf(0).message, NoSpaceMessage);
        QCOMPARE(filesIn(mountPoint), QStringList());
    }

    void emptyQueueAndMissingProgram()
    {
        Encoder encoder;
        Events events(encoder);
        QVERIFY(runQueue(encoder, events, 0));
        QCOMPARE(events.ends.size(), 1);

        encoder.setFfmpegProgram(m_dir.filePath(u"no-such-ffmpeg"_s));
        QCOMPARE(encoder.AddInputFile(in(u"clip.mp4"_s), QString()), -1);
        QCOMPARE(encoder.LastErrorText(), missingFfmpegMessage());
    }

    void bundledProgramComesFirst()
    {
        const QString libs = m_dir.filePath(u"Libs"_s);
        QVERIFY(QDir().mkpath(libs));
        QFile fake(libs + u"/ffmpeg"_s);
        QVERIFY(fake.open(QIODevice::WriteOnly));
        fake.write("#!/bin/sh\nkill -SEGV $$\n");
        fake.close();
        QCOMPARE(findFfmpegProgram(libs), QStandardPaths::findExecutable(u"ffmpeg"_s));
        QVERIFY(fake.setPermissions(fake.permissions() | QFile::ExeOwner));
        QCOMPARE(findFfmpegProgram(libs), fake.fileName());

        // A program that dies of a signal fails its task and leaves nothing behind.
        Encoder encoder;
        encoder.setFfmpegProgram(fake.fileName());
        Events events(encoder);
        queue(encoder, in(u"clip.mp4"_s), out(u"crash.MP3"_s), mp3Options());
        QVERIFY(runQueue(encoder, events, 1));
        QCOMPARE(events.endOf(0).message, u"The ffmpeg program stopped unexpectedly."_s);
        QCOMPARE(filesIn(outFolder()), QStringList());
    }
};

QTEST_GUILESS_MAIN(EncoderTest)
#include "encoder_test.moc"
