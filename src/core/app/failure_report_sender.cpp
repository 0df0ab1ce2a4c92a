#include "core/app/failure_report_sender.h"

#include "core/app/settings_store.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

namespace sonivert {

QString buildFailureReportText(
    const QList<FailureEntry> &entries, int versionMajor, int versionMinor, int randomNumber)
{
    QString text;
    for (const FailureEntry &entry : entries) {
        text += entry.name + QLatin1Char(',') + entry.message + QLatin1Char(',');
        if (text.size() > 1800)
            break;
    }
    text.remove(QLatin1Char('#'));
    return QStringLiteral("inputfailed,") + QString::number(versionMajor)
        + QString::number(versionMinor) + text.trimmed() + QStringLiteral("@@")
        + QString::number(randomNumber);
}

QString reportEndpoint(const QString &settingsKey)
{
    return RegReadText(settingsKey, QStringLiteral("ReportEndpoint")).trimmed();
}

FailureReportSender::FailureReportSender(QObject *parent)
    : QObject(parent)
    , m_network(new QNetworkAccessManager(this))
{
}

QUrl FailureReportSender::requestUrl(const QString &endpoint, const QString &report)
{
    const QByteArray encoded = QUrl::toPercentEncoding(report);
    return QUrl::fromEncoded(endpoint.toUtf8() + encoded);
}

void FailureReportSender::send(const QString &endpoint, const QString &report, int timeoutMs)
{
    const QUrl url = requestUrl(endpoint, report);
    if (!url.isValid() || url.scheme().isEmpty()) {
        QTimer::singleShot(0, this, [this] { emit finished(false); });
        return;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMs);
    QNetworkReply *reply = m_network->get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        emit finished(reply->error() == QNetworkReply::NoError);
    });
}

} // namespace sonivert
