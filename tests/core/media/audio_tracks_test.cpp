// The audio track a row converts: the default one of a fresh probe, the person's choice in the
// file list, and how the row, its name and the ffmpeg command show it.
#include "core/convert/ffmpeg_encode_job.h"
#include "core/convert/option_builder.h"
#include "core/media/audio_tracks.h"
#include "core/media/file_list_model.h"
#include "core/media/probe.h"
#include "support/media_maker.h"

#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;
using sonivert::test::runFfmpeg;

class AudioTracksTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_secondIsDefault; // stereo English AAC, then Spanish 5.1 AC-3 marked default
    QString m_single;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_secondIsDefault = m_dir.filePath(u"default-second.mkv"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=sample_rate=48000"_s, u"-f"_s,
            u"lavfi"_s, u"-i"_s, u"sine=sample_rate=44100"_s, u"-t"_s, u"0.5"_s, u"-map"_s,
            u"0:a"_s, u"-map"_s, u"1:a"_s, u"-c:a:0"_s, u"aac"_s, u"-ac:a:0"_s, u"2"_s, u"-c:a:1"_s,
            u"ac3"_s, u"-ac:a:1"_s, u"6"_s, u"-metadata:s:a:0"_s, u"language=eng"_s,
            u"-metadata:s:a:1"_s, u"language=spa"_s, u"-disposition:a:0"_s, u"0"_s,
            u"-disposition:a:1"_s, u"default"_s, m_secondIsDefault }));
        m_single = m_dir.filePath(u"single.mka"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine"_s, u"-t"_s, u"0.5"_s, u"-c:a"_s,
            u"flac"_s, m_single }));
    }

    // The track marked default wins over the first, and the row's audio fields describe it.
    void theDefaultTrackIsTheMarkedOne()
    {
        const ProbeResult probe = probeMediaFile(m_secondIsDefault);
        QVERIFY(probe.ok);
        const SourceFacts &facts = probe.item.source;
        QCOMPARE(facts.audioTracks.size(), 2);
        QCOMPARE(facts.audioTrack, 1);
        QVERIFY(!facts.audioTracks.at(0).isDefault && facts.audioTracks.at(1).isDefault);
        QCOMPARE(probe.item.integer(Field::AudioChannels), 6);
        QCOMPARE(probe.item.integer(Field::AudioSampleRate), 44100);
        QCOMPARE(probe.item.text(Field::AudioLanguage), u"spa"_s);
        QCOMPARE(probe.item.text(Field::AudioCodecName), u"AC-3"_s);
        QCOMPARE(probe.item.integer(Field::AudioStreamCount), 2);
        // ffmpeg alone would take the first of two default-less streams: the map says which.
        const QStringList args = buildFfmpegArguments(m_secondIsDefault, u"/out/x.MP3"_s, u""_s,
            u"-VideoOutputHook  -ac 2 -ar 44100 -ab 192k -acodec libmp3lame -vn"_s, {}, facts);
        QCOMPARE(args.mid(args.indexOf(u"-i"_s) + 2, 2), (QStringList { u"-map"_s, u"0:a:1"_s }));
    }

    void aFileOfOneTrackNamesNone()
    {
        const ProbeResult probe = probeMediaFile(m_single);
        QVERIFY(probe.ok);
        QCOMPARE(probe.item.source.audioTracks.size(), 1);
        QCOMPARE(probe.item.source.audioTrack, 0);
        QCOMPARE(chosenTrackText(probe.item), QString());
        QCOMPARE(chosenTrackDescription(probe.item), QString());
        // A plain conversion of it is the command it always was; a copy names its track.
        const QStringList plain = buildFfmpegArguments(m_single, u"/out/x.MP3"_s, u""_s,
            u"-VideoOutputHook  -ac 2 -vn"_s, {}, probe.item.source);
        QVERIFY(!plain.contains(u"-map"_s));
        const QStringList copy = buildFfmpegArguments(m_single, u"/out/x.FLAC"_s, u""_s,
            u"-VideoOutputHook  -acodec copy -vn -sn -dn"_s, {}, probe.item.source);
        QVERIFY(copy.contains(u"0:a:0"_s));
    }

    // A video plan keeps its picture when a track is named.
    void aVideoPlanMapsItsPictureToo()
    {
        ProbeResult probe = probeMediaFile(m_secondIsDefault);
        QVERIFY(probe.ok);
        const QStringList args = buildFfmpegArguments(m_secondIsDefault, u"/out/x.MP4"_s, u""_s,
            u"-VideoOutputHook  -ac 2 -r 25 -vcodec mpeg4"_s, {}, probe.item.source);
        const qsizetype input = args.indexOf(u"-i"_s);
        QCOMPARE(args.mid(input + 2, 4),
            (QStringList { u"-map"_s, u"0:V:0?"_s, u"-map"_s, u"0:a:1"_s }));
    }

    // Ogg keeps a recording's tags in each stream: an output gets those of the track it is made
    // from, the container's first.
    void eachTrackCarriesItsOwnSongTags()
    {
        const QString ogg = m_dir.filePath(u"two-songs.ogg"_s);
        QVERIFY(runFfmpeg({ u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
            u"sine=f=880"_s, u"-t"_s, u"0.5"_s, u"-map"_s, u"0:a"_s, u"-map"_s, u"1:a"_s, u"-c:a"_s,
            u"libvorbis"_s, u"-metadata:s:a:0"_s, u"title=First"_s, u"-metadata:s:a:0"_s,
            u"artist=One"_s, u"-metadata:s:a:1"_s, u"title=Second"_s, ogg }));
        ProbeResult probe = probeMediaFile(ogg);
        QVERIFY(probe.ok);
        SourceFacts &facts = probe.item.source;
        QCOMPARE(facts.audioTrack, 0);
        const SongTags first { { u"title"_s, u"First"_s }, { u"artist"_s, u"One"_s } };
        QCOMPARE(facts.tags, first);
        QVERIFY(chooseAudioTrack(facts, 1));
        QCOMPARE(facts.tags, (SongTags { { u"title"_s, u"Second"_s } }));
        QVERIFY(chooseAudioTrack(facts, 0));
        QCOMPARE(facts.tags, first);
    }

    void theListKeepsTheChoicePerRow()
    {
        FileListModel list;
        const ProbeResult probe = probeMediaFile(m_secondIsDefault);
        QVERIFY(probe.ok);
        list.appendMediaItem(probe.item);
        list.appendMediaItem(probe.item);
        const QModelIndex name = list.index(0, Field::Name);
        QCOMPARE(name.data().toString(), u"default-second.mkv  [track 2 (spa)]"_s);

        QVERIFY(list.chooseAudioTrack(0, 1));
        const MediaItem &first = list.item(0);
        QCOMPARE(first.source.audioTrack, 0);
        QCOMPARE(first.integer(Field::AudioChannels), 2);
        QCOMPARE(first.integer(Field::AudioSampleRate), 48000);
        QCOMPARE(first.text(Field::AudioLanguage), u"eng"_s);
        QCOMPARE(first.source.audioDurationUs, first.source.audioTracks.at(0).durationUs);
        QCOMPARE(name.data().toString(), u"default-second.mkv  [track 1 (eng)]"_s);
        QCOMPARE(name.data(Qt::ToolTipRole).toString(),
            u"Track 1: eng, Advanced Audio Coding, 2 channels"_s);
        // The other row keeps its own.
        QCOMPARE(list.item(1).source.audioTrack, 1);

        QVERIFY(list.chooseAudioTrack(1, FileListModel::AllAudioTracks));
        QVERIFY(list.item(1).allAudioTracks);
        QCOMPARE(
            list.index(1, Field::Name).data().toString(), u"default-second.mkv  [all tracks]"_s);
        QCOMPARE(chosenTrackDescription(list.item(1)),
            u"Track 2: spa, AC-3, 6 channels (all 2 tracks, a file each)"_s);
        QVERIFY(list.chooseAudioTrack(1, 1));
        QVERIFY(!list.item(1).allAudioTracks);

        QVERIFY(!list.chooseAudioTrack(0, 3));
        QVERIFY(!list.chooseAudioTrack(5, 1));
        QCOMPARE(list.item(0).source.audioTrack, 0);
    }
};

QTEST_GUILESS_MAIN(AudioTracksTest)
#include "audio_tracks_test.moc"
