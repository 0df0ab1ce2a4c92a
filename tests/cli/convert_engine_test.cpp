// sonivert-cli convert --engine: which engine runs each file, and the worker's refusals.
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QDir>
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

    QString folder(const QString &name) const
    {
        const QString path = m_dir.filePath(name);
        QDir().mkpath(path);
        return path;
    }

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
        const QString out = folder(u"out-"_s + engine);
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
        const QString out = folder(u"gsm"_s);
        const CliRun dry = runCli({ u"convert"_s, u"--format"_s, u"WAV"_s, u"--set"_s,
            u"AudioCodec=MS GSM 6.10"_s, u"--dry-run"_s, u"--json"_s, u"-o"_s, out, m_clip });
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        QCOMPARE(dry.json().array().at(0).toObject()[u"engine"].toString(), u"worker"_s);
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
