#pragma once

#include "core/media/failure_report.h"

#include <QObject>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

namespace sonivert {

// The text of a failure report as the report endpoint takes it:
// "inputfailed," + major + minor + the entries ("name,message," each, no "#", cut after the entry
// that crosses 1800 characters) + "@@" + a number from 1 to 1000.
QString buildFailureReportText(
    const QList<FailureEntry> &entries, int versionMajor, int versionMinor, int randomNumber);

// The endpoint comes from the setting "ReportEndpoint"; empty when none is configured.
QString reportEndpoint(const QString &settingsKey);

// Sends one report with a GET request: the endpoint followed directly by the percent-encoded
// report. finished() comes exactly once: on the answer, on a network error or after the time-out.
class FailureReportSender : public QObject
{
    Q_OBJECT
public:
    explicit FailureReportSender(QObject *parent = nullptr);

    void send(const QString &endpoint, const QString &report, int timeoutMs = 15000);
    static QUrl requestUrl(const QString &endpoint, const QString &report);

signals:
    void finished(bool delivered);

private:
    QNetworkAccessManager *m_network;
};

} // namespace sonivert
