#pragma once

#include <QStringList>
#include <QTextStream>
#include <functional>
#include <vector>

namespace sonivert::cli {

// Exit codes are part of the command line's public contract.
enum class ExitCode : int {
    Ok = 0,
    Failed = 1,
    Usage = 2,
    OutputFolderUnusable = 3,
};

struct Io
{
    QTextStream &out;
    QTextStream &err;
};

struct Command
{
    QString name;
    QString synopsis;
    QString summary;
    std::function<ExitCode(const QStringList &args, Io &io)> run;
};

void registerCommand(Command command);
const std::vector<Command> &registeredCommands();

// A command file registers itself with a file-scope CommandRegistration object.
struct CommandRegistration
{
    explicit CommandRegistration(Command command) { registerCommand(std::move(command)); }
};

} // namespace sonivert::cli
