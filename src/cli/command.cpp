#include "cli/command.h"

#include <algorithm>

namespace sonivert::cli {

namespace {
std::vector<Command> &registry()
{
    static std::vector<Command> commands;
    return commands;
}
} // namespace

void registerCommand(Command command)
{
    auto &commands = registry();
    const auto at = std::lower_bound(commands.begin(), commands.end(), command.name,
        [](const Command &c, const QString &n) { return c.name < n; });
    commands.insert(at, std::move(command));
}

const std::vector<Command> &registeredCommands()
{
    return registry();
}

} // namespace sonivert::cli
