#include "core/convert/encoder.h"
#include "core/convert/ffmpeg_program.h"
#include "core/convert/option_builder.h"
#include "core/convert/output_check.h"
#include "core/convert/worker_pool.h"
#include "core/media/probe.h"
#include "support/awkward_media.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace sonivert;
using namespace Qt::StringLiterals;
using namespace sonivert::test;

Q_DECLARE_METATYPE(sonivert::TaskCut)

namespace {

struct Family
{
    QString extension;
    EncodePlan plan;
    QString options() const { return optionString(plan); }
};

Family audioFamily(
    const QString &extension, int channels, const QString &rate, int kbps, const QString &encoder)
{
    EncodePlan plan;
    plan.channels = channels;
    plan.sampleRate = rate;
    plan.audioBitrateKbps = kbps;
    plan.audioEncoder = encoder;
    return { extension, plan };
}

// Each output family as the settings give it.
const QList<Family> &families()
{
    static const QList<Family> list {
        audioFamily(u"MP3"_s, 2, u"44100"_s, 192, u"libmp3lame"_s),
        audioFamily(u"M4A"_s, 2, u"44100"_s, 128, u"aac"_s),
        audioFamily(u"OGG"_s, 2, u"44100"_s, 128, u"libvorbis"_s),
        audioFamily(u"FLAC"_s, 2, u"44100"_s, 64, u"flac"_s),
        audioFamily(u"WAV"_s, 2, u"44100"_s, 64, u"pcm_s16le"_s),
        audioFamily(u"AIFF"_s, 1, u"22050"_s, 64, u"pcm_s16be"_s),
        audioFamily(u"AC3"_s, 2, u"48000"_s, 192, u"ac3"_s),
        audioFamily(u"MP2"_s, 2, u"44100"_s, 192, u"mp2"_s),
        audioFamily(u"WMA"_s, 2, u"44100"_s, 128, u"wmav2"_s),
        audioFamily(u"OPUS"_s, 2, u"48000"_s, 96, u"libopus"_s),
    };
    return list;
}

// Each test runs on both engines: every family is an audio one the worker converts too.
void engineColumn()
{
    QTest::addColumn<QString>("engine");
    QTest::newRow("ffmpeg") << FfmpegEngineName;
    QTest::newRow("worker") << WorkerEngineName;
}

// The engine's queue, with the choice the row names.
std::unique_ptr<Encoder> encoderFor(const QString &engine)
{
    auto encoder = std::make_unique<Encoder>();
    encoder->setEngineChoice(
        engine == WorkerEngineName ? EngineChoice::Worker : EngineChoice::Ffmpeg);
    return encoder;
}

// Queues a task with its option texts and the plan they were written from.
int queue(Encoder &encoder, const QString &input, const QString &output, const Family &f,
    const QString &seek = {}, const QString &duration = {}, const TaskCut &cut = {})
{
    const int task = encoder.AddInputFile(input, seek, readSourceFacts(input));
    if (task < 0 || encoder.AddOutputFile(task, output, f.options() + duration, cut) < 0)
        return -1;
    encoder.setTaskPlan(task, f.plan);
    return task;
}

const Family &family(const QString &extension)
{
    for (const Family &f : families()) {
        if (f.extension == extension)
            return f;
    }
    qFatal("no family %s", qPrintable(extension));
}

struct Job
{
    QString label;
    QString output;
    double expectedSeconds = 0;
    int task = -1;
    double tolerance = 0; // seconds; 0 takes the run's
};

struct Ends
{
    QHash<int, QPair<bool, QString>> byTask;
    bool done = false;

    explicit Ends(Encoder &encoder)
    {
        QObject::connect(&encoder, &Encoder::taskEnd, &encoder,
            [this](int task, EncoderTaskState state, const QString &message) {
                if (task < 0)
                    done = true;
                else
                    byTask.insert(task, { state == EncoderTaskState::Succeeded, message });
            });
    }
};

// Song and bookkeeping tags of a file, container and audio streams together.
QHash<QString, QString> tagsOf(const QString &path)
{
    QHash<QString, QString> tags;
    AVFormatContext *context = nullptr;
    if (avformat_open_input(&context, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return tags;
    avformat_find_stream_info(context, nullptr);
    const auto take = [&tags](const AVDictionary *metadata) {
        const AVDictionaryEntry *entry = nullptr;
        while ((entry = av_dict_get(metadata, "", entry, AV_DICT_IGNORE_SUFFIX)))
            tags.insert(QString::fromUtf8(entry->key).toLower(), QString::fromUtf8(entry->value));
    };
    take(context->metadata);
    for (unsigned i = 0; i < context->nb_streams; ++i)
        take(context->streams[i]->metadata);
    avformat_close_input(&context);
    return tags;
}

} // namespace

class WholeSoundTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QList<AwkwardClip> m_clips;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    // A row as the probe fills it and the planner turns it into option texts and a cut: the
    // texts carry " -ss 0" and " -t <probed duration>" for every row, trimmed or not.
    struct Planned
    {
        QString input;
        Family family;
        QString seek;
        QString duration;
        TaskCut cut;
    };

    static Planned plan(
        const QString &input, const Family &f, qint64 trimStartUs = -1, qint64 trimEndUs = -1)
    {
        MediaItem item = probeMediaFile(input).item;
        if (trimStartUs >= 0) {
            const auto half = [](qint64 us, bool high) {
                return halfText(high ? int32_t(us >> 32) : int32_t(uint32_t(quint64(us))));
            };
            const qint64 end = trimEndUs >= 0 ? trimEndUs
                                              : joinHalfTexts(item.text(Field::FileDurationLow),
                                                  item.text(Field::FileDurationHigh));
            item.set(Field::TrimStartLow, half(trimStartUs, false));
            item.set(Field::TrimStartHigh, half(trimStartUs, true));
            item.set(Field::TrimEndLow, half(end, false));
            item.set(Field::TrimEndHigh, half(end, true));
            item.trimmed = true;
        }
        return { input, f,
            BuildSeekOption(item.text(Field::TrimStartLow), item.text(Field::TrimStartHigh)),
            BuildDurationOption(item.text(Field::TrimStartLow), item.text(Field::TrimStartHigh),
                item.text(Field::TrimEndLow), item.text(Field::TrimEndHigh)),
            taskCutOf(item) };
    }

    // Runs the jobs through one queue, two at a time, and lists every job whose output is not
    // whole: a failed task, a decoded length off by more than tolerance.
    QStringList runJobs(
        QList<Job> &jobs, const QList<Planned> &plans, double tolerance, const QString &engine)
    {
        const std::unique_ptr<Encoder> queued = encoderFor(engine);
        Encoder &encoder = *queued;
        Ends ends(encoder);
        for (int i = 0; i < jobs.size(); ++i) {
            const Planned &p = plans.at(i);
            jobs[i].task
                = queue(encoder, p.input, jobs[i].output, p.family, p.seek, p.duration, p.cut);
            if (jobs[i].task < 0)
                return { jobs[i].label + u": refused: "_s + encoder.LastErrorText() };
        }
        encoder.StartTasks(2);
        if (!QTest::qWaitFor([&] { return ends.done; }, 240000))
            return { u"the queue did not end"_s };

        QStringList problems;
        for (const Job &job : jobs) {
            const auto [success, message] = ends.byTask.value(job.task);
            const double seconds = decodedSeconds(job.output);
            if (encoder.taskInfo(job.task).engine != engine)
                problems << job.label + u": ran on "_s + encoder.taskInfo(job.task).engine;
            else if (!success)
                problems << job.label + u": failed: "_s + message;
            else if (std::abs(seconds - job.expectedSeconds)
                > (job.tolerance > 0 ? job.tolerance : tolerance))
                problems << job.label
                        + u": %1 s instead of %2 s"_s.arg(seconds).arg(job.expectedSeconds);
        }
        return problems;
    }

private slots:
    void initTestCase()
    {
        if (findFfmpegProgram().isEmpty())
            QSKIP("the ffmpeg program is not installed on this machine");
        av_log_set_level(AV_LOG_QUIET);
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkpath(u"in"_s));
        QString error;
        m_clips = makeAwkwardClips(path(u"in"_s), &error);
        QVERIFY2(!m_clips.isEmpty(), qPrintable(error));
        // Run directly rather than by CTest, the worker is still the one just built.
        if (WorkerPool::instance()->program().isEmpty())
            WorkerPool::instance()->setProgram(QStringLiteral(SONIVERT_BIN_DIR "/sonivert-worker"));
    }

    void init()
    {
        QDir(path(u"out"_s)).removeRecursively();
        QVERIFY(QDir(m_dir.path()).mkpath(u"out"_s));
    }

    // Whatever the container says of its start, its length or its index, an untrimmed file
    // gives all of its sound, to every output family. What the container misstates and what
    // an encoder adds at the ends are apart: each clip goes to two families, and every family
    // takes two clips or more.
    void everyFamilyKeepsTheWholeSound_data() { engineColumn(); }
    void everyFamilyKeepsTheWholeSound()
    {
        QFETCH(QString, engine);
        QList<Job> jobs;
        QList<Planned> plans;
        const QList<Family> &all = families();
        QVERIFY(m_clips.size() >= all.size());
        for (int n = 0; n < m_clips.size(); ++n) {
            const AwkwardClip &clip = m_clips.at(n);
            for (const Family &f : { all.at(n % all.size()), all.at((n + 5) % all.size()) }) {
                jobs << Job { clip.label + u" -> "_s + f.extension,
                    path(u"out/%1.%2"_s.arg(jobs.size()).arg(f.extension)), AwkwardSoundSeconds };
                plans << plan(clip.path, f);
            }
        }
        // One codec frame at each end (AC-3: 32 ms) and then some for the resampler.
        const QStringList problems = runJobs(jobs, plans, 0.08, engine);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
    }

    // A trimmed file gives exactly its range on the file's time line, wherever the container
    // starts the sound and whether or not it can seek.
    void trimmedRowsHoldTheirRange_data() { engineColumn(); }
    void trimmedRowsHoldTheirRange()
    {
        QFETCH(QString, engine);
        QList<Job> jobs;
        QList<Planned> plans;
        int n = 0;
        const QStringList rangeFamilies { u"MP3"_s, u"FLAC"_s, u"M4A"_s };
        for (const AwkwardClip &clip : m_clips) {
            // The MP4, MOV and FLV clips start their sound at 0.5 s, so a range from 1 s holds
            // sound. A range that runs past where the container says the file ends (the Matroska
            // clip claims 1 s) runs to the end of the sound. The families take turns.
            const double rangeSeconds = clip.path.endsWith(u".mkv"_s) ? 2.0 : 1.5;
            const QString extension = rangeFamilies.at(n % rangeFamilies.size());
            jobs << Job { clip.label + u" [1, 2.5] -> "_s + extension,
                path(u"out/%1.%2"_s.arg(n++).arg(extension)), rangeSeconds };
            plans << plan(clip.path, family(extension), 1'000'000, 2'500'000);
            // To the end of the sound, wherever the container says the file ends. A source codec
            // with long frames (WMA: 2048 samples) may add up to a frame and its delay.
            const bool late = clip.path.endsWith(u".mp4"_s) || clip.path.endsWith(u".mov"_s)
                || clip.path.endsWith(u".flv"_s);
            const double soundEnd = late ? 3.5 : 3.0;
            jobs << Job { clip.label + u" [2, end] -> FLAC"_s, path(u"out/%1.FLAC"_s.arg(n++)),
                soundEnd - 2.0, -1, 0.1 };
            plans << plan(clip.path, family(u"FLAC"_s), 2'000'000);
        }
        const QStringList problems = runJobs(jobs, plans, 0.05, engine);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
    }

    // ffmpeg exits 0 over a file whose end does not decode: the task fails, nothing stays.
    void shortOutputFailsAndLeavesNothing_data() { engineColumn(); }
    void shortOutputFailsAndLeavesNothing()
    {
        QFETCH(QString, engine);
        const QString damaged = path(u"in/damaged.m4a"_s);
        QVERIFY(makeDamagedSound(damaged));
        const std::unique_ptr<Encoder> encoder = encoderFor(engine);
        Ends ends(*encoder);
        const int task = queue(*encoder, damaged, path(u"out/damaged.MP3"_s), family(u"MP3"_s));
        QVERIFY(task >= 0);
        encoder->StartTasks(1);
        QVERIFY(QTest::qWaitFor([&] { return ends.done; }, 60000));
        QCOMPARE(ends.byTask.value(task).first, false);
        QCOMPARE(
            ends.byTask.value(task).second, u"The output holds 2.0 s of the expected 3.0 s."_s);
        QCOMPARE(QDir(path(u"out"_s)).entryList(QDir::Files | QDir::Hidden), QStringList());
    }

    void verdicts()
    {
        const QString source = m_clips.first().path;
        const QString whole = path(u"out/whole.WAV"_s);
        QVERIFY(runFfmpeg({ u"-i"_s, source, u"-vn"_s, whole }));
        const QString garbage = path(u"out/garbage.MP3"_s);
        QFile file(garbage);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();

        // A container that overstates its length is checked against the sound it really holds.
        QVERIFY(checkOutput(whole, source, { true, 60'000'000, {} }).whole);
        QVERIFY(checkOutput(whole, source, { true, -1, {} }).whole);
        // What cannot be read holds no sound; without sound to expect, it is just unreadable.
        QCOMPARE(checkOutput(garbage, source, { true, 3'000'000, {} }).message,
            u"The output holds 0.0 s of the expected 3.0 s."_s);
        const OutputVerdict unreadable = checkOutput(garbage, source, { false, 3'000'000, {} });
        QVERIFY(!unreadable.whole);
        QVERIFY2(unreadable.message.startsWith(u"The output cannot be read back"_s),
            qPrintable(unreadable.message));
        // Too long for a range is not "short"; a range past the sound holds none.
        QVERIFY(checkOutput(whole, source, { true, -1, { 1'000'000, 1'000'000 } }).whole);
        const QString empty = path(u"out/empty.WAV"_s);
        QVERIFY(runFfmpeg({ u"-i"_s, source, u"-ss"_s, u"9"_s, u"-vn"_s, empty }));
        QCOMPARE(checkOutput(empty, source, { true, -1, { 9'000'000, 1'000'000 } }).message,
            u"The chosen range holds no sound."_s);
        QCOMPARE(checkOutput(empty, source, { true, 3'000'000, {} }).message,
            u"The output holds 0.0 s of the expected 3.0 s."_s);
        // A plan without sound has none to check.
        QVERIFY(checkOutput(empty, source, { false, 3'000'000, {} }).whole);
        const OutputVerdict longer = checkOutput(whole, source, { true, -1, {} });
        QVERIFY2(longer.whole, qPrintable(longer.message));
    }

    void cutLengthCases_data()
    {
        QTest::addColumn<TaskCut>("cut");
        QTest::addColumn<qint64>("soundStart");
        QTest::addColumn<qint64>("soundEnd");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("whole") << TaskCut {} << qint64(500) << qint64(3000) << qint64(2500);
        QTest::newRow("inside") << TaskCut { 1000, 500 } << qint64(0) << qint64(3000)
                                << qint64(500);
        QTest::newRow("sound starts later")
            << TaskCut { 0, 1000 } << qint64(500) << qint64(3000) << qint64(500);
        QTest::newRow("past the end")
            << TaskCut { 2500, 1000 } << qint64(0) << qint64(3000) << qint64(500);
        QTest::newRow("after the sound")
            << TaskCut { 4000, -1 } << qint64(0) << qint64(3000) << qint64(0);
    }

    void cutLengthCases()
    {
        QFETCH(TaskCut, cut);
        QFETCH(qint64, soundStart);
        QFETCH(qint64, soundEnd);
        QFETCH(qint64, expected);
        QCOMPARE(cutLength(cut, soundStart, soundEnd), expected);
    }

    // The song's tags travel; the source container's bookkeeping does not.
    void onlyReadableTagsTravel_data() { engineColumn(); }
    void onlyReadableTagsTravel()
    {
        QFETCH(QString, engine);
        const QString source = path(u"in/tagged.mp4"_s);
        ClipOptions tagged;
        tagged.seconds = 0.5;
        tagged.width = 64;
        tagged.height = 48;
        tagged.extraOutputArgs = { u"-metadata"_s, u"title=Song"_s, u"-metadata"_s,
            u"artist=Band"_s, u"-metadata"_s, u"album=Record"_s, u"-metadata"_s, u"date=2019"_s,
            u"-metadata"_s, u"genre=Rock"_s, u"-metadata"_s, u"track=3"_s, u"-metadata"_s,
            u"comment=Nice"_s, u"-metadata:s:a"_s, u"handler_name=Camera Sound"_s, u"-metadata"_s,
            u"encoder=Camera 1.0"_s };
        QVERIFY(makeClip(source, tagged));
        QCOMPARE(tagsOf(source).value(u"major_brand"_s), u"isom"_s);

        const std::unique_ptr<Encoder> encoder = encoderFor(engine);
        Ends ends(*encoder);
        const QStringList extensions { u"MP3"_s, u"OGG"_s, u"FLAC"_s, u"M4A"_s };
        for (const QString &extension : extensions)
            QVERIFY(
                queue(*encoder, source, path(u"out/tags."_s + extension), family(extension)) >= 0);
        encoder->StartTasks(2);
        QVERIFY(QTest::qWaitFor([&] { return ends.done; }, 60000));
        for (const QString &extension : extensions) {
            const QHash<QString, QString> tags = tagsOf(path(u"out/tags."_s + extension));
            for (const auto &[key, value] :
                { qMakePair(u"title"_s, u"Song"_s), qMakePair(u"artist"_s, u"Band"_s),
                    qMakePair(u"album"_s, u"Record"_s), qMakePair(u"date"_s, u"2019"_s),
                    qMakePair(u"genre"_s, u"Rock"_s), qMakePair(u"comment"_s, u"Nice"_s) })
                QVERIFY2(tags.value(key) == value, qPrintable(extension + u" "_s + key));
            QVERIFY2(tags.value(u"track"_s).startsWith(u"3"_s), qPrintable(extension));
            // An M4A names its own brands; the source's ("isom") stay behind.
            QVERIFY2(tags.value(u"major_brand"_s) != u"isom"_s, qPrintable(extension));
            QVERIFY2(
                !tags.value(u"compatible_brands"_s).contains(u"avc1"_s), qPrintable(extension));
            if (extension != u"M4A"_s) {
                for (const char *bookkeeping : { "major_brand", "minor_version",
                         "compatible_brands", "handler_name", "vendor_id" })
                    QVERIFY2(!tags.contains(QLatin1String(bookkeeping)),
                        qPrintable(extension + u" "_s + QLatin1String(bookkeeping)));
            }
            QVERIFY2(tags.value(u"handler_name"_s) != u"Camera Sound"_s, qPrintable(extension));
            // Neither the source's encoder nor ffmpeg's version tag ("Lavf59.27.100").
            const QString encoderTag = tags.value(u"encoder"_s);
            QVERIFY2(encoderTag != u"Camera 1.0"_s
                    && !QRegularExpression(u"^Lavf\\d"_s).match(encoderTag).hasMatch(),
                qPrintable(extension + u" "_s + encoderTag));
        }
    }
};

QTEST_GUILESS_MAIN(WholeSoundTest)
#include "whole_sound_test.moc"
