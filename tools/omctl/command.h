#ifndef OMCTL_COMMAND_H
#define OMCTL_COMMAND_H

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace omctl {

/** Exit codes: 0 success, 1 the command failed, 2 bad usage. */
enum ExitCode { Success = 0, Failure = 1, Usage = 2 };

struct Command
{
    QString name;
    /** Arguments, as in "omctl <name> <synopsis>". */
    QString synopsis;
    /** One line for the command list. */
    QString summary;
    /** More lines for "omctl help <name>"; may be empty. */
    QString details;
    std::function<int(const QStringList &args)> run;
};

class CommandRegistry
{
public:
    static void add(const Command &command);
    static QList<Command> all();
    static const Command *find(const QString &name);
};

struct CommandRegistrar
{
    explicit CommandRegistrar(const Command &command) { CommandRegistry::add(command); }
};

} // namespace omctl

#define OMCTL_CONCAT2(a, b) a##b
#define OMCTL_CONCAT(a, b) OMCTL_CONCAT2(a, b)
/** Registers a command: OMCTL_COMMAND({name, synopsis, summary, details, run}); */
#define OMCTL_COMMAND(...)                                                              \
    static const omctl::CommandRegistrar OMCTL_CONCAT(omctlCommand, __LINE__)(omctl::Command __VA_ARGS__)

#endif
