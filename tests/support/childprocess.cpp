#include "childprocess.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QProcess>
#include <QTemporaryFile>

#include <cerrno>
#include <csignal>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace omtest {

namespace {

constexpr QFileDevice::Permissions Shared =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
    QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser | QFileDevice::ReadGroup |
    QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther;

// The shared libraries @p program loads, as "soname => path" pairs in the
// order the dynamic loader reports them; empty with *error set if it cannot
// resolve them all.
QList<QPair<QString, QString>> loadedLibraries(const QString &program, QString *error)
{
    QProcess loader;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LD_TRACE_LOADED_OBJECTS"), QStringLiteral("1"));
    loader.setProcessEnvironment(env);
    loader.start(program, QStringList());
    if (!loader.waitForFinished(15000) || loader.exitStatus() != QProcess::NormalExit ||
        loader.exitCode() != 0) {
        *error = QStringLiteral("cannot list the libraries of %1: %2")
                     .arg(program, QString::fromLocal8Bit(loader.readAllStandardError()));
        loader.kill();
        return {};
    }
    QList<QPair<QString, QString>> libraries;
    const QList<QByteArray> lines = loader.readAllStandardOutput().split('\n');
    for (const QByteArray &line : lines) {
        const int arrow = line.indexOf(" => ");
        if (arrow < 0)
            continue; // the loader itself and the vDSO: never from the tree
        const QByteArray name = line.left(arrow).trimmed();
        QByteArray path = line.mid(arrow + 4).trimmed();
        const int address = path.lastIndexOf(" (0x");
        if (address >= 0)
            path.truncate(address);
        if (!path.startsWith('/')) {
            *error = QStringLiteral("%1 loads %2, which the loader does not find")
                         .arg(program, QString::fromLocal8Bit(name));
            return {};
        }
        libraries.append({QFile::decodeName(name), QFile::decodeName(path)});
    }
    return libraries;
}

bool readableByNobody(const QString &path)
{
    if (!canDropPrivileges())
        return true; // no other user to run as
    const QByteArray file = QFile::encodeName(path);
    return runInChild([&]() { return ::access(file.constData(), R_OK) == 0 ? 0 : 1; }, true) == 0;
}

bool copyShared(const QString &from, const QString &to, QString *error)
{
    if (QFile::copy(from, to) && QFile::setPermissions(to, Shared))
        return true;
    *error = QStringLiteral("cannot copy %1 to %2").arg(from, to);
    return false;
}

} // namespace

namespace {

pid_t startChild(const std::function<int()> &body, bool asNobody)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (asNobody && ::getuid() == 0) {
            if (::setgroups(0, nullptr) != 0 || ::setgid(NobodyId) != 0 || ::setuid(NobodyId) != 0)
                ::_exit(255);
        }
        ::_exit(body() & 0xff);
    }
    return pid;
}

int exitCodeOf(pid_t pid, int status, pid_t ended)
{
    if (ended != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace

int runInChild(const std::function<int()> &body, bool asNobody)
{
    const pid_t pid = startChild(body, asNobody);
    if (pid < 0)
        return -1;
    int status = 0;
    pid_t ended;
    do {
        ended = ::waitpid(pid, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return exitCodeOf(pid, status, ended);
}

int runInChildWithEvents(const std::function<int()> &body, bool asNobody)
{
    const pid_t pid = startChild(body, asNobody);
    if (pid < 0)
        return -1;
    int status = 0;
    pid_t ended;
    for (;;) {
        ended = ::waitpid(pid, &status, WNOHANG);
        if (ended != 0 && !(ended < 0 && errno == EINTR))
            break;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(500);
    }
    return exitCodeOf(pid, status, ended);
}

bool canDropPrivileges()
{
    static const bool can = ::getuid() == 0 && runInChild([]() { return 0; }, true) == 0;
    return can;
}

SharedTemporaryDir::SharedTemporaryDir(const QString &prefix)
    : QTemporaryDir(QStringLiteral("/tmp/") + prefix + QStringLiteral("-XXXXXX"))
{
    if (isValid())
        QFile::setPermissions(path(), Shared);
}

ProgramCopy::ProgramCopy(const QString &program) : m_dir(QFileInfo(program).fileName())
{
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("cannot make a directory under /tmp: ") + m_dir.errorString();
        return;
    }
    const QList<QPair<QString, QString>> libraries = loadedLibraries(program, &m_error);
    if (!m_error.isEmpty())
        return;
    m_program = m_dir.filePath(QFileInfo(program).fileName());
    if (!copyShared(program, m_program, &m_error))
        return;
    // The libraries of the system stay where they are; those of the build
    // tree come along when the tree is out of the other user's reach. The
    // copies take the name the program asks the loader for.
    for (const auto &library : libraries) {
        if (!readableByNobody(library.second) &&
            !copyShared(library.second, m_dir.filePath(library.first), &m_error))
            return;
    }
}

ProgramCopy::Result ProgramCopy::run(const QStringList &arguments, bool asNobody,
                                     unsigned timeoutSeconds) const
{
    Result result;
    QTemporaryFile out;
    QTemporaryFile err;
    if (!m_error.isEmpty() || !out.open() || !err.open()) {
        result.err = m_error.isEmpty() ? QByteArrayLiteral("cannot make output files")
                                       : m_error.toLocal8Bit();
        return result;
    }

    // Everything the child needs is made here: after fork() it only calls
    // what is safe in a copy of a process with other threads.
    std::vector<QByteArray> strings{QFile::encodeName(m_program)};
    for (const QString &argument : arguments)
        strings.push_back(argument.toLocal8Bit());
    const size_t argumentCount = strings.size();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString libraryPath = env.value(QStringLiteral("LD_LIBRARY_PATH"));
    env.insert(QStringLiteral("LD_LIBRARY_PATH"),
               libraryPath.isEmpty() ? m_dir.path() : m_dir.path() + ':' + libraryPath);
    for (const QString &variable : env.toStringList())
        strings.push_back(variable.toLocal8Bit());
    std::vector<char *> argv;
    std::vector<char *> envp;
    for (size_t i = 0; i < strings.size(); ++i)
        (i < argumentCount ? argv : envp).push_back(strings[i].data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    const QByteArray directory = QFile::encodeName(m_dir.path());
    const int outFd = out.handle();
    const int errFd = err.handle();

    result.exitCode = runInChild(
        [&]() {
            if (::dup2(outFd, STDOUT_FILENO) < 0 || ::dup2(errFd, STDERR_FILENO) < 0 ||
                ::chdir(directory.constData()) != 0)
                return 127;
            // The alarm outlives exec: a run that hangs ends by SIGALRM.
            sigset_t none;
            sigemptyset(&none);
            ::sigprocmask(SIG_SETMASK, &none, nullptr);
            ::signal(SIGALRM, SIG_DFL);
            ::alarm(timeoutSeconds);
            ::execve(argv[0], argv.data(), envp.data());
            return 127;
        },
        asNobody);
    QFile outFile(out.fileName());
    QFile errFile(err.fileName());
    if (outFile.open(QIODevice::ReadOnly))
        result.out = outFile.readAll();
    if (errFile.open(QIODevice::ReadOnly))
        result.err = errFile.readAll();
    return result;
}

} // namespace omtest
