#include "gui/app/startup.h"

#include "core/app/command_line.h"
#include "core/app/folders.h"
#include "core/app/single_instance.h"
#include "core/constants/named_constants.h"
#include "gui/app/main_window.h"
#include "gui/app/messages.h"

#include <QApplication>
#include <QSocketNotifier>
#include <csignal>
#include <exception>
#include <sys/socket.h>
#include <unistd.h>

namespace sonivert {

namespace {

void showConstantFailure(const QString &message)
{
    ShowMessage(message, MsgPlain, QString());
}

// SIGTERM and SIGINT become an orderly quit on the event loop, so running conversions are
// stopped and their unfinished files removed rather than left behind.
int signalPipe[2] = { -1, -1 };

void onTerminationSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
}

void routeTerminationSignals(QApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [notifier] {
        notifier->setEnabled(false);
        char byte = 0;
        [[maybe_unused]] const auto got = ::read(signalPipe[1], &byte, 1);
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String("frmMain"))
                window->close();
        }
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

void bringToFront(QWidget *window)
{
    if (window->isMinimized())
        window->showNormal();
    window->raise();
    window->activateWindow();
}

} // namespace

void setApplicationIdentity(
    const QString &companyName, const QString &productName, const QString &version)
{
    QApplication::setApplicationName(productName);
    QApplication::setOrganizationName(companyName);
    QApplication::setApplicationVersion(version);
    // No display name: the window system would append it to every title, and each window's
    // title is exactly its own ("Attention!", or nothing at all for most messages).
}

int Main(QApplication &app)
{
    setConstantFailureHandler(&showConstantFailure);
    MainWindow::Identity identity;
    identity.companyName = GetNamedConstant(QStringLiteral("COMPANY_NAME"));
    identity.productName = GetNamedConstant(QStringLiteral("PRODUCT_NAME"));
    const QString version = GetNamedConstant(QStringLiteral("PRODUCT_VERSION"));
    const QString productId = GetNamedConstant(QStringLiteral("PRODUCT_ID"));
    identity.settingsKey = GetNamedConstant(QStringLiteral("REGISTRY_PRODUCT"));
    GetNamedConstant(QStringLiteral("FOLDER_DATA"));
    GetNamedConstant(QStringLiteral("FOLDER_TEMP"));
    setApplicationIdentity(identity.companyName, identity.productName, version);

    SetupFolders(QCoreApplication::applicationDirPath(), identity.settingsKey);

    QString programPath;
    QStringList arguments;
    ParseCommandLine(QCoreApplication::arguments(), programPath, arguments);

    // A second start hands its file to the running instance and ends before any window exists.
    SingleInstance instance(productId);
    if (instance.findRunningInstance(arguments))
        return 0;

    routeTerminationSignals(app);
    MainWindow window(identity);
    QObject::connect(
        &instance, &SingleInstance::commandReceived, &window, [&window](const QString &text) {
            bringToFront(&window);
            if (!text.isEmpty())
                window.OpenFileFromText(text);
        });
    try {
        window.load(arguments);
        window.show();
    } catch (const std::exception &) {
        ShowMessage(QStringLiteral("Missing or corrupted resource files.\nPlease re-install the "
                                   "program to solve this problem."),
            MsgCritical, QStringLiteral("Sorry!"));
        if (!window.isVisible())
            return 1;
    }
    return app.exec();
}

} // namespace sonivert
