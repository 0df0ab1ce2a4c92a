#include "cli/command.h"
#include "core/media/libav_log.h"

#include <QCoreApplication>
#include <cstdio>

extern "C" {
#include <libavutil/log.h>
}

using namespace sonivert::cli;

namespace {

void printHelp(QTextStream &out)
{
    out << "Usage: sonivert-cli COMMAND [OPTIONS] [FILE...]\n"
           "       sonivert-cli --version | --help\n\n"
           "Turns video files into audio files from the command line.\n\n"
           "  --verbose   also print libav's own log lines (warnings and errors) on standard\n"
           "              error, marked \"libav:\"\n\n"
           "Commands:\n";
    for (const Command &c : registeredCommands())
        out << "  " << c.synopsis << "\n      " << c.summary << "\n";
    out << "\nA file whose name starts with \"-\" goes after \"--\": sonivert-cli convert -- "
           "-clip.mp4\n"
           "Formats take their keyword in any case or a short name (mp3, m4a, ogg, flac, ...);\n"
           "--set takes numbers with or without their unit (SampleRate=22050).\n";
    out << "\nExit status: 0 success, 1 some files failed, 2 usage error, "
           "3 output folder not usable.\n";
}

// "--verbose" anywhere before a "--"; it is taken out of args.
bool takeVerbose(QStringList &args)
{
    bool verbose = false;
    for (qsizetype i = 0; i < args.size() && args.at(i) != QLatin1String("--");) {
        if (args.at(i) == QLatin1String("--verbose")) {
            args.removeAt(i);
            verbose = true;
        } else {
            ++i;
        }
    }
    return verbose;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Corvallo"));
    QCoreApplication::setApplicationName(QStringLiteral("Sonivert"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SONIVERT_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    Io io { out, err };

    QStringList args = QCoreApplication::arguments().mid(1);
    // libav's lines are for someone chasing a problem; the commands report failures themselves.
    if (takeVerbose(args)) {
        sonivert::routeLibavLog(
            [](int, const QString &line) {
                std::fprintf(stderr, "libav: %s\n", line.toLocal8Bit().constData());
            },
            AV_LOG_WARNING);
    } else {
        sonivert::routeLibavLog({}, AV_LOG_QUIET);
    }
    if (args.isEmpty()) {
        printHelp(err);
        return int(ExitCode::Usage);
    }
    const QString first = args.takeFirst();
    if (first == QLatin1String("--version") || first == QLatin1String("-v")) {
        out << "sonivert-cli " << QCoreApplication::applicationVersion() << "\n";
        return int(ExitCode::Ok);
    }
    if (first == QLatin1String("--help") || first == QLatin1String("-h")
        || first == QLatin1String("help")) {
        printHelp(out);
        return int(ExitCode::Ok);
    }
    for (const Command &c : registeredCommands()) {
        if (c.name == first)
            return int(c.run(args, io));
    }
    err << "sonivert-cli: unknown command '" << first << "'\n\n";
    printHelp(err);
    return int(ExitCode::Usage);
}
