#pragma once

#include "core/convert/task_plan.h"

#include <QList>
#include <QString>

namespace sonivert {

// " - NN - TITLE": what a chapter output's name adds to its row's, numbered from 1 with at least
// two digits, the title made safe for any file system (FAT and SMB shares too).
QString chapterNameSuffix(int number, int total, const QString &title);

// One plan per chapter of a row's source within the row's cut, in order: the chapter's part of the
// sound under its own name (the plan's, then the chapter's suffix), tagged with the chapter's
// title, its number of the total as the track and the source's title (else its file name) as the
// album, with no chapters of its own. Empty when no chapter of any length lies within the cut.
QList<TaskPlan> chapterTaskPlans(const TaskPlan &plan, const QString &input);

} // namespace sonivert
