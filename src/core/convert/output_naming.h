#pragma once

#include <QSet>
#include <QString>

namespace sonivert {

// The parent folder, "/", the file name without its last extension, ".", extension.
QString ChangeExtension(const QString &path, const QString &extension);

// Names given out during one run. Files of a run do not exist yet while the run is being
// queued, so two rows with the same name would otherwise receive the same output path.
// Names compare without regard to letter case, like the existence checks.
class OutputNameRegistry
{
public:
    bool contains(const QString &path) const;
    void reserve(const QString &path);
    void release(const QString &path);
    void clear() { m_names.clear(); }

    // MakeUniqueFileName against the disk and this registry, then reserved.
    QString claim(const QString &path);

private:
    QSet<QString> m_names;
};

// A path at which no file exists yet: the path itself, else NAME_(new).EXT, NAME_(new_1).EXT and
// so on. Existence ignores letter case (vfat, exFAT and SMB targets do) and only files count.
// Names in `taken` count as existing. A folder that does not exist returns the path unchanged.
QString MakeUniqueFileName(const QString &path, const OutputNameRegistry *taken = nullptr);

// The file the encoder writes for outputFile: outputFile itself, except that an M4B or M4R output
// is encoded as M4A first and renamed when its task succeeded. That intermediate name is claimed
// in names, so it never meets an existing file or another task's name.
QString encoderOutputFileName(const QString &outputFile, OutputNameRegistry &names);

// A hidden name in the folder of finalPath that keeps its extension (ffmpeg picks the container
// by it) and names no existing file at the moment of the call. The name carries the writer's
// process id and start time (this process unless writerPid is given) and a check value, so a later
// run can tell an abandoned temporary output of ours from a live one and from anyone else's file.
QString temporaryOutputName(const QString &finalPath, qint64 writerPid = 0);

// Removes the temporary outputs in folder (not below it) whose writer is gone: killed, crashed,
// or from before the last boot. Files of live processes and files that are not ours stay.
// Returns the paths removed.
QStringList removeAbandonedTemporaries(const QString &folder);

struct MoveResult
{
    bool ok = false;
    QString path; // where the file ended up
    QString message; // the system's description when !ok
};

// Moves from to `to` without ever replacing a file that exists there. When `to` is taken (also
// when it appeared since it was chosen), the next free name after it is used instead and returned
// in path; names in `taken` are skipped as well.
MoveResult moveWithoutReplacing(
    const QString &from, const QString &to, const OutputNameRegistry *taken = nullptr);

} // namespace sonivert
