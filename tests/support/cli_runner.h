#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace sonivert::test {

// The sonivert-cli program of this build.
QString cliProgram();

// What one run of sonivert-cli left behind.
struct CliRun
{
    int exitCode = -1; // -1: it crashed, or did not end in time and was killed
    QByteArray out; // standard output, as written
    QString err; // standard error

    QString text() const { return QString::fromUtf8(out); }
    // The lines of standard output, without the empty one after the last line end.
    QStringList lines() const;
    // Standard output read as JSON; a warning names what was not.
    QJsonDocument json() const;
};

// Runs sonivert-cli with args, without a shell, and waits up to timeoutMs for it to end.
CliRun runCli(const QStringList &args, int timeoutMs = 60000);

// The folder name below dir, made if missing: where one run writes its outputs.
QString outputFolder(const QTemporaryDir &dir, const QString &name);

} // namespace sonivert::test
