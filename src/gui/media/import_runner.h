#pragma once

#include <QStringList>

class QWidget;

namespace sonivert {

class FailureReport;
class FileListModel;
class ImportJob;

// Starts an import of chosen files (ImportFiles) or of dropped ones (ImportDroppedFiles). With
// two or more files the wait dialog blocks the owner until the import ends. Connect to the
// returned job's finished signal to select the first new row and show the failure report; the
// job deletes itself afterwards.
ImportJob *startImport(
    QWidget *owner, FileListModel *list, FailureReport *report, const QStringList &paths);
ImportJob *startDroppedImport(QWidget *owner, FileListModel *list, FailureReport *report,
    const QStringList &accepted, const QStringList &refused);

} // namespace sonivert
