#include "core/convert/output_naming.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace sonivert {

namespace {

struct PathParts
{
    QString folder; // with its trailing "/", or "" for a bare name
    QString base;
    QString extension; // without the dot; "" when the name has none
};

PathParts splitPath(const QString &path)
{
    PathParts parts;
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    parts.folder = path.left(slash + 1);
    const QString name = path.mid(slash + 1);
    // A leading dot marks a hidden file, not an extension.
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot > 0) {
        parts.base = name.left(dot);
        parts.extension = name.mid(dot + 1);
    } else {
        parts.base = name;
    }
    return parts;
}

QString joinName(const PathParts &parts, const QString &suffix)
{
    QString result = parts.folder + parts.base + suffix;
    if (!parts.extension.isEmpty())
        result += QLatin1Char('.') + parts.extension;
    return result;
}

QString foldedKey(const QString &path)
{
    return QDir::cleanPath(path).toCaseFolded();
}

// The names of the files (not folders) in folder, case-folded. Symbolic links that lead
// nowhere count as files: a rename cannot go there either.
QSet<QString> foldedFileNames(const QString &folder)
{
    QSet<QString> names;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        it.next();
        names.insert(it.fileName().toCaseFolded());
    }
    return names;
}

bool pathExists(const QString &path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

// 0, or the errno of the failure; EEXIST when the target exists.
int renameNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE)
        == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;

    // The file system lacks the flag: a hard link refuses an existing target just as well.
    if (::link(source.constData(), target.constData()) == 0) {
        ::unlink(source.constData());
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS)
        return errno;

    // Neither (vfat without hard links): check, then rename. Only here is a race left.
    if (pathExists(to))
        return EEXIST;
    return ::rename(source.constData(), target.constData()) == 0 ? 0 : errno;
}

// Field 22 of /proc/PID/stat: clock ticks from boot to the process's start. Together with the
// process id it names one process for the whole life of the system.
std::optional<quint64> processStartTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray text = stat.readAll();
    // The command name in parentheses may hold spaces and parentheses itself.
    const qsizetype close = text.lastIndexOf(')');
    if (close < 0)
        return std::nullopt;
    const QList<QByteArray> fields = text.mid(close + 2).split(' ');
    // Fields from the state (3rd) on; the start time is the 22nd.
    if (fields.size() < 20)
        return std::nullopt;
    bool ok = false;
    const quint64 ticks = fields.at(19).toULongLong(&ok);
    return ok ? std::optional<quint64>(ticks) : std::nullopt;
}

QString temporaryCheck(const QString &writer)
{
    const QByteArray hash = QCryptographicHash::hash(
        QByteArrayLiteral("sonivert temporary ") + writer.toUtf8(), QCryptographicHash::Sha256);
    return QString::fromLatin1(hash.toHex().left(8));
}

const QRegularExpression &temporaryPattern()
{
    static const QRegularExpression pattern(QStringLiteral(
        "^\\.sonivert-(([0-9]{1,10})-([0-9]{1,20})-[0-9a-f]{8})-([0-9a-f]{8})(\\.[^.]*)?$"));
    return pattern;
}

QDateTime bootTime()
{
    QFile uptime(QStringLiteral("/proc/uptime"));
    if (!uptime.open(QIODevice::ReadOnly))
        return {};
    bool ok = false;
    const double seconds = uptime.readAll().split(' ').value(0).toDouble(&ok);
    return ok ? QDateTime::currentDateTimeUtc().addMSecs(-qint64(seconds * 1000)) : QDateTime();
}

} // namespace

QString ChangeExtension(const QString &path, const QString &extension)
{
    const PathParts parts = splitPath(path);
    return parts.folder + parts.base + QLatin1Char('.') + extension;
}

bool OutputNameRegistry::contains(const QString &path) const
{
    return m_names.contains(foldedKey(path));
}

void OutputNameRegistry::reserve(const QString &path)
{
    m_names.insert(foldedKey(path));
}

void OutputNameRegistry::release(const QString &path)
{
    m_names.remove(foldedKey(path));
}

QString OutputNameRegistry::claim(const QString &path)
{
    const QString name = MakeUniqueFileName(path, this);
    reserve(name);
    return name;
}

QString MakeUniqueFileName(const QString &path, const OutputNameRegistry *taken)
{
    const PathParts parts = splitPath(path);
    const QString folder = parts.folder.isEmpty() ? QStringLiteral(".") : parts.folder;
    if (!QFileInfo(folder).isDir())
        return path;

    const QSet<QString> onDisk = foldedFileNames(folder);
    auto isTaken = [&](const QString &candidate) {
        const QString name = candidate.mid(parts.folder.size());
        return onDisk.contains(name.toCaseFolded()) || (taken && taken->contains(candidate));
    };

    if (!isTaken(path))
        return path;
    QString candidate = joinName(parts, QStringLiteral("_(new)"));
    for (quint32 n = 1; isTaken(candidate) && n != 0; ++n)
        candidate = joinName(parts, QStringLiteral("_(new_%1)").arg(n));
    return candidate;
}

QString encoderOutputFileName(const QString &outputFile, OutputNameRegistry &names)
{
    const QString ending = outputFile.right(3).toUpper();
    if (ending != QLatin1String("M4B") && ending != QLatin1String("M4R"))
        return outputFile;
    return names.claim(outputFile.chopped(3) + QLatin1String("M4A"));
}

QString temporaryOutputName(const QString &finalPath, qint64 writerPid)
{
    const qint64 pid = writerPid > 0 ? writerPid : qint64(::getpid());
    const quint64 started = processStartTicks(pid).value_or(0);
    const PathParts parts = splitPath(finalPath);
    PathParts temporary = parts;
    QString candidate;
    do {
        const QString writer
            = QStringLiteral("%1-%2-%3")
                  .arg(pid)
                  .arg(started)
                  .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        temporary.base
            = QStringLiteral(".sonivert-") + writer + QLatin1Char('-') + temporaryCheck(writer);
        candidate = joinName(temporary, QString());
    } while (pathExists(candidate));
    return candidate;
}

QStringList removeAbandonedTemporaries(const QString &folder)
{
    QStringList removed;
    const QDateTime booted = bootTime();
    QDirIterator it(folder, { QStringLiteral(".sonivert-*") }, QDir::Files | QDir::Hidden);
    while (it.hasNext()) {
        it.next();
        const QRegularExpressionMatch match = temporaryPattern().match(it.fileName());
        if (!match.hasMatch() || temporaryCheck(match.captured(1)) != match.captured(4))
            continue;
        // Written without a readable start time: nothing can prove its writer gone.
        if (match.captured(3) == QLatin1String("0"))
            continue;
        const QFileInfo info = it.fileInfo();
        // A symbolic link is never one we made.
        if (info.isSymLink())
            continue;
        const std::optional<quint64> started = processStartTicks(match.captured(2).toLongLong());
        const bool writerAlive = started && *started == match.captured(3).toULongLong()
            && !(booted.isValid() && info.lastModified().toUTC() < booted);
        if (!writerAlive && QFile::remove(it.filePath()))
            removed.append(it.filePath());
    }
    return removed;
}

MoveResult moveWithoutReplacing(
    const QString &from, const QString &to, const OutputNameRegistry *taken)
{
    MoveResult result;
    OutputNameRegistry tried = taken ? *taken : OutputNameRegistry();
    QString candidate = to;
    // Each refusal adds the refused name to the tried set, so the loop ends; the bound only
    // guards against a folder that refuses everything.
    for (int attempt = 0; attempt < 10000; ++attempt) {
        const int error = renameNoReplace(from, candidate);
        if (error == 0) {
            result.ok = true;
            result.path = candidate;
            return result;
        }
        if (error != EEXIST) {
            result.path = candidate;
            result.message = qt_error_string(error);
            return result;
        }
        tried.reserve(candidate);
        candidate = MakeUniqueFileName(to, &tried);
    }
    result.path = candidate;
    result.message = qt_error_string(EEXIST);
    return result;
}

} // namespace sonivert
