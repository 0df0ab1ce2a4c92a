#include "core/diagnose/sweep.h"
#include "core/formats/parameter_tables.h"
#include "support/catalogue_rows.h"

#include <QTest>

using namespace sonivert;

namespace {

const auto L = test::Row;

// Two families: one whose codecs differ in rates, sizes and bit-rate tables, one of video codecs.
Catalogue testCatalogue()
{
    Catalogue c;
    c.formats.columns = test::formatTableColumns();
    c.formats.rows = {
        L({ "AUD", "No Video", "WMA", "WMA;", "#", "#", "#", "22050 Hz;32000 Hz;44100 Hz;",
            "Mono;Stereo;", "16 bit;", "0", "0", "0" }),
        L({ "AUD", "#", "PCM little-endian", "#", "#", "#", "#", "8000 Hz;11025 Hz;",
            "Mono;Stereo;", "8 bit;16 bit;", "0", "0", "0" }),
        // No bit-rate table knows this label: its inner list is empty, so it converts nothing.
        L({ "AUD", "#", "Mystery", "#", "#", "#", "#", "8000 Hz;", "Mono;", "16 bit;", "0", "0",
            "0" }),
        L({ "VID", "No Video", "MP2", "MPG;", "#", "#", "#", "44100 Hz;", "Stereo;", "16 bit;", "0",
            "0", "0" }),
        L({ "VID", "MPEG-1", "#", "MPG;", "25 fps;", "Original;", "Original;", "#", "#", "#",
            "1920", "1080", "6000" }),
        L({ "VID", "H.264", "#", "MP4;", "25 fps;", "Original;", "Original;", "#", "#", "#", "1280",
            "720", "8000" }),
    };
    c.presets.columns = test::presetTableColumns();
    c.presets.rows = {
        L({ "A1", "WMA 128", "AudioFormat", "Audio", "", "", "", "AUD", "No Video", "WMA", "-", "-",
            "-", "-", "0", "WMA", "-", "44100 Hz", "Stereo", "16 bit", "128", "No" }),
        L({ "A2", "PCM 8", "AudioFormat", "Audio", "", "", "", "AUD", "No Video",
            "PCM little-endian", "-", "-", "-", "-", "0", "WMA", "-", "8000 Hz", "Mono", "8 bit",
            "64", "No" }),
        L({ "V1", "Video H.264", "DeviceFormat", "Video", "", "", "", "VID", "H.264", "MP2", "0",
            "0", "25 fps", "Standard", "0", "MP4", "Original", "44100 Hz", "Stereo", "16 bit",
            "192", "No" }),
    };
    return c;
}

// Records what each step would have converted and answers with a scripted outcome.
class FakeRunner : public DiagnosisStepRunner
{
public:
    explicit FakeRunner(const OutputSettings &settings)
        : m_settings(settings)
    {
    }

    StepOutcome runStep() override
    {
        QStringList seen;
        for (ChoiceListId id :
            { ChoiceListId::AudioCodec, ChoiceListId::Channels, ChoiceListId::AudioSize,
                ChoiceListId::SampleRate, ChoiceListId::AudioBitrate, ChoiceListId::VideoCodec })
            seen << m_settings.choiceText(id);
        converted << seen;
        appliedRows << m_settings.appliedPresetRow();
        if (int(converted.size()) == goneAt)
            return { false, QString(), QString() };
        if (fails && fails(m_settings))
            return { true, QStringLiteral("Unsuccessful! "), QStringLiteral(" encoder said no ") };
        return { true, QStringLiteral("Done"), QString() };
    }
    void beforeStep() override
    {
        ++beforeSteps;
        if (int(converted.size()) == stopBefore)
            stopGiven = true;
    }
    bool stopRequested() const override { return stopGiven || int(converted.size()) == stopAfter; }
    bool sampleSizeShown(const OutputSettings &settings) const override
    {
        return sizeShown ? sizeShown(settings) : DiagnosisStepRunner::sampleSizeShown(settings);
    }

    QList<QStringList> converted; // codec, channels, size, rate, bit rate, video codec
    QList<int> appliedRows;
    std::function<bool(const OutputSettings &)> fails;
    std::function<bool(const OutputSettings &)> sizeShown;
    int stopAfter = -1; // steps converted when StopRequested says yes
    int stopBefore = -1; // steps converted when a Stop arrives between two steps
    int goneAt = -1; // the step during which the front end goes away
    int beforeSteps = 0;
    bool stopGiven = false;

private:
    const OutputSettings &m_settings;
};

int bitrateCount(const char *codec, const char *rate, const char *channels, const char *size)
{
    return int(ListAudioBitrates(
        QLatin1String(codec), QLatin1String(rate), QLatin1String(channels), QLatin1String(size))
                   .count(QLatin1Char(';')));
}

} // namespace

class SweepTest : public QObject
{
    Q_OBJECT

private:
    Catalogue catalogue = testCatalogue();
    std::unique_ptr<OutputSettings> settings;
    QList<SweepResult> results;

    SweepSummary run(SweepKind kind, FakeRunner &runner)
    {
        results.clear();
        return runSweep(*settings, kind, runner, [this](const SweepResult &r) { results << r; });
    }

private slots:
    void init()
    {
        catalogue = testCatalogue();
        settings = std::make_unique<OutputSettings>(catalogue);
        settings->selectFormat(QStringLiteral("Audio"));
    }

    void textsAndLines()
    {
        QCOMPARE(combinationText(L({ "MP3", "Stereo", "44100 Hz", "128 kbps" })),
            QStringLiteral("   MP3:Stereo:44100 Hz:128 kbps   "));
        QCOMPARE(combinationText(L({ "MP3 192" })), QStringLiteral("   MP3 192   "));
        const SweepResult done { QStringLiteral("   X   "), QStringLiteral("Done"), QString() };
        const SweepResult failed { QStringLiteral("   X   "), QStringLiteral("Unsuccessful!"),
            QStringLiteral("Unknown encoder 'x'") };
        QCOMPARE(resultLine(done), QStringLiteral("   X   Done   "));
        QCOMPARE(resultLine(failed), QStringLiteral("   X   Unsuccessful!   Unknown encoder 'x'"));
        QVERIFY(shouldWrite(done, false));
        QVERIFY(!shouldWrite(done, true));
        QVERIFY(shouldWrite(failed, true));
        QCOMPARE(sweepKindFromName(QStringLiteral("Presets")), SweepKind::Presets);
        QCOMPARE(sweepKindFromName(QStringLiteral("video")), SweepKind::VideoCodecs);
        QVERIFY(!sweepKindFromName(QStringLiteral("everything")));
    }

    // Codec, channels, size, rate, bit rate, outermost first; every inner count read afresh.
    void audioSweepWalksEveryCombinationInOrder()
    {
        FakeRunner runner(*settings);
        const SweepSummary summary = run(SweepKind::AudioSettings, runner);

        const int wma = 2 * 3 * 13; // 2 channels x 3 rates x 13 fixed WMA rates
        int pcm = 0;
        for (const char *channels : { "Mono", "Stereo" })
            for (const char *size : { "8 bit", "16 bit" })
                for (const char *rate : { "8000 Hz", "11025 Hz" })
                    pcm += bitrateCount("PCM little-endian", rate, channels, size);
        QCOMPARE(pcm, 8);
        QCOMPARE(summary.steps, wma + pcm);
        QCOMPARE(summary.end, SweepEnd::Completed);
        QCOMPARE(summary.failures, 0);
        QCOMPARE(runner.converted.size(), results.size());

        QCOMPARE(runner.converted.first(),
            L({ "WMA", "Mono", "16 bit", "22050 Hz", "32 kbps", "No Video" }));
        QCOMPARE(runner.converted.at(1).at(4), QStringLiteral("48 kbps"));
        QCOMPARE(runner.converted.at(13).mid(0, 5),
            L({ "WMA", "Mono", "16 bit", "32000 Hz", "32 kbps" }));
        QCOMPARE(runner.converted.at(39).mid(0, 5),
            L({ "WMA", "Stereo", "16 bit", "22050 Hz", "32 kbps" }));
        QCOMPARE(runner.converted.at(wma).mid(0, 5),
            L({ "PCM little-endian", "Mono", "8 bit", "8000 Hz", "64 kbps" }));
        QCOMPARE(runner.converted.last().mid(0, 5),
            L({ "PCM little-endian", "Stereo", "16 bit", "11025 Hz", "352 kbps" }));
        QCOMPARE(
            results.first().combination, QStringLiteral("   WMA:Mono:16 bit:22050 Hz:32 kbps   "));
        QCOMPARE(results.last().combination,
            QStringLiteral("   PCM little-endian:Stereo:16 bit:11025 Hz:352 kbps   "));
        // The texts are those selected when the step ran.
        for (int i = 0; i < results.size(); ++i)
            QCOMPARE(results.at(i).combination, combinationText(runner.converted.at(i).mid(0, 5)));
    }

    void hiddenSampleSizeLeavesTheSizeOut_data()
    {
        QTest::addColumn<bool>("stereoOnly");
        QTest::newRow("hidden") << false;
        QTest::newRow("shown for stereo only") << true;
    }

    // Whether the size list takes part is asked for every channels entry.
    void hiddenSampleSizeLeavesTheSizeOut()
    {
        QFETCH(bool, stereoOnly);
        FakeRunner runner(*settings);
        runner.sizeShown = [stereoOnly](const OutputSettings &s) {
            return stereoOnly && s.choiceText(ChoiceListId::Channels) == QLatin1String("Stereo");
        };
        const SweepSummary summary = run(SweepKind::AudioSettings, runner);
        QCOMPARE(results.first().combination, QStringLiteral("   WMA:Mono:22050 Hz:32 kbps   "));
        QCOMPARE(results.at(39).combination,
            stereoOnly ? QStringLiteral("   WMA:Stereo:16 bit:22050 Hz:32 kbps   ")
                       : QStringLiteral("   WMA:Stereo:22050 Hz:32 kbps   "));
        // PCM: mono 2 rates; stereo 2 rates, times 2 sizes when the list is shown.
        QCOMPARE(summary.steps, 78 + 2 + (stereoOnly ? 4 : 2));
    }

    void failuresAreCountedAndCarryTheirMessage()
    {
        FakeRunner runner(*settings);
        runner.fails = [](const OutputSettings &s) {
            return s.choiceText(ChoiceListId::AudioCodec) == QLatin1String("PCM little-endian")
                && s.choiceText(ChoiceListId::Channels) == QLatin1String("Stereo");
        };
        const SweepSummary summary = run(SweepKind::AudioSettings, runner);
        QCOMPARE(summary.failures, 4);
        QList<SweepResult> failed;
        for (const SweepResult &r : results)
            if (shouldWrite(r, true))
                failed << r;
        QCOMPARE(failed.size(), 4);
        QCOMPARE(resultLine(failed.first()),
            QStringLiteral("   PCM little-endian:Stereo:8 bit:8000 Hz:128 kbps   Unsuccessful!   "
                           "encoder said no"));
    }

    void aStopOrAVanishedFrontEndEndsTheSweep()
    {
        FakeRunner stopping(*settings);
        stopping.stopAfter = 5;
        SweepSummary summary = run(SweepKind::AudioSettings, stopping);
        QCOMPARE(summary.end, SweepEnd::Stopped);
        QCOMPARE(summary.steps, 5);
        QCOMPARE(results.size(), 5);

        // A Stop that arrives between two steps is seen before the next conversion starts.
        FakeRunner between(*settings);
        between.stopBefore = 2;
        summary = run(SweepKind::AudioSettings, between);
        QCOMPARE(summary.end, SweepEnd::Stopped);
        QCOMPARE(between.converted.size(), 2);
        QCOMPARE(between.beforeSteps, 3);
        QCOMPARE(results.size(), 2);

        FakeRunner beforeAll(*settings);
        beforeAll.stopBefore = 0;
        summary = run(SweepKind::Presets, beforeAll);
        QCOMPARE(summary.end, SweepEnd::Stopped);
        QCOMPARE(summary.steps, 0);
        QVERIFY(beforeAll.converted.isEmpty());

        FakeRunner gone(*settings);
        gone.goneAt = 3;
        summary = run(SweepKind::Presets, gone);
        QCOMPARE(summary.end, SweepEnd::Abandoned);
        QCOMPARE(summary.steps, 2);
        QCOMPARE(results.size(), 2);
    }

    void presetSweepAppliesEveryRow()
    {
        FakeRunner runner(*settings);
        const SweepSummary summary = run(SweepKind::Presets, runner);
        QCOMPARE(summary.steps, 3);
        QCOMPARE(runner.appliedRows, (QList<int> { 1, 2, 3 }));
        QCOMPARE(runner.converted.at(1).at(0), QStringLiteral("PCM little-endian"));
        QCOMPARE(runner.converted.at(2).at(5), QStringLiteral("H.264"));
        QCOMPARE(results.at(0).combination, QStringLiteral("   WMA 128   "));
        QCOMPARE(results.at(2).combination, QStringLiteral("   Video H.264   "));
    }

    void videoSweepWalksTheVideoCodecs()
    {
        settings->ChangePreset(3);
        FakeRunner runner(*settings);
        const SweepSummary summary = run(SweepKind::VideoCodecs, runner);
        QCOMPARE(summary.steps, 3);
        QStringList combinations;
        for (const SweepResult &r : results)
            combinations << r.combination;
        QCOMPARE(combinations, L({ "   No Video   ", "   MPEG-1   ", "   H.264   " }));
        QCOMPARE(runner.converted.at(1).at(5), QStringLiteral("MPEG-1"));
    }

    // Choosing entries stores them into the selected preset; none of that may outlive the sweep.
    void theAppliedPresetComesBackUnchanged()
    {
        settings->selectMainPreset(0);
        const QList<QStringList> before = catalogue.presets.rows;
        QCOMPARE(settings->choiceText(ChoiceListId::AudioBitrate), QStringLiteral("128 kbps"));
        FakeRunner runner(*settings);
        run(SweepKind::AudioSettings, runner);
        QCOMPARE(catalogue.presets.rows, before);
        QCOMPARE(settings->appliedPresetRow(), 1);
        QCOMPARE(settings->choiceText(ChoiceListId::AudioCodec), QStringLiteral("WMA"));
        QCOMPARE(settings->choiceText(ChoiceListId::SampleRate), QStringLiteral("44100 Hz"));
        QCOMPARE(settings->choiceText(ChoiceListId::Channels), QStringLiteral("Stereo"));
        QCOMPARE(settings->choiceText(ChoiceListId::AudioBitrate), QStringLiteral("128 kbps"));

        run(SweepKind::Presets, runner);
        QCOMPARE(settings->appliedPresetRow(), 1);
        QCOMPARE(settings->choiceText(ChoiceListId::VideoCodec), QStringLiteral("No Video"));
    }
};

QTEST_GUILESS_MAIN(SweepTest)
#include "sweep_test.moc"
