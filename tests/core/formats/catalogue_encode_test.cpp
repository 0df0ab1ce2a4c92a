#include "core/convert/conversion_run.h"
#include "core/convert/option_builder.h"
#include "core/formats/output_settings.h"
#include "core/formats/parameter_tables.h"
#include "core/media/probe.h"
#include "support/media_maker.h"

#include <QSet>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace sonivert::test;

namespace {

// The first and the last entry: the extremes of a list.
QList<int> ends(const ChoiceList &list)
{
    const int count = int(list.entries.size());
    if (count <= 1)
        return count == 1 ? QList<int> { 0 } : QList<int> {};
    return { 0, count - 1 };
}

QList<int> every(const ChoiceList &list)
{
    QList<int> all;
    for (int i = 0; i < list.entries.size(); ++i)
        all << i;
    return all;
}

} // namespace

// Every codec, rate, layout and bit rate the catalogue offers must be something the ffmpeg
// program of this system can actually write: each combination is planned and converted as a row
// of a run would be, by the product's own engine.
class CatalogueEncodeTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_source;
    MediaItem m_sourceItem;
    Catalogue m_builtIn;

    struct Case
    {
        QString what;
        TaskPlan plan;
    };
    QList<Case> m_cases;
    QSet<QString> m_planned; // what the engine is asked to do, once each

    void plan(OutputSettings &settings)
    {
        const TaskPlan plan = planTask(m_sourceItem, settings);
        if (!m_planned.contains(plan.extension + plan.outputOptions)) {
            m_planned.insert(plan.extension + plan.outputOptions);
            m_cases.append({ settings.description().format + QStringLiteral(": ")
                    + plan.outputOptions.trimmed() + QStringLiteral(" -> ") + plan.extension,
                plan });
        }
    }

    // All cases as the rows of one run, as many at once as the machine has cores.
    void convertCases()
    {
        QTemporaryDir out(m_dir.filePath(QStringLiteral("out-XXXXXX")));
        QVERIFY(out.isValid());
        ConversionRun run;
        run.begin(out.path());
        for (int row = 0; row < m_cases.size(); ++row) {
            const QString output = run.addRow(row, m_source, m_cases.at(row).plan);
            QVERIFY2(!output.isEmpty(),
                qPrintable(m_cases.at(row).what + QStringLiteral(": ") + run.LastErrorText()));
        }
        QSignalSpy ended(&run, &ConversionRun::runEnded);
        run.start(0);
        QVERIFY(ended.count() == 1 || ended.wait(240000));

        QStringList failures;
        for (int row = 0; row < m_cases.size(); ++row) {
            if (run.outcome(row) != RowOutcome::Failed)
                continue;
            QString message;
            for (const RunFailure &failure : run.failures()) {
                if (failure.row == row)
                    message = failure.message;
            }
            failures << m_cases.at(row).what + QStringLiteral(": ") + message + QStringLiteral("\n")
                    + run.taskDetails(row);
        }
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join(QStringLiteral("\n\n"))));
        // A message that stops a run would have cancelled the rest; that is a failure too.
        for (int row = 0; row < m_cases.size(); ++row)
            QVERIFY2(run.outcome(row) == RowOutcome::Done, qPrintable(m_cases.at(row).what));
    }

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
            QSKIP("the ffmpeg program is not installed");
        QVERIFY(m_dir.isValid());
        QVERIFY(loadBuiltInCatalogue(m_builtIn, m_dir.path()));
        m_source = m_dir.filePath(QStringLiteral("source.wav"));
        ClipOptions clip;
        clip.seconds = 0.2;
        clip.video = false;
        clip.sampleRate = 48000;
        clip.channelLayout = QStringLiteral("5.1");
        QVERIFY(makeClip(m_source, clip));
        const ProbeResult probe = probeMediaFile(m_source);
        QVERIFY2(probe.ok, qPrintable(probe.message));
        m_sourceItem = probe.item;
    }

    void init()
    {
        m_cases.clear();
        m_planned.clear();
    }

    void everyOfferedPresetEncodes()
    {
        Catalogue catalogue = m_builtIn;
        OutputSettings settings(catalogue);
        const QStringList keywords
            = ListFormatKeywords(catalogue.presets, OfferedMaker).split(QLatin1Char('|'));
        for (const QString &keyword : keywords) {
            settings.selectFormat(keyword);
            for (int i = 0; i < settings.offeredPresets().size(); ++i) {
                settings.selectMainPreset(i);
                plan(settings);
            }
        }
        QVERIFY(m_cases.size() > 10);
        convertCases();
    }

    // Within each offered format, every codec with every layout, the lowest and highest sample
    // size and rate, and the lowest and highest bit rate, chosen as the settings dialog would.
    void extremesOfEveryCodecEncode()
    {
        Catalogue catalogue = m_builtIn;
        OutputSettings settings(catalogue);
        const QStringList keywords
            = ListFormatKeywords(catalogue.presets, OfferedMaker).split(QLatin1Char('|'));
        QSet<QString> formats;
        for (const QString &keyword : keywords) {
            settings.selectFormat(keyword);
            for (int preset = 0; preset < settings.offeredPresets().size(); ++preset) {
                settings.selectMainPreset(preset);
                if (formats.contains(settings.description().format))
                    continue;
                formats.insert(settings.description().format);
                for (int codec : every(settings.choice(ChoiceListId::AudioCodec))) {
                    settings.chooseEntry(ChoiceListId::AudioCodec, codec);
                    for (int channels : every(settings.choice(ChoiceListId::Channels))) {
                        settings.chooseEntry(ChoiceListId::Channels, channels);
                        for (int size : ends(settings.choice(ChoiceListId::AudioSize))) {
                            settings.chooseEntry(ChoiceListId::AudioSize, size);
                            for (int rate : ends(settings.choice(ChoiceListId::SampleRate))) {
                                settings.chooseEntry(ChoiceListId::SampleRate, rate);
                                for (int bitrate :
                                    ends(settings.choice(ChoiceListId::AudioBitrate))) {
                                    settings.chooseEntry(ChoiceListId::AudioBitrate, bitrate);
                                    plan(settings);
                                }
                            }
                        }
                    }
                }
            }
        }
        QVERIFY(m_cases.size() > 100);
        convertCases();
    }
};

QTEST_GUILESS_MAIN(CatalogueEncodeTest)
#include "catalogue_encode_test.moc"
