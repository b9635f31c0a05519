#ifndef OMTEST_CHILDPROCESS_H
#define OMTEST_CHILDPROCESS_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

namespace omtest {

/** The user a test drops to in order to meet refused permissions. */
constexpr unsigned NobodyId = 65534;

/**
 * Runs @p body in a forked child and returns its result (the child's exit
 * status, 0 to 255), or -1 if the child did not end normally. With
 * @p asNobody, a child started as root first drops to uid and gid 65534, so
 * that it meets object permissions as an ordinary user would. Keep the body
 * small: it runs in a copy of a process that has other threads. The dropped
 * child may not be able to reach the build tree (a checkout in a private
 * directory): anything it reads must lie in a SharedTemporaryDir.
 */
int runInChild(const std::function<int()> &body, bool asNobody = false);

/**
 * runInChild(), while this thread's Qt event loop keeps running, so that a
 * service on the test's own thread answers what the child asks of it.
 */
int runInChildWithEvents(const std::function<int()> &body, bool asNobody = false);

/**
 * Whether this process can drop to another user: it runs as root and the
 * system lets it become uid and gid 65534 (a user namespace may not).
 */
bool canDropPrivileges();

/**
 * A fresh directory under /tmp that every user can reach and read (mode
 * 0755, whatever the umask or TMPDIR), for what a test shares with code it
 * runs as another user. Removed with the object.
 */
class SharedTemporaryDir : public QTemporaryDir
{
public:
    explicit SharedTemporaryDir(const QString &prefix = QStringLiteral("omtest"));
};

/**
 * A copy of a built program that another user can run wherever the tree is
 * checked out: the program, and the libraries it loads that uid 65534 cannot
 * read, copied into a SharedTemporaryDir. The copy keeps the program's file
 * name, so it tells the bus the same package name.
 */
class ProgramCopy
{
public:
    explicit ProgramCopy(const QString &program);

    /** Empty if the copy is ready, else why not. */
    QString error() const { return m_error; }
    QString path() const { return m_program; }

    struct Result
    {
        int exitCode = -1; ///< -1: it did not end normally, or in time
        QByteArray out;
        QByteArray err;
    };
    /**
     * Runs the copy with @p arguments in a child made by runInChild(), in
     * the copy's directory and with this process's environment. A run that
     * takes more than @p timeoutSeconds is killed.
     */
    Result run(const QStringList &arguments, bool asNobody, unsigned timeoutSeconds = 15) const;

private:
    SharedTemporaryDir m_dir;
    QString m_program;
    QString m_error;
};

} // namespace omtest

#endif
