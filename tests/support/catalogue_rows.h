#pragma once

#include <QStringList>
#include <initializer_list>

namespace sonivert::test {

// One catalogue row (or column list) written as plain C strings.
QStringList Row(std::initializer_list<const char *> cells);

// The columns of the format and preset tables, in the order the built-in tables have them.
QStringList formatTableColumns();
QStringList presetTableColumns();

} // namespace sonivert::test
