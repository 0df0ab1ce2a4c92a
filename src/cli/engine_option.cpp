#include "cli/engine_option.h"

#include "core/convert/worker_pool.h"

namespace sonivert::cli {

bool ParseEngineOption(const QString &value, EngineChoice &choice, QString &error)
{
    if (ParseEngineChoice(value.trimmed(), &choice))
        return true;
    error = QStringLiteral("--engine takes auto, ffmpeg or worker, not \"") + value
        + QLatin1Char('"');
    return false;
}

bool CheckWorkerEngine(const QString &command, const QList<PlannedRow> &rows, QTextStream &err)
{
    if (WorkerPool::Instance()->Program().isEmpty()) {
        err << "sonivert-cli " << command
            << ": --engine worker: the converter program sonivert-worker was not found beside "
               "sonivert-cli\n";
        return false;
    }
    for (const PlannedRow &row : rows) {
        const QString refusal = WorkerRefusal(row.plan);
        if (!refusal.isEmpty()) {
            err << "sonivert-cli " << command << ": --engine worker cannot convert " << row.name
                << ": " << refusal << " (use --engine auto or ffmpeg)\n";
            return false;
        }
    }
    return true;
}

} // namespace sonivert::cli
