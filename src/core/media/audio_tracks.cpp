#include "core/media/audio_tracks.h"

#include "core/media/time_text.h"

namespace sonivert {

namespace {

int defaultTrackIndex(const SourceFacts &facts)
{
    for (qsizetype i = 0; i < facts.audioTracks.size(); ++i) {
        if (facts.audioTracks.at(i).isDefault)
            return int(i);
    }
    return facts.audioTracks.isEmpty() ? -1 : 0;
}

// The audio fields of the file list, as the probe fills them for the first audio stream.
void describeTrack(MediaItem &item, const AudioTrack &track)
{
    const int64_t duration = track.durationUs >= 0 ? track.durationUs : UnknownTime;
    int32_t low = 0;
    int32_t high = 0;
    splitTime(duration, low, high);
    item.set(Field::AudioCodecName, track.codecName);
    item.set(Field::AudioBitRate, int(std::min<int64_t>(track.bitRate, INT32_MAX)));
    item.set(Field::AudioSampleRate, track.sampleRate);
    item.set(Field::AudioChannels, track.channels);
    item.set(Field::AudioDurationLow, low);
    item.set(Field::AudioLanguage, track.language);
}

} // namespace

QString chosenTrackText(const MediaItem &item)
{
    const SourceFacts &facts = item.source;
    if (facts.audioTracks.size() < 2)
        return QString();
    if (item.allAudioTracks)
        return QStringLiteral("all tracks");
    if (facts.audioTrack < 0)
        return QString();
    const AudioTrack &track = facts.audioTracks.at(facts.audioTrack);
    QString text = QStringLiteral("track %1").arg(track.number);
    if (!track.language.isEmpty())
        text += QStringLiteral(" (") + track.language + QLatin1Char(')');
    return text;
}

QString chosenTrackDescription(const MediaItem &item)
{
    const SourceFacts &facts = item.source;
    if (facts.audioTracks.size() < 2 || facts.audioTrack < 0)
        return QString();
    QString text = audioTrackLabel(facts.audioTracks.at(facts.audioTrack));
    if (item.allAudioTracks)
        text += QStringLiteral(" (all %1 tracks, a file each)").arg(facts.audioTracks.size());
    return text;
}

QString audioTrackLabel(const AudioTrack &track)
{
    QStringList parts;
    if (!track.language.isEmpty())
        parts << track.language;
    if (!track.title.isEmpty())
        parts << track.title;
    if (!track.codecName.isEmpty())
        parts << track.codecName;
    if (track.channels > 0)
        parts << (track.channels == 1 ? QStringLiteral("1 channel")
                                      : QStringLiteral("%1 channels").arg(track.channels));
    QString label = QStringLiteral("Track %1").arg(track.number);
    if (!parts.isEmpty())
        label += QStringLiteral(": ") + parts.join(QStringLiteral(", "));
    return label;
}

QString audioTrackNameSuffix(const AudioTrack &track)
{
    QString suffix = QStringLiteral(" (track %1").arg(track.number);
    if (!track.language.isEmpty())
        suffix += QStringLiteral(", ") + track.language;
    return suffix + QLatin1Char(')');
}

bool selectAudioTrack(MediaItem &item, int number)
{
    if (!chooseAudioTrack(item.source, number - 1))
        return false;
    item.allAudioTracks = false;
    describeTrack(item, item.source.audioTracks.at(number - 1));
    return true;
}

bool selectAllAudioTracks(MediaItem &item)
{
    if (item.source.audioTracks.isEmpty())
        return false;
    selectDefaultAudioTrack(item);
    item.allAudioTracks = true;
    return true;
}

void selectDefaultAudioTrack(MediaItem &item)
{
    const int index = defaultTrackIndex(item.source);
    if (index >= 0)
        selectAudioTrack(item, index + 1);
    item.allAudioTracks = false;
}

} // namespace sonivert
