#ifndef OMCTL_COMMAND_H
#define OMCTL_COMMAND_H

#include "common/registry.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <optional>

namespace omctl {

/** Exit codes: 0 success, 1 the command failed, 2 bad usage. */
enum ExitCode { Success = 0, Failure = 1, Usage = 2 };

class Invocation;

/**
 * One command of omctl. Its options are parsed by QCommandLineParser, which
 * also answers -h/--help and refuses unknown options; the rest of the
 * command line reaches run() as positional arguments.
 */
struct Command
{
    QString name;
    /** The positional arguments, as in "omctl <name> <arguments>"; empty
     *  if the command takes none (omctl then refuses any). */
    QString arguments;
    /** One line for the command list. */
    QString summary;
    /** More lines for "omctl help <name>"; may be empty. */
    QString details;
    QList<QCommandLineOption> options;
    std::function<int(const Invocation &)> run;
    /** Whether the positional arguments after the first are taken as
     *  written, also where they begin with '-' (a removal "-name", a
     *  negative number); among them only "--option" is an option. */
    bool verbatimArguments = false;
};

/** One run of a command: what it was given, and the ways to answer. */
class Invocation
{
public:
    Invocation(const Command &command, const QStringList &positional, const QVariantMap &options)
        : m_command(command), m_positional(positional), m_options(options)
    {
    }

    const Command &command() const { return m_command; }
    /** The positional arguments. */
    const QStringList &args() const { return m_positional; }
    bool isSet(const QString &option) const { return m_options.contains(option); }
    /** The value of @p option; the last one if it was given several times. */
    QString value(const QString &option) const
    {
        const QStringList all = values(option);
        return all.isEmpty() ? QString() : all.constLast();
    }
    /** Every value of @p option, in the order given. */
    QStringList values(const QString &option) const
    {
        return m_options.value(option).toStringList();
    }

    /** The value of @p option as a whole number of at least 1; @p fallback
     *  if it is not given. Null, after a usage message, if it is no such
     *  number. */
    std::optional<int> positive(const QString &option, int fallback) const;

    /** Prints "omctl: <message>" and the hint to --help; returns Usage. */
    int usage(const QString &message) const;
    /** Prints "omctl: <command>: <reason>"; returns Failure. */
    int fail(const QString &reason) const;

    /**
     * One request to a device service's object @p path: "msg" @p msg with
     * "dat" @p dat. Gives the answer's "dat". When there is none (no such
     * object, no answer in time, or the service refused with "err") it
     * prints why and gives null; the command then returns Failure.
     */
    std::optional<QVariantMap> request(const QString &path, const QString &msg,
                                       const QVariantMap &dat = QVariantMap()) const;

    /** A request whose answer holds nothing to show: Success, or Failure
     *  after saying why. */
    int perform(const QString &path, const QString &msg,
                const QVariantMap &dat = QVariantMap()) const
    {
        return request(path, msg, dat) ? Success : Failure;
    }

private:
    const Command &m_command;
    QStringList m_positional;
    QVariantMap m_options;
};

/** The commands; all() gives them sorted by name. */
using CommandRegistry = omdevice::Registry<Command>;
using CommandRegistrar = CommandRegistry::Registrar;

} // namespace omctl

#define OMCTL_CONCAT2(a, b) a##b
#define OMCTL_CONCAT(a, b) OMCTL_CONCAT2(a, b)
/** Registers a command: OMCTL_COMMAND({name, arguments, summary, details, options, run}); */
#define OMCTL_COMMAND(...)                                                              \
    static const omctl::CommandRegistrar OMCTL_CONCAT(omctlCommand, __LINE__)(omctl::Command __VA_ARGS__)

#endif
