#include "core/app/failure_report_sender.h"
#include "core/app/settings_store.h"

#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace sonivert;

namespace {

// A one-request HTTP server on the loopback interface that records the request line.
class LoopbackServer : public QObject
{
public:
    explicit LoopbackServer(bool answer)
    {
        server.listen(QHostAddress::LocalHost);
        connect(&server, &QTcpServer::newConnection, this, [this, answer] {
            QTcpSocket *socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket, answer] {
                request += socket->readAll();
                if (!request.contains("\r\n\r\n") || !answer)
                    return;
                socket->write(
                    "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok");
                socket->disconnectFromHost();
            });
        });
    }
    QString endpoint() const
    {
        return QStringLiteral("http://127.0.0.1:%1/report?q=").arg(server.serverPort());
    }
    QByteArray requestLine() const { return request.left(request.indexOf("\r\n")); }

    QTcpServer server;
    QByteArray request;
};

QList<FailureEntry> entries(int count, int messageLength)
{
    QList<FailureEntry> list;
    for (int i = 0; i < count; ++i)
        list.append(
            { QStringLiteral("file%1.mp4").arg(i), QString(messageLength, QLatin1Char('m')) });
    return list;
}

} // namespace

class FailureReportSenderTest : public QObject
{
    Q_OBJECT

private slots:
    void reportTextJoinsTheEntries()
    {
        const QList<FailureEntry> list { { QStringLiteral("a.mp4"), QStringLiteral("Broken #1") },
            { QStringLiteral("b.mkv"), QString() } };
        QCOMPARE(buildFailureReportText(list, 1, 0, 42),
            QStringLiteral("inputfailed,10a.mp4,Broken 1,b.mkv,,@@42"));
    }

    void reportTextStopsAfterTheEntryThatCrosses1800Characters()
    {
        // Each entry adds 9 + 1 + 290 + 1 = 301 characters: the sixth crosses 1800.
        const QString text = buildFailureReportText(entries(9, 290), 2, 3, 7);
        QVERIFY(text.contains(QStringLiteral("file5.mp4")));
        QVERIFY(!text.contains(QStringLiteral("file6.mp4")));
        QCOMPARE(text.size(), QStringLiteral("inputfailed,23").size() + 6 * 301 + 3);
    }

    void endpointComesFromTheSettings()
    {
        const QString key = QStringLiteral("Software/Corvallo/Sonivert");
        QFile::remove(settingsFilePath(key));
        QCOMPARE(reportEndpoint(key), QString());
        RegWriteText(key, QStringLiteral("ReportEndpoint"), QStringLiteral(" http://x/y? "));
        QCOMPARE(reportEndpoint(key), QStringLiteral("http://x/y?"));
    }

    void reportIsAppendedPercentEncoded()
    {
        const QUrl url = FailureReportSender::requestUrl(
            QStringLiteral("http://h/r?q="), QStringLiteral("a b,ü&@@5"));
        QCOMPARE(url.toEncoded(), QByteArray("http://h/r?q=a%20b%2C%C3%BC%26%40%405"));
    }

    void sendingReachesTheEndpoint()
    {
        LoopbackServer server(true);
        FailureReportSender sender;
        QSignalSpy done(&sender, &FailureReportSender::finished);
        sender.send(server.endpoint(), QStringLiteral("inputfailed,10x.mp4,bad,@@3"));
        QVERIFY(done.wait(10000));
        QCOMPARE(done.first().first().toBool(), true);
        QCOMPARE(server.requestLine(),
            QByteArray("GET /report?q=inputfailed%2C10x.mp4%2Cbad%2C%40%403 HTTP/1.1"));
    }

    void aSilentEndpointEndsWithTheTimeOut()
    {
        LoopbackServer server(false);
        FailureReportSender sender;
        QSignalSpy done(&sender, &FailureReportSender::finished);
        sender.send(server.endpoint(), QStringLiteral("r"), 300);
        QVERIFY(done.wait(5000));
        QCOMPARE(done.first().first().toBool(), false);
        QCOMPARE(done.count(), 1);
    }

    void aMalformedEndpointFailsAtOnce()
    {
        FailureReportSender sender;
        QSignalSpy done(&sender, &FailureReportSender::finished);
        sender.send(QStringLiteral("not an address"), QStringLiteral("r"));
        QVERIFY(done.wait(1000));
        QCOMPARE(done.first().first().toBool(), false);
    }
};

QTEST_GUILESS_MAIN(FailureReportSenderTest)
#include "failure_report_sender_test.moc"
