#include "support/awkward_media.h"

#include "support/media_maker.h"

#include <QFile>
#include <QProcess>
#include <QUuid>
#include <QtEndian>

namespace sonivert::test {

namespace {

QStringList videoInput(const QString &size = QStringLiteral("96x64"), int rate = 15)
{
    return { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("testsrc=size=%1:rate=%2:duration=%3")
            .arg(size)
            .arg(rate)
            .arg(AwkwardSoundSeconds) };
}

QStringList soundInput(int sampleRate = 44100)
{
    return { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("sine=frequency=440:sample_rate=%1:duration=%2")
            .arg(sampleRate)
            .arg(AwkwardSoundSeconds) };
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeAll(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size();
}

// Clears the play and send durations of the ASF file properties object.
bool zeroAsfDuration(const QString &path)
{
    QByteArray data = readAll(path);
    const QByteArray guid
        = QUuid(QStringLiteral("{8CABDCA1-A947-11CF-8EE4-00C00C205365}")).toRfc4122();
    // ASF stores GUIDs with the first three fields little-endian.
    QByteArray mixed = guid;
    std::reverse(mixed.begin(), mixed.begin() + 4);
    std::reverse(mixed.begin() + 4, mixed.begin() + 6);
    std::reverse(mixed.begin() + 6, mixed.begin() + 8);
    const qsizetype at = data.indexOf(mixed);
    if (at < 0)
        return false;
    // GUID, object size, file id, file size, creation date, packet count: then the durations.
    const qsizetype play = at + 16 + 8 + 16 + 8 + 8 + 8;
    std::fill(data.begin() + play, data.begin() + play + 16, '\0');
    return writeAll(path, data);
}

// Cuts the index chunk off the end of an AVI file.
bool dropAviIndex(const QString &path)
{
    QByteArray data = readAll(path);
    const qsizetype at = data.lastIndexOf("idx1");
    if (at < 0)
        return false;
    data.truncate(at);
    return writeAll(path, data);
}

// Rewrites the Matroska segment duration (an 8-byte float in milliseconds) to one second.
bool shortenMatroskaDuration(const QString &path)
{
    QByteArray data = readAll(path);
    const qsizetype at = data.indexOf(QByteArray("\x44\x89\x88", 3));
    if (at < 0)
        return false;
    const double milliseconds = 1000.0;
    quint64 bits = 0;
    std::memcpy(&bits, &milliseconds, sizeof bits);
    qToBigEndian(bits, data.data() + at + 3);
    return writeAll(path, data);
}

} // namespace

QList<AwkwardClip> makeAwkwardClips(const QString &folder, QString *error)
{
    const auto file = [&folder](const QString &name) {
        return folder + QLatin1Char('/') + name;
    };
    const QStringList both = videoInput() + soundInput();
    struct Recipe
    {
        QString label;
        QString name;
        QStringList args;
        bool (*fix)(const QString &) = nullptr;
    };
    const QList<Recipe> recipes {
        { QStringLiteral("MPEG-TS, start 1.4 s"), QStringLiteral("start.ts"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg2video"),
                    QStringLiteral("-c:a"), QStringLiteral("mp2") } },
        { QStringLiteral("AVI"), QStringLiteral("indexed.avi"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                    QStringLiteral("-c:a"), QStringLiteral("libmp3lame") } },
        { QStringLiteral("MOV, edit list starting the sound at 0.5 s"), QStringLiteral("edit.mov"),
            videoInput() + QStringList { QStringLiteral("-itsoffset"), QStringLiteral("0.5") }
                + soundInput()
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                    QStringLiteral("-c:a"), QStringLiteral("pcm_s16le") } },
        { QStringLiteral("AVI without index"), QStringLiteral("noindex.avi"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                    QStringLiteral("-c:a"), QStringLiteral("libmp3lame") },
            dropAviIndex },
        { QStringLiteral("WMV, duration 0"), QStringLiteral("zero.wmv"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("wmv2"),
                    QStringLiteral("-c:a"), QStringLiteral("wmav2") },
            zeroAsfDuration },
        { QStringLiteral("WMV, sound before the pre-roll"), QStringLiteral("early.wmv"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("wmv2"),
                    QStringLiteral("-c:a"), QStringLiteral("wmav2"),
                    QStringLiteral("-output_ts_offset"), QStringLiteral("-0.5"),
                    QStringLiteral("-avoid_negative_ts"), QStringLiteral("disabled") } },
        { QStringLiteral("MP4, edit list starting the sound at 0.5 s"), QStringLiteral("edit.mp4"),
            videoInput() + QStringList { QStringLiteral("-itsoffset"), QStringLiteral("0.5") }
                + soundInput()
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                    QStringLiteral("-c:a"), QStringLiteral("aac") } },
        { QStringLiteral("Matroska, duration 1 s"), QStringLiteral("short.mkv"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                    QStringLiteral("-c:a"), QStringLiteral("libvorbis") },
            shortenMatroskaDuration },
        { QStringLiteral("FLV, sound from 0.5 s"), QStringLiteral("late.flv"),
            videoInput() + QStringList { QStringLiteral("-itsoffset"), QStringLiteral("0.5") }
                + soundInput()
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("flv1"),
                    QStringLiteral("-c:a"), QStringLiteral("libmp3lame") } },
        { QStringLiteral("MPEG-PS"), QStringLiteral("program.mpg"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("mpeg2video"),
                    QStringLiteral("-c:a"), QStringLiteral("mp2") } },
        { QStringLiteral("DV"), QStringLiteral("camera.dv"),
            videoInput(QStringLiteral("720x576"), 25) + soundInput(48000)
                + QStringList { QStringLiteral("-target"), QStringLiteral("pal-dv") } },
        { QStringLiteral("3GP"), QStringLiteral("phone.3gp"),
            videoInput(QStringLiteral("176x144")) + soundInput()
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("h263"),
                    QStringLiteral("-c:a"), QStringLiteral("aac") } },
        { QStringLiteral("WebM"), QStringLiteral("web.webm"),
            both
                + QStringList { QStringLiteral("-c:v"), QStringLiteral("libvpx"),
                    QStringLiteral("-deadline"), QStringLiteral("realtime"), QStringLiteral("-c:a"),
                    QStringLiteral("libopus") } },
        { QStringLiteral("Ogg"), QStringLiteral("sound.ogg"),
            soundInput() + QStringList { QStringLiteral("-c:a"), QStringLiteral("libvorbis") } },
    };

    QList<AwkwardClip> clips;
    for (const Recipe &recipe : recipes) {
        const QString path = file(recipe.name);
        QString output;
        if (!runFfmpeg(recipe.args + QStringList { path }, &output)
            || (recipe.fix && !recipe.fix(path))) {
            if (error)
                *error = recipe.label + QLatin1String(": ") + output;
            return {};
        }
        clips.append({ recipe.label, path });
    }
    return clips;
}

bool makeDamagedSound(const QString &path)
{
    if (!runFfmpeg(
            soundInput() + QStringList { QStringLiteral("-c:a"), QStringLiteral("aac"), path }))
        return false;
    QByteArray data = readAll(path);
    const qsizetype box = data.indexOf("mdat");
    if (box < 4)
        return false;
    const qsizetype end = box - 4 + qFromBigEndian<quint32>(data.constData() + box - 4);
    const qsizetype from = box + 4 + 2 * (end - box - 4) / 3;
    std::fill(data.begin() + from, data.begin() + end, char(0xff));
    return writeAll(path, data);
}

double decodedSeconds(const QString &path)
{
    constexpr int rate = 8000;
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
        { QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
            QStringLiteral("-i"), path, QStringLiteral("-vn"), QStringLiteral("-ac"),
            QStringLiteral("1"), QStringLiteral("-ar"), QString::number(rate), QStringLiteral("-f"),
            QStringLiteral("s16le"), QStringLiteral("pipe:1") });
    if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0)
        return -1;
    return double(ffmpeg.readAllStandardOutput().size()) / 2.0 / rate;
}

} // namespace sonivert::test
