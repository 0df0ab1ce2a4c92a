// Runs the real main window in a process of its own and drives it as a person would: the files
// given are opened as on the command line and, with --convert, converted with Convert Now.
// Kill tests and the load bench start it; it prints what they measure:
//   imported ROWS rows in SECONDS s; longest UI stall MS ms; resident BYTES bytes, BYTES before
//   converting
//   run: done D, failed F, total T; longest UI stall MS ms; SECONDS s
// A stall is how late a 10 ms timer on the UI thread fires: time the window could not answer.
//
// window_driver [--convert] [--output DIR] [--threads N] [--engine auto|ffmpeg|worker] FILE...

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/constants/named_constants.h"
#include "core/convert/conversion_run.h"
#include "core/media/file_list_model.h"
#include "gui/app/main_window.h"
#include "gui/app/startup.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <cstdio>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

using namespace sonivert;

namespace {

qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

// The longest lateness of a 10 ms timer since the last reset.
class StallWatch : public QObject
{
public:
    StallWatch()
    {
        m_timer.setInterval(10);
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const qint64 late = m_clock.restart() - m_timer.interval();
            m_longest = std::max(m_longest, late);
            if (late >= 25 && qEnvironmentVariableIsSet("WINDOW_DRIVER_STALLS"))
                std::fprintf(
                    stderr, "stall of %lld ms, %lld ms after the start\n", late, m_age.elapsed());
        });
        m_clock.start();
        m_age.start();
        m_timer.start();
    }
    qint64 takeLongest()
    {
        const qint64 longest = m_longest;
        m_longest = 0;
        return longest;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    QElapsedTimer m_age;
    qint64 m_longest = 0;
};

// Answers what asks the person (a message, the completion window) as its default button would;
// the windows that show progress (opening, preparing) are left to do their work.
class PromptAnswerer : public QObject
{
public:
    PromptAnswerer()
    {
        connect(&m_timer, &QTimer::timeout, this, [this] {
            QWidget *modal = QApplication::activeModalWidget();
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                seen << box->text();
                box->buttons().first()->click();
            } else if (modal && modal->objectName() != QLatin1String("frmWait")) {
                seen << modal->objectName();
                modal->close();
            }
        });
        m_timer.start(20);
    }
    QStringList seen;

private:
    QTimer m_timer;
};

void say(const QString &line)
{
    std::fputs(qPrintable(line + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QApplication app(argc, argv);
    bool convert = false;
    QString output;
    QString threads;
    QString engine;
    QStringList files;
    const QStringList arguments = app.arguments().mid(1);
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--convert"))
            convert = true;
        else if (argument == QLatin1String("--output") && i + 1 < arguments.size())
            output = arguments.at(++i);
        else if (argument == QLatin1String("--threads") && i + 1 < arguments.size())
            threads = arguments.at(++i);
        else if (argument == QLatin1String("--engine") && i + 1 < arguments.size())
            engine = arguments.at(++i);
        else
            files.append(argument);
    }

    MainWindow::Identity identity;
    identity.companyName = GetNamedConstant(QStringLiteral("COMPANY_NAME"));
    identity.productName = GetNamedConstant(QStringLiteral("PRODUCT_NAME"));
    identity.settingsKey = GetNamedConstant(QStringLiteral("REGISTRY_PRODUCT"));
    setApplicationIdentity(identity.companyName, identity.productName,
        GetNamedConstant(QStringLiteral("PRODUCT_VERSION")));
    SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), identity.settingsKey);

    MainWindow window(identity);
    window.load(files);
    window.show();
    if (!output.isEmpty())
        window.runOptions()->setOutputFolder(output);
    if (!threads.isEmpty()) {
        window.runOptions()->setThreadMode(true);
        window.runOptions()->setThreadCountText(threads);
    }
    if (engine == QLatin1String("ffmpeg"))
        window.conversionRun()->setEngineChoice(EngineChoice::Ffmpeg);
    else if (engine == QLatin1String("worker"))
        window.conversionRun()->setEngineChoice(EngineChoice::Worker);

    // Prompts (an import report, the completion window) are answered as by their default button.
    PromptAnswerer modals;
    StallWatch stalls;
    QElapsedTimer clock;
    clock.start();
    qint64 baseline = 0;
    // Measured after the window is up and before the start-up timer opens the files.
    QTimer::singleShot(100, &window, [&] {
        baseline = residentBytes();
        stalls.takeLongest();
        clock.restart();
    });

    QObject::connect(&window, &MainWindow::importFinished, &window, [&] {
        say(QStringLiteral("imported %1 rows in %2 s; longest UI stall %3 ms; resident %4 bytes, "
                           "%5 before")
                .arg(window.fileList()->count())
                .arg(double(clock.elapsed()) / 1000.0, 0, 'f', 2)
                .arg(stalls.takeLongest())
                .arg(residentBytes())
                .arg(baseline));
        if (!convert) {
            QCoreApplication::exit(0);
            return;
        }
        clock.restart();
        QTimer::singleShot(0, &window, [&window] { window.convertCommand(); });
    });
    bool announced = false;
    QObject::connect(
        window.conversionRun(), &ConversionRun::stateChanged, &window, [&](RunState state) {
            if (state == RunState::Converting && !announced) {
                announced = true;
                say(QStringLiteral("converting"));
            }
        });
    QObject::connect(&window, &MainWindow::runFinished, &window, [&] {
        ConversionRun *run = window.conversionRun();
        int done = 0;
        int failed = 0;
        const int total = window.fileList()->count();
        for (int row = 0; row < total; ++row) {
            done += run->outcome(row) == RowOutcome::Done ? 1 : 0;
            failed += run->outcome(row) == RowOutcome::Failed ? 1 : 0;
        }
        say(QStringLiteral("run: done %1, failed %2, total %3; longest UI stall %4 ms; %5 s")
                .arg(done)
                .arg(failed)
                .arg(total)
                .arg(stalls.takeLongest())
                .arg(double(clock.elapsed()) / 1000.0, 0, 'f', 2));
        // The completion window comes next; the watcher closes it and the program ends.
        QTimer::singleShot(200, &app, [] { QCoreApplication::exit(0); });
    });
    const int status = app.exec();
    for (const QString &seen : std::as_const(modals.seen))
        std::fprintf(stderr, "answered: %s\n", qPrintable(seen));
    flags().isUnloading = true;
    return status;
}
