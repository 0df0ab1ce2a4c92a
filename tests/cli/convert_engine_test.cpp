// sonivert-cli convert --engine: which engine runs each file, and the worker's refusals.
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert::test;
using namespace Qt::StringLiterals;

class ConvertEngineTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_clip;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = m_dir.filePath(u"clip.mp4"_s);
        ClipOptions options;
        options.seconds = 1.5;
        QVERIFY(makeClip(m_clip, options));
    }

    void eachEngineRunsAndSaysSo_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::addColumn<QString>("expected");
        QTest::newRow("auto") << u"auto"_s << u"worker"_s;
        QTest::newRow("ffmpeg") << u"ffmpeg"_s << u"ffmpeg"_s;
        QTest::newRow("worker") << u"worker"_s << u"worker"_s;
    }

    void eachEngineRunsAndSaysSo()
    {
        QFETCH(QString, engine);
        QFETCH(QString, expected);
        const QString out = outputFolder(m_dir, u"out-"_s + engine);
        const CliRun dry = runCli({ u"convert"_s, u"--engine"_s, engine, u"--dry-run"_s,
            u"--json"_s, u"-o"_s, out, m_clip });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().at(0).toObject()[u"engine"].toString(), expected);
        const CliRun plain
            = runCli({ u"convert"_s, u"--engine"_s, engine, u"--dry-run"_s, u"-o"_s, out, m_clip });
        QCOMPARE(plain.lines().value(2), u"  engine: "_s + expected);

        const CliRun run
            = runCli({ u"convert"_s, u"--engine="_s + engine, u"--json"_s, u"-o"_s, out, m_clip });
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QJsonObject result = run.json().array().at(0).toObject();
        QCOMPARE(result[u"state"].toString(), u"done"_s);
        QCOMPARE(result[u"engine"].toString(), expected);
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden), QStringList { u"clip.MP3"_s });
    }

    // GSM (8 kHz mono, 65-byte blocks) was the last catalogue codec only the ffmpeg program ran.
    void everyCatalogueCodecRunsOnTheWorker()
    {
        const QString out = outputFolder(m_dir, u"gsm"_s);
        const CliRun dry = runCli({ u"convert"_s, u"--format"_s, u"WAV"_s, u"--set"_s,
            u"AudioCodec=MS GSM 6.10"_s, u"--dry-run"_s, u"--json"_s, u"-o"_s, out, m_clip });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().at(0).toObject()[u"engine"].toString(), u"worker"_s);
    }

    void oneLongFileTakesBothThreadsUnlessTold()
    {
        // Two minutes of sound make two segments of the least length a segment gets.
        const QString input = m_dir.filePath(u"long.wav"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"aevalsrc=0.5*sin(2*PI*440*t):s=16000:d=130"_s, input }));
        QByteArray outputs[2];
        for (const bool split : { true, false }) {
            const QString out = outputFolder(m_dir, split ? u"split"_s : u"whole"_s);
            QStringList args { u"convert"_s, u"--format"_s, u"WAV"_s, u"--preset"_s, u"WAV-VOICE"_s,
                u"--threads"_s, u"2"_s, u"--json"_s, u"-o"_s, out, input };
            if (!split)
                args.insert(1, u"--no-segments"_s);
            const CliRun run = runCli(args);
            QVERIFY2(run.exitCode == 0, qPrintable(run.err));
            const QJsonObject file = run.json().array().at(0).toObject();
            QCOMPARE(file[u"state"].toString(), u"done"_s);
            QCOMPARE(file[u"segments"].toInt(), split ? 2 : 1);
            QFile written(file[u"output"].toString());
            QVERIFY(written.open(QIODevice::ReadOnly));
            outputs[split ? 0 : 1] = written.readAll();
            QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden).size(), 1);
        }
        // PCM joins are plain: the same bytes as one pass.
        QVERIFY(outputs[0].size() > 4'000'000);
        QVERIFY(outputs[0] == outputs[1]);
    }

    void anUnknownEngineIsAUsageError()
    {
        const CliRun run = runCli({ u"convert"_s, u"--engine"_s, u"fast"_s, m_clip });
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.err.contains(u"--engine takes auto, ffmpeg or worker"_s));
    }
};

QTEST_GUILESS_MAIN(ConvertEngineTest)
#include "convert_engine_test.moc"
