#include "cli/engine_option.h"

#include "core/convert/worker_pool.h"

namespace sonivert::cli {

bool parseEngineOption(const QString &value, EngineChoice &choice, QString &error)
{
    if (parseEngineChoice(value.trimmed(), &choice))
        return true;
    error = QStringLiteral("--engine takes auto, ffmpeg or worker, not \"") + value
        + QLatin1Char('"');
    return false;
}

bool checkWorkerEngine(const QString &command, const QList<PlannedRow> &rows, QTextStream &err)
{
    if (WorkerPool::instance()->program().isEmpty()) {
        err << "sonivert-cli " << command
            << ": --engine worker: the converter program sonivert-worker was not found beside "
               "sonivert-cli\n";
        return false;
    }
    for (const PlannedRow &row : rows) {
        const QString refusal = workerRefusal(row.plan);
        if (!refusal.isEmpty()) {
            err << "sonivert-cli " << command << ": --engine worker cannot convert " << row.name
                << ": " << refusal << " (use --engine auto or ffmpeg)\n";
            return false;
        }
    }
    return true;
}

} // namespace sonivert::cli
