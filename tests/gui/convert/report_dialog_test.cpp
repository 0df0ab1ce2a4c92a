#include "core/app/settings_store.h"
#include "gui/convert/report_dialog.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using namespace sonivert;

namespace {

const QString Key = QStringLiteral("Software/Corvallo/Sonivert");

FailureReport reportOf(const QList<FailureEntry> &lines)
{
    FailureReport report;
    for (const FailureEntry &line : lines)
        report.AddFailureReport(line.name, line.message, line.encrypted);
    return report;
}

} // namespace

class ReportDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { RegWriteText(Key, QStringLiteral("ReportEndpoint"), QString()); }

    void anEmptyReportShowsNothing()
    {
        FailureReport report;
        QWidget mainWindow;
        QCOMPARE(showFailureReportDialog(&mainWindow, report, QStringLiteral("Failed"),
                     QStringLiteral("Failed to import files!"), Key),
            nullptr);
        QVERIFY(mainWindow.isEnabled());
    }

    void captionsFollowTheCopyProtectionRule()
    {
        QWidget mainWindow;
        FailureReport plain = reportOf({ { QStringLiteral("a.mp4"), QStringLiteral("Broken") } });
        ReportDialog *dialog
            = showFailureReportDialog(&mainWindow, plain, QStringLiteral("Conversion Reports"),
                QStringLiteral("Can not convert these files!"), Key);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Conversion Reports"));
        QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("lbl_Msg"))->text(),
            QStringLiteral("Can not convert these files!"));
        dialog->close();

        // Invalid data alone is a damaged file; with encryption in its container it is protected.
        FailureReport damaged = reportOf({ { QStringLiteral("b.mp4"),
            QStringLiteral("/v/b.mp4: Invalid data found when processing input") } });
        dialog = showFailureReportDialog(&mainWindow, damaged, QStringLiteral("Conversion Reports"),
            QStringLiteral("Can not convert these files!"), Key);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Conversion Reports"));
        dialog->close();

        FailureReport mixed = reportOf({ { QStringLiteral("a.mp4"), QStringLiteral("Broken") },
            { QStringLiteral("b.mp4"),
                QStringLiteral("/v/b.mp4: Invalid data found when processing input"), true } });
        dialog = showFailureReportDialog(&mainWindow, mixed, QStringLiteral("Conversion Reports"),
            QStringLiteral("Can not convert these files!"), Key);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("DRM Protection"));
        QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("lbl_Msg"))->text(),
            QStringLiteral("These files are copy-protected and can not be converted."));
        QCOMPARE(dialog->entryList()->topLevelItemCount(), 2);
        dialog->close();
    }

    // However the report goes away, the main window comes back and the report is emptied.
    void closingClearsTheReportAndEnablesTheMainWindow_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("encrypted");
        QTest::addColumn<QString>("title");
        for (const QString &how :
            { QStringLiteral("OK"), QStringLiteral("Escape"), QStringLiteral("close box") }) {
            QTest::addRow("Failed, %s", qPrintable(how)) << how << false << "Failed";
            QTest::addRow("DRM Protection, %s", qPrintable(how)) << how << true << "DRM Protection";
        }
    }
    void closingClearsTheReportAndEnablesTheMainWindow()
    {
        QFETCH(QString, how);
        QFETCH(bool, encrypted);
        QFETCH(QString, title);
        QWidget mainWindow;
        mainWindow.show();
        FailureReport report = reportOf({ { QStringLiteral("a.mp4"),
            QStringLiteral("/v/a.mp4: Invalid data found when processing input"), encrypted } });
        QPointer<ReportDialog> dialog = showFailureReportDialog(&mainWindow, report,
            QStringLiteral("Failed"), QStringLiteral("Failed to import files!"), Key);
        QCOMPARE(dialog->windowTitle(), title);
        QVERIFY(!mainWindow.isEnabled());
        QVERIFY(dialog->isVisible());
        // Without a configured address the report cannot be sent, and the button says why.
        QVERIFY(!dialog->panelButton(1)->isEnabled());
        QVERIFY(!dialog->panelButton(1)->toolTip().isEmpty());
        if (how == QLatin1String("OK"))
            dialog->panelButton(0)->click();
        else if (how == QLatin1String("Escape"))
            QTest::keyClick(dialog, Qt::Key_Escape);
        else
            dialog->close();
        QVERIFY(!dialog || !dialog->isVisible());
        QVERIFY(mainWindow.isEnabled());
        QVERIFY(report.isEmpty());
    }

    void detailsOfTheSelectedFailureCanBeCopied()
    {
        QWidget mainWindow;
        FailureReport report = reportOf({ { QStringLiteral("a.mp4"), QStringLiteral("Broken") },
            { QStringLiteral("b.mp4"), QStringLiteral("Odd") } });
        ReportDialog *dialog = showFailureReportDialog(
            &mainWindow, report, QStringLiteral("Failed"), QStringLiteral("x"), Key, [](int entry) {
                return entry == 1 ? QStringLiteral("ffmpeg -i b.mp4\nerror") : QString();
            });
        QCOMPARE(dialog->detailsView()->isVisibleTo(dialog), false);
        dialog->entryList()->setCurrentItem(dialog->entryList()->topLevelItem(1));
        QVERIFY(dialog->detailsView()->isVisibleTo(dialog));
        dialog->findChild<QPushButton *>(QStringLiteral("Cmd_CopyDetails"))->click();
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("ffmpeg -i b.mp4\nerror"));
        dialog->close();
    }

    void sendingThanksAndCloses()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QByteArray request;
        connect(&server, &QTcpServer::newConnection, this, [&] {
            QTcpSocket *socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [&request, socket] {
                request += socket->readAll();
                if (request.contains("\r\n\r\n")) {
                    socket->write("HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n");
                    socket->disconnectFromHost();
                }
            });
        });
        RegWriteText(Key, QStringLiteral("ReportEndpoint"),
            QStringLiteral("http://127.0.0.1:%1/r?").arg(server.serverPort()));

        QWidget mainWindow;
        FailureReport report = reportOf({ { QStringLiteral("a.mp4"), QStringLiteral("Broken") } });
        QPointer<ReportDialog> dialog = showFailureReportDialog(
            &mainWindow, report, QStringLiteral("Failed"), QStringLiteral("x"), Key);
        QVERIFY(dialog->panelButton(1)->isEnabled());

        QString thanks;
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                thanks = box->text();
                box->button(QMessageBox::Ok)->click();
            }
        });
        poll.start(20);
        dialog->panelButton(1)->click();
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull() || !dialog->isVisible(), 10000);
        QCOMPARE(thanks, QStringLiteral("Thank you."));
        QVERIFY(request.startsWith("GET /r?inputfailed%2C"));
        QVERIFY(report.isEmpty());
        QVERIFY(mainWindow.isEnabled());
    }
};

QTEST_MAIN(ReportDialogTest)
#include "report_dialog_test.moc"
