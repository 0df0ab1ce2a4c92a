#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace sonivert {

// The product constants are stored as one hexadecimal text (two digits per byte) holding the
// enciphered table. These turn a table text into that form and back with the program's own
// password and cipher settings.
QString DecipherTable(const QString &hexText);

// Upper-case hexadecimal text of the enciphered table; empty when enciphering fails. The
// password parameter exists so a table made with another password can be tried.
QString encipherTable(const QString &tableText);
QString encipherTable(const QString &tableText, const QString &password);

// Trimmed, an optional leading "&H" (any case) dropped, then every two digits one byte.
// Nothing for an odd number of digits or a pair that is not hexadecimal.
std::optional<QByteArray> decodeHexText(const QString &hexText);

} // namespace sonivert
