#include "core/diagnose/sweep.h"

namespace sonivert {

namespace {

const QString Gap = QStringLiteral("   ");

// The one sweep in progress: runs the steps and remembers how far it got.
class Sweep
{
public:
    Sweep(OutputSettings &settings, DiagnosisStepRunner &runner,
        const std::function<void(const SweepResult &)> &onResult)
        : m_settings(settings)
        , m_runner(runner)
        , m_onResult(onResult)
    {
    }

    bool ended() const { return m_summary.end != SweepEnd::Completed; }
    SweepSummary summary() const { return m_summary; }

    int count(ChoiceListId list) const { return int(m_settings.choice(list).entries.size()); }
    QString text(ChoiceListId list) const { return m_settings.choiceText(list); }
    void choose(ChoiceListId list, int index) { m_settings.chooseEntry(list, index); }

    void step(const QStringList &entryTexts)
    {
        m_runner.beforeStep();
        if (m_runner.stopRequested()) {
            m_summary.end = SweepEnd::Stopped;
            return;
        }
        const StepOutcome outcome = m_runner.runStep();
        if (!outcome.ran) {
            m_summary.end = SweepEnd::Abandoned;
            return;
        }
        const SweepResult result { combinationText(entryTexts), outcome.state.trimmed(),
            outcome.message.trimmed() };
        ++m_summary.steps;
        if (result.failed())
            ++m_summary.failures;
        if (m_onResult)
            m_onResult(result);
        if (m_runner.stopRequested())
            m_summary.end = SweepEnd::Stopped;
    }

    void audioSettings()
    {
        const int codecs = count(ChoiceListId::AudioCodec);
        for (int codec = 0; codec < codecs && !ended(); ++codec) {
            choose(ChoiceListId::AudioCodec, codec);
            const int channels = count(ChoiceListId::Channels);
            for (int channel = 0; channel < channels && !ended(); ++channel) {
                choose(ChoiceListId::Channels, channel);
                if (!m_runner.sampleSizeShown(m_settings)) {
                    ratesAndBitrates(false);
                    continue;
                }
                const int sizes = count(ChoiceListId::AudioSize);
                for (int size = 0; size < sizes && !ended(); ++size) {
                    choose(ChoiceListId::AudioSize, size);
                    ratesAndBitrates(true);
                }
            }
        }
    }

    void ratesAndBitrates(bool withSize)
    {
        const int rates = count(ChoiceListId::SampleRate);
        for (int rate = 0; rate < rates && !ended(); ++rate) {
            choose(ChoiceListId::SampleRate, rate);
            const int bitrates = count(ChoiceListId::AudioBitrate);
            for (int bitrate = 0; bitrate < bitrates && !ended(); ++bitrate) {
                choose(ChoiceListId::AudioBitrate, bitrate);
                QStringList texts { text(ChoiceListId::AudioCodec), text(ChoiceListId::Channels) };
                if (withSize)
                    texts << text(ChoiceListId::AudioSize);
                step(texts << text(ChoiceListId::SampleRate) << text(ChoiceListId::AudioBitrate));
            }
        }
    }

    void presets()
    {
        const CatalogueTable &table = m_settings.catalogue().presets;
        const int rows = table.rowCount();
        for (int row = 1; row <= rows && !ended(); ++row) {
            m_settings.ChangePreset(row);
            step({ GetCatalogueCell(table, row, QStringLiteral("Name")) });
        }
    }

    void videoCodecs()
    {
        const int codecs = count(ChoiceListId::VideoCodec);
        for (int codec = 0; codec < codecs && !ended(); ++codec) {
            choose(ChoiceListId::VideoCodec, codec);
            step({ text(ChoiceListId::VideoCodec) });
        }
    }

private:
    OutputSettings &m_settings;
    DiagnosisStepRunner &m_runner;
    const std::function<void(const SweepResult &)> &m_onResult;
    SweepSummary m_summary;
};

} // namespace

bool SweepResult::failed() const
{
    return state == FailedStateText;
}

QString combinationText(const QStringList &entryTexts)
{
    return Gap + entryTexts.join(QLatin1Char(':')) + Gap;
}

QString resultLine(const SweepResult &result)
{
    return result.combination + result.state + Gap + result.message;
}

bool shouldWrite(const SweepResult &result, bool failedOnly)
{
    return !failedOnly || result.failed();
}

bool DiagnosisStepRunner::sampleSizeShown(const OutputSettings &settings) const
{
    // The dialog never hides the list; it shows nothing only when the codec offers no size.
    return !settings.choice(ChoiceListId::AudioSize).entries.isEmpty();
}

SweepSummary runSweep(OutputSettings &settings, SweepKind kind, DiagnosisStepRunner &runner,
    const std::function<void(const SweepResult &)> &onResult)
{
    const QList<QStringList> savedPresets = settings.catalogue().presets.rows;
    const int appliedRow = settings.appliedPresetRow();

    Sweep sweep(settings, runner, onResult);
    switch (kind) {
    case SweepKind::AudioSettings:
        sweep.audioSettings();
        break;
    case SweepKind::Presets:
        sweep.presets();
        break;
    case SweepKind::VideoCodecs:
        sweep.videoCodecs();
        break;
    }

    settings.catalogue().presets.rows = savedPresets;
    settings.ChangePreset(appliedRow);
    return sweep.summary();
}

std::optional<SweepKind> sweepKindFromName(const QString &name)
{
    const QString word = name.trimmed().toLower();
    if (word == QLatin1String("audio"))
        return SweepKind::AudioSettings;
    if (word == QLatin1String("presets"))
        return SweepKind::Presets;
    if (word == QLatin1String("video"))
        return SweepKind::VideoCodecs;
    return std::nullopt;
}

} // namespace sonivert
