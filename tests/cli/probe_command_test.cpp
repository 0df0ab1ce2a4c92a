#include "core/media/media_item.h"
#include "support/cli_runner.h"
#include "support/media_maker.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using sonivert::test::ClipOptions;
using sonivert::test::CliRun;
using sonivert::test::makeClip;
using sonivert::test::runCli;

class ProbeCommandTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_clip;
    QString m_song;
    QString m_text;

    static CliRun run(const QStringList &args)
    {
        return runCli(QStringList { QStringLiteral("probe") } + args);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = m_dir.filePath(QStringLiteral("clip.mkv"));
        ClipOptions options;
        options.extraOutputArgs = { QStringLiteral("-metadata"), QStringLiteral("title=Title") };
        QVERIFY(makeClip(m_clip, options));
        m_song = m_dir.filePath(QStringLiteral("song.mp3"));
        ClipOptions audio;
        audio.video = false;
        audio.channelLayout = QStringLiteral("mono");
        QVERIFY(makeClip(m_song, audio));
        m_text = m_dir.filePath(QStringLiteral("notes.mkv"));
        QFile f(m_text);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("plain text");
    }

    void jsonHasOneObjectPerFileInArgumentOrder()
    {
        const QString missing = m_dir.filePath(QStringLiteral("missing.mp4"));
        const CliRun r = run({ QStringLiteral("--json"), m_text, m_clip, missing, m_song });
        QCOMPARE(r.exitCode, 1);
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(r.out, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const QJsonArray files = doc.array();
        QCOMPARE(files.size(), 4);

        const QJsonObject bad = files.at(0).toObject();
        QCOMPARE(bad.keys(),
            (QStringList { QStringLiteral("file"), QStringLiteral("message"),
                QStringLiteral("name"), QStringLiteral("ok") }));
        QCOMPARE(bad.value(QStringLiteral("file")).toString(), m_text);
        QCOMPARE(bad.value(QStringLiteral("ok")), QJsonValue(false));
        QCOMPARE(bad.value(QStringLiteral("name")).toString(), QStringLiteral("notes.mkv"));
        QCOMPARE(bad.value(QStringLiteral("message")).toString(),
            m_text + QStringLiteral(": Invalid data found when processing input"));

        const QJsonObject good = files.at(1).toObject();
        QCOMPARE(good.keys(),
            (QStringList { QStringLiteral("audioTracks"), QStringLiteral("chapters"),
                QStringLiteral("cover"), QStringLiteral("fields"), QStringLiteral("file"),
                QStringLiteral("ok") }));
        QCOMPARE(good.value(QStringLiteral("ok")), QJsonValue(true));
        const QJsonArray fields = good.value(QStringLiteral("fields")).toArray();
        QCOMPARE(fields.size(), MediaFieldCount);
        for (int i = 0; i < MediaFieldCount; ++i) {
            const QJsonValue v = fields.at(i);
            switch (fieldTypeOf(i)) {
            case FieldType::Text:
                QVERIFY2(v.isString(), qPrintable(fieldKey(i)));
                break;
            case FieldType::Integer:
                QVERIFY2(v.isDouble(), qPrintable(fieldKey(i)));
                break;
            case FieldType::Boolean:
                QVERIFY2(v.isBool(), qPrintable(fieldKey(i)));
                break;
            }
        }
        QCOMPARE(fields.at(Field::Name).toString(), QStringLiteral("clip.mkv"));
        QCOMPARE(fields.at(Field::VideoWidth).toInt(), 320);
        QCOMPARE(fields.at(Field::VideoStream).toBool(), true);
        QCOMPARE(fields.at(Field::FileTitle).toString(), QStringLiteral("Title"));

        const QJsonObject gone = files.at(2).toObject();
        QCOMPARE(
            gone.value(QStringLiteral("message")).toString(), QStringLiteral("File not found!"));
        QCOMPARE(files.at(3).toObject().value(QStringLiteral("ok")), QJsonValue(true));
    }

    void plainOutputAndSuccess()
    {
        const CliRun r = run({ m_clip, m_song });
        QCOMPARE(r.exitCode, 0);
        const QList<QByteArray> lines = r.out.trimmed().split('\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY2(
            lines.at(0).startsWith("clip.mkv  00:00:01  MKV  video "), lines.at(0).constData());
        QVERIFY2(lines.at(0).contains(" 320x240, audio "), lines.at(0).constData());
        QVERIFY2(lines.at(1).contains("no video, audio MPEG audio layer 3 44100 Hz 1 ch"),
            lines.at(1).constData());
    }

    void failureLineAndExitStatus()
    {
        const CliRun r = run({ m_text });
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.out.trimmed(),
            QByteArray("notes.mkv  failed: ") + m_text.toUtf8()
                + ": Invalid data found when processing input");
    }

    void usageErrors()
    {
        QCOMPARE(run({}).exitCode, 2);
        QCOMPARE(run({ QStringLiteral("--json") }).exitCode, 2);
        QCOMPARE(run({ QStringLiteral("--xml"), m_clip }).exitCode, 2);
        // After "--" a name that looks like an option is a file.
        const CliRun r
            = run({ QStringLiteral("--json"), QStringLiteral("--"), QStringLiteral("-odd") });
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.json().array().size(), 1);
        const CliRun help = run({ QStringLiteral("--help") });
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.out.startsWith("Usage: sonivert-cli probe [--json] FILE..."));
    }
};

QTEST_GUILESS_MAIN(ProbeCommandTest)
#include "probe_command_test.moc"
