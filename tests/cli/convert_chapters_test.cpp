// sonivert-cli convert --split-chapters and --cover: one correctly timed and tagged output per
// chapter on both engines, each an entry of its own.
#include "support/cli_runner.h"
#include "support/media_maker.h"
#include "support/output_facts.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;
using namespace Qt::StringLiterals;

class ConvertChaptersTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_lecture;
    QString m_plain;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_lecture = m_dir.filePath(u"lecture.mp4"_s);
        QVERIFY(makeFileWithExtras(m_lecture, { u"sine=d=4"_s },
            ";FFMETADATA1\ntitle=Lecture\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1500\ntitle=Intro\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1500\nEND=3000\ntitle=Main: part\n"
            "[CHAPTER]\nTIMEBASE=1/1000\nSTART=3000\nEND=4000\ntitle=End\n"));
        m_plain = m_dir.filePath(u"plain.mp4"_s);
        ClipOptions options;
        options.seconds = 1.0;
        QVERIFY(makeClip(m_plain, options));
    }

    void oneOutputPerChapter_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::newRow("ffmpeg") << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s;
    }

    void oneOutputPerChapter()
    {
        QFETCH(QString, engine);
        const QString out = outputFolder(m_dir, u"split-"_s + engine);
        const QStringList names = { u"lecture - 01 - Intro.MP3"_s,
            u"lecture - 02 - Main_ part.MP3"_s, u"lecture - 03 - End.MP3"_s };
        const CliRun dry = runCli({ u"convert"_s, u"--split-chapters"_s, u"--engine"_s, engine,
            u"--dry-run"_s, u"--json"_s, u"-o"_s, out, m_lecture });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().size(), 3);
        QCOMPARE(dry.json().array().at(1).toObject()[u"output"].toString(),
            QDir(out).filePath(names.at(1)));

        const CliRun run = runCli({ u"convert"_s, u"--split-chapters"_s, u"--engine"_s, engine,
            u"--json"_s, u"-o"_s, out, m_lecture });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonArray entries = run.json().array();
        QCOMPARE(entries.size(), 3);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden, QDir::Name), names);
        const QList<qint64> lengths = { 1'500'000, 1'500'000, 1'000'000 };
        const QStringList titles = { u"Intro"_s, u"Main: part"_s, u"End"_s };
        for (int i = 0; i < 3; ++i) {
            const QJsonObject entry = entries.at(i).toObject();
            QCOMPARE(entry[u"state"].toString(), u"done"_s);
            QCOMPARE(entry[u"file"].toString(), m_lecture);
            QCOMPARE(entry[u"output"].toString(), QDir(out).filePath(names.at(i)));
            const OutputFacts o = readOutputFacts(QDir(out).filePath(names.at(i)));
            QVERIFY(o.ok);
            // Within two MP3 frames and the encoder's delay.
            QVERIFY2(std::abs(o.durationUs - lengths.at(i)) <= 80'000,
                qPrintable(QString::number(o.durationUs)));
            QCOMPARE(o.tags.value(u"title"_s), titles.at(i));
            QCOMPARE(o.tags.value(u"track"_s), QStringLiteral("%1/3").arg(i + 1));
            QCOMPARE(o.tags.value(u"album"_s), u"Lecture"_s);
            QCOMPARE(o.chapters, size_t(0));
            QVERIFY(o.picture);
        }
    }

    // The probe tells what a split would give.
    void probeListsChaptersAndCover()
    {
        const CliRun run = runCli({ u"probe"_s, u"--json"_s, m_lecture, m_plain });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonObject lecture = run.json().array().at(0).toObject();
        QVERIFY(lecture[u"cover"].toBool());
        const QJsonArray chapters = lecture[u"chapters"].toArray();
        QCOMPARE(chapters.size(), 3);
        QCOMPARE(chapters.at(1).toObject()[u"title"].toString(), u"Main: part"_s);
        QCOMPARE(chapters.at(1).toObject()[u"start"].toDouble(), 1.5);
        QCOMPARE(chapters.at(1).toObject()[u"end"].toDouble(), 3.0);
        const QJsonObject plain = run.json().array().at(1).toObject();
        QVERIFY(!plain[u"cover"].toBool());
        QVERIFY(plain[u"chapters"].toArray().isEmpty());
        // The plain lines say it too.
        const QList<QByteArray> lines = runCli({ u"probe"_s, m_lecture, m_plain }).out.split('\n');
        QVERIFY2(lines.at(0).endsWith(", cover, 3 chapters"), lines.at(0).constData());
        QVERIFY2(!lines.at(1).contains("cover"), lines.at(1).constData());
    }

    // Without chapters a file converts whole; --cover none leaves the picture out.
    void plainFilesAndCoverChoice()
    {
        const QString out = outputFolder(m_dir, u"plain"_s);
        const CliRun run = runCli({ u"convert"_s, u"--split-chapters"_s, u"--cover"_s, u"none"_s,
            u"--json"_s, u"-o"_s, out, m_plain, m_lecture });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.json().array().size(), 4);
        QCOMPARE(run.json().array().at(0).toObject()[u"output"].toString(),
            QDir(out).filePath(u"plain.MP3"_s));
        QVERIFY(!readOutputFacts(QDir(out).filePath(u"lecture - 01 - Intro.MP3"_s)).picture);

        const CliRun bad = runCli({ u"convert"_s, u"--cover"_s, u"poster"_s, m_plain });
        QCOMPARE(bad.exitCode, 2);
        QVERIFY(bad.err.contains(u"--cover takes source, frame or none"_s));
    }

    // A dry run's command makes what the run makes: for Opus, the cover comes as a comment.
    void dryRunCommandCarriesAnOpusCover()
    {
        const QString out = outputFolder(m_dir, u"dry"_s);
        const CliRun dry = runCli({ u"convert"_s, u"--format"_s, u"OPUS"_s, u"--dry-run"_s,
            u"--json"_s, u"-o"_s, out, m_lecture });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QStringList argv;
        for (const QJsonValue &word : dry.json().array().at(0).toObject()[u"argv"].toArray())
            argv << word.toString();
        QVERIFY(!argv.filter(u"METADATA_BLOCK_PICTURE="_s).isEmpty());
        argv.last() = QDir(out).filePath(u"by-hand.opus"_s);
        QProcess ffmpeg;
        ffmpeg.start(argv.first(), argv.mid(1));
        QVERIFY(ffmpeg.waitForFinished(60000));
        QVERIFY2(ffmpeg.exitCode() == 0, ffmpeg.readAllStandardError().constData());
        QVERIFY(readOutputFacts(argv.last()).picture);
    }
};

QTEST_GUILESS_MAIN(ConvertChaptersTest)
#include "convert_chapters_test.moc"
