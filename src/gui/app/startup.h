#pragma once

#include <QString>

class QApplication;

namespace sonivert {

// The program's start: product constants, folders, the single-instance check, the main window.
// Returns the process exit code.
int Main(QApplication &app);

// What "sonivert --help" prints; the manual page is made from it.
QString desktopHelpText();

// The program's name, company and version as Qt knows them (the failure report sends the version).
void setApplicationIdentity(
    const QString &companyName, const QString &productName, const QString &version);

} // namespace sonivert
