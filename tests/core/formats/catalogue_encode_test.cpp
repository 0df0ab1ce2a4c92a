#include "core/formats/output_settings.h"
#include "core/formats/parameter_tables.h"
#include "support/media_maker.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;

namespace {

// The encoder each audio codec label of the catalogue stands for in the option string.
QString encoderFor(const QString &codec, const QString &sampleSize)
{
    if (codec == QLatin1String("PCM little-endian") || codec == QLatin1String("PCM big-endian")) {
        const bool little = codec == QLatin1String("PCM little-endian");
        if (sampleSize == QLatin1String("8 bit"))
            return little ? QStringLiteral("pcm_u8") : QStringLiteral("pcm_s8");
        const QString bits = QString(sampleSize).remove(QStringLiteral(" bit"));
        return QStringLiteral("pcm_s") + bits
            + (little ? QStringLiteral("le") : QStringLiteral("be"));
    }
    static const QHash<QString, QString> encoders = {
        { QStringLiteral("MP3"), QStringLiteral("libmp3lame") },
        { QStringLiteral("AAC"), QStringLiteral("aac") },
        { QStringLiteral("MP2"), QStringLiteral("mp2") },
        { QStringLiteral("Ogg Vorbis"), QStringLiteral("libvorbis") },
        { QStringLiteral("IMA ADPCM"), QStringLiteral("adpcm_ima_wav") },
        { QStringLiteral("Microsoft ADPCM"), QStringLiteral("adpcm_ms") },
        { QStringLiteral("CCITT A-law"), QStringLiteral("pcm_alaw") },
        { QStringLiteral("CCITT u-law"), QStringLiteral("pcm_mulaw") },
        { QStringLiteral("AC3"), QStringLiteral("ac3") },
        { QStringLiteral("WMA"), QStringLiteral("wmav2") },
        { QStringLiteral("FLAC"), QStringLiteral("flac") },
        { QStringLiteral("MS GSM 6.10"), QStringLiteral("libgsm_ms") },
        { QStringLiteral("Opus"), QStringLiteral("libopus") },
    };
    return encoders.value(codec);
}

QString channelCount(const QString &channels)
{
    if (channels == QLatin1String("Mono"))
        return QStringLiteral("1");
    return channels == QLatin1String("Stereo") ? QStringLiteral("2") : QStringLiteral("6");
}

QStringList entries(const QString &list)
{
    return list.split(QLatin1Char(';'), Qt::SkipEmptyParts);
}

QStringList ends(const QStringList &list)
{
    return list.size() > 1 ? QStringList { list.first(), list.last() } : list;
}

} // namespace

// Every codec, rate, layout and bit rate the catalogue offers must be something the ffmpeg
// program of this system can actually write.
class CatalogueEncodeTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_source;
    Catalogue m_catalogue;
    int m_encoded = 0;

    struct Job
    {
        QStringList options;
        QString output;
        QString what;
    };
    QList<Job> m_jobs;

    void encode(const QString &codec, const QString &rate, const QString &channels,
        const QString &size, const QString &bitrate, const QString &extension)
    {
        const QString encoder = encoderFor(codec, size);
        QVERIFY2(!encoder.isEmpty(), qPrintable(codec));
        Job job;
        job.output = QDir(m_dir.path())
                         .filePath(QStringLiteral("out%1.").arg(m_encoded++) + extension.toLower());
        job.options
            = QStringList { QStringLiteral("-ac"), channelCount(channels), QStringLiteral("-ar"),
                  QString(rate).remove(QStringLiteral(" Hz")), QStringLiteral("-ab"),
                  QString(bitrate).remove(QStringLiteral(" kbps")) + QLatin1Char('k'),
                  QStringLiteral("-acodec"), encoder, QStringLiteral("-vn") };
        // The conversion writes ringtones through an intermediate name; here the muxer is named.
        if (extension == QLatin1String("M4R"))
            job.options << QStringLiteral("-f") << QStringLiteral("ipod");
        job.what = QStringList { codec, rate, channels, size, bitrate, extension }.join(
            QStringLiteral(", "));
        m_jobs.append(job);
    }

    // One ffmpeg run writes every output (starting the program dominates otherwise); only when
    // it fails are the outputs tried one by one to name the culprit.
    void runJobs()
    {
        QStringList args { QStringLiteral("-i"), m_source };
        for (const Job &job : std::as_const(m_jobs))
            args << job.options << job.output;
        if (!RunFfmpeg(args)) {
            for (const Job &job : std::as_const(m_jobs)) {
                QString error;
                const bool ok = RunFfmpeg(QStringList { QStringLiteral("-i"), m_source }
                        + job.options + QStringList { job.output },
                    &error);
                QVERIFY2(ok, qPrintable(job.what + QStringLiteral(": ") + error));
            }
        }
        for (const Job &job : std::as_const(m_jobs)) {
            QVERIFY2(QFileInfo(job.output).size() > 0, qPrintable(job.what));
            QFile::remove(job.output);
        }
        m_jobs.clear();
    }

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
            QSKIP("the ffmpeg program is not installed");
        QVERIFY(m_dir.isValid());
        QVERIFY(LoadBuiltInCatalogue(m_catalogue, m_dir.path()));
        m_source = m_dir.filePath(QStringLiteral("source.wav"));
        ClipOptions clip;
        clip.seconds = 0.2;
        clip.video = false;
        clip.sampleRate = 48000;
        clip.channelLayout = QStringLiteral("5.1");
        QVERIFY(MakeClip(m_source, clip));
    }

    void everyOfferedPresetEncodes()
    {
        OutputSettings settings(m_catalogue);
        const QStringList keywords
            = ListFormatKeywords(m_catalogue.presets, OfferedMaker).split(QLatin1Char('|'));
        for (const QString &keyword : keywords) {
            settings.SelectFormat(keyword);
            for (int i = 0; i < settings.offeredPresets().size(); ++i) {
                settings.SelectMainPreset(i);
                encode(settings.choiceText(ChoiceListId::AudioCodec),
                    settings.choiceText(ChoiceListId::SampleRate),
                    settings.choiceText(ChoiceListId::Channels),
                    settings.choiceText(ChoiceListId::AudioSize),
                    settings.choiceText(ChoiceListId::AudioBitrate),
                    settings.choiceText(ChoiceListId::FileExtention));
            }
        }
    }

    void extremesOfEveryCodecEncode()
    {
        // The lowest and highest rate, every layout, the lowest and highest bit rate.
        const CatalogueTable &formats = m_catalogue.formats;
        for (int row = 1; row <= formats.rowCount(); ++row) {
            const QString codec = GetCatalogueCell(formats, row, QStringLiteral("AudioCodec"));
            const QString format = GetCatalogueCell(formats, row, QStringLiteral("Format"));
            if (codec == QLatin1String("#") || codec == QLatin1String("No Audio")
                || FindCatalogueRow(m_catalogue.presets, QStringLiteral("Format"), format) == 0)
                continue;
            const int first = FindCatalogueRow(formats, QStringLiteral("Format"), format);
            const QString extension
                = entries(GetCatalogueCell(formats, first, QStringLiteral("FileExtention")))
                      .value(0);
            const QStringList rates
                = entries(GetCatalogueCell(formats, row, QStringLiteral("SampleRate")));
            const QStringList sizes
                = entries(GetCatalogueCell(formats, row, QStringLiteral("AudioSize")));
            for (const QString &rate : { rates.first(), rates.last() }) {
                for (const QString &channels :
                    entries(GetCatalogueCell(formats, row, QStringLiteral("Channels")))) {
                    for (const QString &size : { sizes.first(), sizes.last() }) {
                        const QStringList bitrates
                            = entries(ListAudioBitrates(codec, rate, channels, size));
                        for (const QString &bitrate : ends(bitrates))
                            encode(codec, rate, channels, size, bitrate, extension);
                    }
                }
            }
        }
        QVERIFY(m_jobs.size() > 100);
        runJobs();
    }
};

QTEST_GUILESS_MAIN(CatalogueEncodeTest)
#include "catalogue_encode_test.moc"
