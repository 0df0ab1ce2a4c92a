#pragma once

#include <QString>
#include <QStringList>

namespace sonivert {

// Splits an option string into words the way a shell splits a command line, with double quotes
// only: blanks separate words, "..." keeps blanks (and is removed), a backslash keeps the next
// character literally outside quotes and escapes only '"' and '\' inside them. Single quotes are
// ordinary characters, because ffmpeg's filter syntax uses them itself.
QStringList splitOptionWords(const QString &options);

// The words of an encoder option string for the ffmpeg command line: the engine's own
// "-VideoOutputHook" dropped, and encoders this ffmpeg lacks replaced by a faithful built-in
// equivalent where one exists (libfaac -> aac).
QStringList ffmpegOptionWords(const QString &options);

// The value following the last occurrence of option among words, or "" when it is absent.
QString optionValue(const QStringList &words, const QString &option);

// A command line for people to read and paste into a shell: words with anything but plain
// characters are put in single quotes.
QString commandLineText(const QStringList &words);

} // namespace sonivert
