#include "gui/app/startup.h"

#include "core/app/command_line.h"
#include "core/app/folders.h"
#include "core/app/single_instance.h"
#include "core/constants/named_constants.h"
#include "core/media/import_rules.h"
#include "core/media/libav_log.h"
#include "gui/app/desktop_notifier.h"
#include "gui/app/desktop_session.h"
#include "gui/app/main_window.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/app/quick_convert.h"
#include "gui/app/sleep_inhibitor.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QPointer>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

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

void routeTerminationSignals(QApplication &app, std::function<void()> terminate)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, &app);
    QObject::connect(
        notifier, &QSocketNotifier::activated, &app, [notifier, terminate = std::move(terminate)] {
            notifier->setEnabled(false);
            char byte = 0;
            [[maybe_unused]] const auto got = ::read(signalPipe[1], &byte, 1);
            terminate();
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

// The desktop entry's "Convert to MP3": sonivert-cli beside this program converts, and the
// person hears of it through notifications (or a message).
int convertWithoutWindow(QApplication &app, const StartArguments &start)
{
    // Also ends the file chooser, which runs before the program's own event loop.
    routeTerminationSignals(app, [] { QCoreApplication::exit(0); });
    QApplication::setQuitOnLastWindowClosed(false);
    const DesktopSession::Buses buses = DesktopSession::defaultBuses();
    DesktopNotifier notifier(buses.session);
    SleepInhibitor sleep(buses.system);
    QuickConvert convert(
        QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("sonivert-cli")),
        notifier, sleep);
    convert.setMessageSink([](const QString &text, bool failure) {
        ShowMessage(text, failure ? MsgCritical : MsgInformation, QStringLiteral("Sonivert"));
    });
    convert.setFolderOpener(
        [](const QString &folder) { OpenOutputFolder(nullptr, folder, false, false); });
    QObject::connect(
        &convert, &QuickConvert::finished, &app, &QCoreApplication::exit, Qt::QueuedConnection);
    QStringList files = start.files;
    if (files.isEmpty()) {
        // Started from the dock's menu rather than with a file manager's selection.
        files = QFileDialog::getOpenFileNames(nullptr,
            QStringLiteral("Convert to %1").arg(start.convertFormat.toUpper()), folders().inputPath,
            importDialogFilters().join(QStringLiteral(";;")));
        if (files.isEmpty())
            return 0;
    }
    convert.start(start.convertFormat, files);
    return app.exec();
}

} // namespace

QString desktopHelpText()
{
    return QStringLiteral(
        "Usage: sonivert [OPTION]... [FILE]...\n"
        "Turns video files into audio files: add files, pick an output format and a preset, and\n"
        "convert.\n"
        "\n"
        "Every FILE is added to the list, in order. When Sonivert already runs, the files go to\n"
        "the running window instead and this start ends.\n"
        "\n"
        "Options:\n"
        "  -h, --help       show this help and exit\n"
        "  -v, --version    show the version and exit\n"
        "  --convert-to KEYWORD\n"
        "                   convert every FILE to that format (mp3, flac, ogg, ...) without\n"
        "                   opening the window, with the preset and output folder the window\n"
        "                   remembers; a desktop notification tells how it went\n"
        "  --               treat every later argument as a file, even one starting with \"-\"\n"
        "\n"
        "To convert from scripts or a terminal without a window, use sonivert-cli.\n");
}

void setApplicationIdentity(
    const QString &companyName, const QString &productName, const QString &version)
{
    QApplication::setApplicationName(productName);
    QApplication::setOrganizationName(companyName);
    QApplication::setApplicationVersion(version);
    // Ties the windows to the installed desktop entry (its icon and name in docks on Wayland).
    QGuiApplication::setDesktopFileName(QStringLiteral("com.corvallo.Sonivert"));
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
    QStringList commandLine;
    ParseCommandLine(QCoreApplication::arguments(), programPath, commandLine);
    const StartArguments start = readStartArguments(commandLine);
    if (start.request == StartArguments::Request::UnknownOption) {
        std::fprintf(stderr, "sonivert: unknown option '%s'\nTry 'sonivert --help'.\n",
            start.unknownOption.toLocal8Bit().constData());
        return 2;
    }
    if (start.request == StartArguments::Request::ConvertFiles)
        return convertWithoutWindow(app, start);
    const QStringList &arguments = start.files;

    // A second start hands its file to the running instance and ends before any window exists.
    SingleInstance instance(productId);
    if (instance.findRunningInstance(arguments))
        return 0;

    routeTerminationSignals(app, [] {
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (window->objectName() == QLatin1String("frmMain"))
                window->close();
        }
        QCoreApplication::quit();
    });
    MainWindow window(identity);
    // libav's own warnings about the files it reads go to the engine log (the diagnosis window
    // shows it), never to a terminal. They may come from any thread.
    const QPointer<MainWindow> logTarget(&window);
    routeLibavLog(
        [logTarget](int, const QString &line) {
            QMetaObject::invokeMethod(
                qApp,
                [logTarget, line] {
                    if (logTarget)
                        emit logTarget->engineLog(QStringLiteral("libav: ") + line);
                },
                Qt::QueuedConnection);
        },
        AV_LOG_WARNING);
    struct StopRouting
    {
        ~StopRouting() { routeLibavLog({}, AV_LOG_QUIET); }
    } stopRouting;
    QObject::connect(
        &instance, &SingleInstance::commandReceived, &window, [&window](const QStringList &files) {
            bringToFront(&window);
            if (!files.isEmpty())
                window.openFilesFromTexts(files);
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
