#pragma once

#include <QString>
#include <optional>

namespace sonivert {

// The product constants ("COMPANY_NAME", "PRODUCT_NAME", "PRODUCT_VERSION", "PRODUCT_ID",
// "REGISTRY_PRODUCT", "FOLDER_DATA", "FOLDER_TEMP") live in the program only in enciphered form
// and are deciphered at every lookup.
//
//   const QString company = GetNamedConstant(QStringLiteral("COMPANY_NAME"));
//
// A key the table lacks is fatal: the failure handler gets key + " not found!", then the
// program ends with exit code 1.
QString GetNamedConstant(const QString &key);

// The same lookup, failure path included, over another enciphered table.
QString GetNamedConstant(const QString &hexTable, const QString &key);

// The value of the first CRLF-separated line holding the key in double quotes (any letter
// case): that line without every occurrence of the key, every comma and every double quote,
// not trimmed. Nothing when no line holds the key.
std::optional<QString> lookupNamedConstant(const QString &tableText, const QString &key);

// Deciphers the table and looks the key up, without the failure path.
std::optional<QString> lookupEncipheredConstant(const QString &hexTable, const QString &key);

// Core shows no dialogs: the default handler writes the message to stderr; the GUI installs one
// that shows a message box. A null handler restores the default.
using ConstantFailureHandler = void (*)(const QString &message);
void setConstantFailureHandler(ConstantFailureHandler handler);

// How the program ends after the failure handler returns: std::exit by default. Tests install
// one that records the code and returns, in which case the lookup gives an empty text.
using ProgramEndHandler = void (*)(int exitCode);
void setConstantProgramEnd(ProgramEndHandler handler);

} // namespace sonivert
