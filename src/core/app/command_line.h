#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

namespace sonivert {

// Splits the process arguments (argv as the process got them) into the program path and the
// files named after it. Returns the number of those files; 0 when there is nothing to split.
int ParseCommandLine(
    const QStringList &processArguments, QString &programPath, QStringList &arguments);

// What a start of the desktop program asks for. Options count only before a "--"; everything
// after it, and every argument that does not start with "-", is a file. "--convert-to KEYWORD"
// (or "--convert-to=KEYWORD") asks for the files to be converted without the window.
struct StartArguments
{
    enum class Request { OpenFiles, Help, Version, UnknownOption, ConvertFiles };
    Request request = Request::OpenFiles;
    QStringList files;
    QString unknownOption; // also an option that lacks its value
    QString convertFormat; // the keyword of ConvertFiles
};
StartArguments readStartArguments(const QStringList &arguments);

// Turns a text from the command line or from another instance into an absolute local path.
// Quotes are legal in Linux file names, so they are removed only when the text as given names no
// existing file; "file://" URLs become local paths. Relative paths resolve against the current
// folder. A blank text gives "".
QString pathFromCommandText(const QString &text);

// The file name's extension in lower case ("" when the name has no "."); folders in the path do
// not count.
QString lowerExtension(const QString &path);

// True when the path's extension, in lower case and enclosed in "|", occurs in extensionList,
// which has the form "|mp4|avi|mkv|".
bool isSupportedInputExtension(const QString &path, const QString &extensionList);

// The files of a hand-over from another start as received so far: " " and the files in UTF-8,
// each ended by a NUL byte, then one more NUL. None until that end has arrived.
std::optional<QStringList> readHandOverMessage(const QByteArray &received);

} // namespace sonivert
