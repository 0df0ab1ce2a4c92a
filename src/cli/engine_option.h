#pragma once

#include "core/convert/task_plan.h"
#include "core/convert/worker_encode_job.h"

#include <QList>
#include <QString>
#include <QTextStream>

namespace sonivert::cli {

// --engine auto|ffmpeg|worker, shared by convert and diagnose.
inline const QString EngineOptionSynopsis = QStringLiteral("[--engine auto|ffmpeg|worker]");

// The value of --engine; false with the usage error.
bool parseEngineOption(const QString &value, EngineChoice &choice, QString &error);

struct PlannedRow
{
    QString name; // what the person knows the row by: the file, or the file and a combination
    TaskPlan plan;
};

// With --engine worker everything must run on the worker, so a missing sonivert-worker or a row
// it cannot run is a usage error, found before anything runs. False after writing the reason as
// "sonivert-cli COMMAND: ...".
bool checkWorkerEngine(const QString &command, const QList<PlannedRow> &rows, QTextStream &err);

} // namespace sonivert::cli
