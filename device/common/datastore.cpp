#include "common/datastore.h"

#include "common/servicemodule.h"

#include <om/ppsobject.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcStore, "store");

namespace {

constexpr char StateMagic[] = "omdevice-state 1";
constexpr char JournalMagic[] = "omdevice-journal 1";
constexpr char EndMark[] = "end ";
// The two-copy files of earlier versions: a header line, then JSON.
constexpr char LegacyMagic[] = "omdevice-store";

// A journal is folded into a new snapshot once it is larger than this and
// than twice the snapshot: loading then reads at most about three times
// what is kept, and a compaction's cost is spread over as many changes as
// it writes.
constexpr qint64 CompactAtLeast = 256 * 1024;
// Maps this deep or less are written as one record per entry, so that a
// large collection (the items of an application) loads entry by entry.
constexpr int SplitDepth = 3;
// No record is larger: a header that says more is damage.
constexpr qint64 MaxRecord = 256ll * 1024 * 1024;
constexpr qint64 ReadChunk = 1024 * 1024;

const QString OpsKey = QStringLiteral("ops");
const QString SetOp = QStringLiteral("s");
const QString RemoveOp = QStringLiteral("r");

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

quint64 hashOf(const char *p, qint64 length)
{
    quint64 h = 1469598103934665603ull ^ quint64(length);
    qint64 i = 0;
    for (; i + 8 <= length; i += 8) {
        quint64 word;
        std::memcpy(&word, p + i, 8);
        h = (h ^ word) * 1099511628211ull;
        h ^= h >> 29;
    }
    for (; i < length; ++i)
        h = (h ^ uchar(p[i])) * 1099511628211ull;
    return h;
}

// One record: "<length> <hash>\n" in hex, then the changes as PPS text.
bool appendRecord(QByteArray *out, const QVariantList &ops)
{
    bool ok = false;
    const QByteArray payload = om::PpsObject::encode({{OpsKey, ops}}, &ok);
    if (!ok)
        return false;
    out->append(QByteArray::number(payload.size(), 16));
    out->append(' ');
    out->append(QByteArray::number(hashOf(payload.constData(), payload.size()), 16));
    out->append('\n');
    out->append(payload);
    return true;
}

bool writeAll(int fd, const char *data, qint64 size)
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, data + done, size_t(size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return false;
        }
        done += n;
    }
    return true;
}

// Sets or removes the value at path[from...] in @p map. Each map on the
// way is taken out of its parent while it changes, so that it is not
// copied: the document of a large inbox is changed in place.
void setIn(QVariantMap &map, const QStringList &path, int from, const QVariant &value)
{
    const QString &key = path.at(from);
    if (from == path.size() - 1) {
        map.insert(key, value);
        return;
    }
    QVariantMap inner;
    {
        const QVariant child = map.take(key);
        if (child.userType() == QMetaType::QVariantMap)
            inner = child.toMap();
    }
    setIn(inner, path, from + 1, value);
    map.insert(key, inner);
}

void removeIn(QVariantMap &map, const QStringList &path, int from)
{
    const QString &key = path.at(from);
    if (from == path.size() - 1) {
        map.remove(key);
        return;
    }
    auto it = map.find(key);
    if (it == map.end() || it->userType() != QMetaType::QVariantMap)
        return;
    QVariantMap inner;
    {
        const QVariant child = map.take(key);
        inner = child.toMap();
    }
    removeIn(inner, path, from + 1);
    map.insert(key, inner);
}

// A path as a record holds it, and as load() reads it back.
QVariantList pathList(const QStringList &path)
{
    QVariantList list;
    list.reserve(path.size());
    for (const QString &key : path)
        list.append(key);
    return list;
}

bool pathOf(const QVariant &value, QStringList *path)
{
    if (value.userType() != QMetaType::QVariantList)
        return false;
    const QVariantList parts = value.toList();
    path->clear();
    for (const QVariant &part : parts) {
        if (part.userType() != QMetaType::QString)
            return false;
        path->append(part.toString());
    }
    return true;
}

// Applies the changes of one record; false if it holds something else.
bool apply(QVariantMap &document, const QVariantList &ops)
{
    QStringList path;
    for (const QVariant &entry : ops) {
        const QVariantList op = entry.toList();
        if (op.size() == 3 && op.at(0) == SetOp && pathOf(op.at(1), &path)) {
            if (path.isEmpty()) {
                if (op.at(2).userType() != QMetaType::QVariantMap)
                    return false;
                document = op.at(2).toMap();
            } else {
                setIn(document, path, 0, op.at(2));
            }
        } else if (op.size() == 2 && op.at(0) == RemoveOp && pathOf(op.at(1), &path) &&
                   !path.isEmpty()) {
            removeIn(document, path, 0);
        } else {
            return false;
        }
    }
    return true;
}

// Reads a file in pieces: a large snapshot is never in memory whole.
class Reader
{
public:
    explicit Reader(int fd) : m_fd(fd) {}
    ~Reader() { ::close(m_fd); }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    int error() const { return m_error; }
    bool atEnd() { return !need(1); }

    // A line without its newline, of at most @p maxLength; false if the
    // file ends (or the line runs on) before a newline.
    bool line(QByteArray *out, int maxLength)
    {
        for (;;) {
            const char *begin = m_buffer.data() + m_pos;
            const size_t available = m_end - m_pos;
            // An empty buffer may have no storage at all: memchr must not see it.
            const void *nl = available ? std::memchr(begin, '\n', available) : nullptr;
            if (nl) {
                const size_t length = size_t(static_cast<const char *>(nl) - begin);
                *out = QByteArray(begin, int(length));
                m_pos += length + 1;
                return true;
            }
            if (available > size_t(maxLength) || !need(available + 1))
                return false;
        }
    }

    // The next @p n bytes; null if the file ends first.
    const char *take(size_t n)
    {
        if (!need(n))
            return nullptr;
        const char *p = m_buffer.data() + m_pos;
        m_pos += n;
        return p;
    }

private:
    bool need(size_t n)
    {
        while (m_end - m_pos < n) {
            if (m_error)
                return false;
            if (m_pos > 0) {
                std::memmove(m_buffer.data(), m_buffer.data() + m_pos, m_end - m_pos);
                m_end -= m_pos;
                m_pos = 0;
            }
            m_buffer.resize(std::max(m_buffer.size(), std::max(n, m_end + size_t(ReadChunk))));
            ssize_t got;
            do {
                got = ::read(m_fd, m_buffer.data() + m_end, m_buffer.size() - m_end);
            } while (got < 0 && errno == EINTR);
            if (got < 0)
                m_error = errno;
            if (got <= 0)
                return false;
            m_end += size_t(got);
        }
        return true;
    }

    int m_fd;
    int m_error = 0;
    std::vector<char> m_buffer;
    size_t m_pos = 0;
    size_t m_end = 0;
};

enum class Outcome { Whole, TornTail, Unreadable };

struct FileRead
{
    Outcome outcome = Outcome::Whole;
    QString reason;
    quint64 generation = 0;
    qint64 bytes = 0;
    int records = 0;
};

// Reads the records of a snapshot (@p state) or a journal into @p document.
FileRead readRecords(const QString &path, bool state, QVariantMap &document)
{
    FileRead result;
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        result.outcome = Outcome::Unreadable;
        result.reason = errnoText(errno);
        return result;
    }
    struct stat info
    {
    };
    ::fstat(fd, &info);
    result.bytes = info.st_size;
    Reader reader(fd);
    const auto fail = [&](const QString &reason) {
        result.outcome = Outcome::Unreadable;
        result.reason = reader.error() ? errnoText(reader.error()) : reason;
        return result;
    };
    const QByteArray magic(state ? StateMagic : JournalMagic);
    QByteArray header;
    if (!reader.line(&header, 64) || !header.startsWith(magic + ' ')) {
        if (reader.error())
            return fail(QString());
        // A journal cut short before its first record holds nothing.
        if (!state && magic.startsWith(header.left(magic.size())) && reader.atEnd()) {
            result.outcome = Outcome::TornTail;
            return result;
        }
        return fail(QStringLiteral("not a state file of the device"));
    }
    bool ok = false;
    result.generation = header.mid(magic.size() + 1).toULongLong(&ok);
    if (!ok)
        return fail(QStringLiteral("not a state file of the device"));
    qint64 offset = header.size() + 1;
    QByteArray line;
    for (;;) {
        if (reader.atEnd()) {
            if (reader.error())
                return fail(QString());
            if (state)
                return fail(QStringLiteral("cut short after %1 records").arg(result.records));
            return result;
        }
        if (!reader.line(&line, 64)) {
            if (reader.error())
                return fail(QString());
            if (state)
                return fail(QStringLiteral("cut short after %1 records").arg(result.records));
            result.outcome = Outcome::TornTail;
            return result;
        }
        if (state && line.startsWith(EndMark)) {
            if (line.mid(int(sizeof EndMark) - 1).toInt() != result.records || !reader.atEnd())
                return fail(QStringLiteral("damaged after %1 records").arg(result.records));
            return result;
        }
        const QList<QByteArray> parts = line.split(' ');
        bool lengthOk = false, hashOk = false;
        const qint64 length = parts.size() == 2 ? parts.at(0).toLongLong(&lengthOk, 16) : -1;
        const quint64 hash = parts.size() == 2 ? parts.at(1).toULongLong(&hashOk, 16) : 0;
        if (!lengthOk || !hashOk || length < 0 || length > MaxRecord)
            return fail(QStringLiteral("damaged after %1 records").arg(result.records));
        offset += line.size() + 1;
        const bool last = offset + length >= result.bytes;
        const char *payload =
            offset + length <= result.bytes ? reader.take(size_t(length)) : nullptr;
        if (!payload || hashOf(payload, length) != hash) {
            if (reader.error())
                return fail(QString());
            // A crash while a record was appended leaves it cut short at the
            // end of the journal; the records before it are whole.
            if (!state && last) {
                result.outcome = Outcome::TornTail;
                return result;
            }
            return fail(state && !payload
                            ? QStringLiteral("cut short after %1 records").arg(result.records)
                            : QStringLiteral("damaged after %1 records").arg(result.records));
        }
        offset += length;
        bool decoded = false;
        const QVariantMap record =
            om::PpsObject::decode(QByteArray::fromRawData(payload, int(length)), &decoded);
        if (!decoded || !apply(document, record.value(OpsKey).toList()))
            return fail(QStringLiteral("record %1 makes no sense").arg(result.records + 1));
        ++result.records;
    }
}

// The earlier format: two copies, the newest whole one counts; or one
// plain JSON file. Unreadable if there are copies but none is whole.
FileRead readLegacy(const QStringList &paths, QVariantMap &document)
{
    FileRead result;
    quint64 newest = 0;
    bool found = false;
    for (const QString &path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            result.reason = file.errorString();
            continue;
        }
        const QByteArray all = file.readAll();
        QByteArray json;
        quint64 generation = 0;
        if (all.startsWith('{')) {
            json = all;
        } else {
            const int nl = all.indexOf('\n');
            const QList<QByteArray> header = all.left(nl).split(' ');
            bool ok[3] = {false, false, false};
            if (nl < 0 || header.size() != 4 || header.at(0) != LegacyMagic)
                continue;
            generation = header.at(1).toULongLong(&ok[0]) + 1;
            const int length = header.at(2).toInt(&ok[1]);
            const quint64 hash = header.at(3).toULongLong(&ok[2], 16);
            if (!ok[0] || !ok[1] || !ok[2] || length < 0 || all.size() - nl - 1 < length ||
                hashOf(all.constData() + nl + 1, length) != hash)
                continue;
            json = all.mid(nl + 1, length);
        }
        QJsonParseError error{};
        const QJsonDocument parsed = QJsonDocument::fromJson(json, &error);
        if (!parsed.isObject()) {
            result.reason = error.error != QJsonParseError::NoError ? error.errorString()
                                                                    : QStringLiteral("not a map");
            continue;
        }
        if (!found || generation > newest) {
            document = parsed.object().toVariantMap();
            newest = generation;
            found = true;
        }
    }
    if (!found) {
        result.outcome = Outcome::Unreadable;
        if (result.reason.isEmpty())
            result.reason = QStringLiteral("no whole copy");
    }
    return result;
}

// A compaction's outcome, from its thread.
struct Compaction
{
    std::thread thread;
    std::atomic<bool> done{false};
    bool ok = false;
    QString error;
    qint64 bytes = 0;
    quint64 covers = 0;
};

bool writeSnapshot(const QString &statePath, const QVariantMap &document, quint64 covers,
                   const QStringList &obsolete, qint64 *bytes, QString *error)
{
    const QString temporary = statePath + QLatin1String(".tmp");
    const QByteArray temporaryName = QFile::encodeName(temporary);
    const int fd =
        ::open(temporaryName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = QStringLiteral("%1: %2").arg(temporary, errnoText(errno));
        return false;
    }
    QByteArray buffer = QByteArray(StateMagic) + ' ' + QByteArray::number(covers) + '\n';
    qint64 written = 0;
    int records = 0;
    bool ok = true;
    const auto flush = [&](qint64 atLeast) {
        if (ok && buffer.size() >= atLeast) {
            ok = writeAll(fd, buffer.constData(), buffer.size());
            written += buffer.size();
            buffer.clear();
        }
    };
    const std::function<void(const QStringList &, const QVariant &)> emitEntry =
        [&](const QStringList &path, const QVariant &value) {
            if (path.size() < SplitDepth && value.userType() == QMetaType::QVariantMap) {
                const QVariantMap &map = *static_cast<const QVariantMap *>(value.constData());
                if (!map.isEmpty() || path.isEmpty()) {
                    for (auto it = map.cbegin(); it != map.cend() && ok; ++it)
                        emitEntry(path + QStringList{it.key()}, it.value());
                    return;
                }
            }
            const QVariantList op{SetOp, pathList(path), value};
            if (!appendRecord(&buffer, QVariantList{QVariant(op)})) {
                ok = false;
                errno = EINVAL;
                return;
            }
            ++records;
            flush(ReadChunk);
        };
    emitEntry(QStringList(), document);
    buffer += EndMark + QByteArray::number(records) + '\n';
    flush(0);
    const int failure = errno;
    ::close(fd);
    if (!ok || ::rename(temporaryName.constData(), QFile::encodeName(statePath).constData()) != 0) {
        *error = QStringLiteral("%1: %2").arg(temporary, errnoText(ok ? errno : failure));
        ::unlink(temporaryName.constData());
        return false;
    }
    // What the snapshot holds is no longer needed elsewhere.
    for (const QString &path : obsolete)
        ::unlink(QFile::encodeName(path).constData());
    *bytes = written;
    return true;
}

QString timestamp()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
}

} // namespace

class DataStore::Private
{
public:
    QString directory;
    QString name;
    QString statePath;
    bool loaded = false;
    Origin origin = Origin::Fresh;
    QVariantMap document;
    // The files the document was read from, other than the snapshot.
    QList<quint64> journals;
    QStringList legacy;
    quint64 covered = 0;    // the newest journal the snapshot holds
    quint64 generation = 1; // the journal appended to
    int fd = -1;
    qint64 journalBytes = 0;
    qint64 stateBytes = 0;
    std::unique_ptr<Compaction> compaction;
    // Why nothing can be written, if so.
    QString broken;

    QString journalPath(quint64 generation) const
    {
        return QDir(directory).filePath(QStringLiteral("%1.%2.journal").arg(name).arg(generation));
    }

    void closeJournal()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
        journalBytes = 0;
    }

    void load();
    void moveAside(const QString &culprit, const QString &reason);
    bool append(const QVariantList &ops, QString *error);
    void startCompaction();
    /** Starts a compaction once the journal has outgrown the snapshot.
     *  Only with the document up to date: the snapshot is made from it and
     *  replaces the journal. */
    void compactIfDue();
    /** Takes the outcome of a compaction that ended (or waits for it);
     *  false if one failed. */
    bool finishCompaction(bool wait);
};

void DataStore::Private::load()
{
    loaded = true;
    makeDirectory(directory);
    QDir dir(directory);
    ::unlink(QFile::encodeName(statePath + QLatin1String(".tmp")).constData());
    // The journals, oldest first.
    const QString prefix = name + QLatin1Char('.');
    const QStringList entries =
        dir.entryList({prefix + QLatin1String("*.journal")}, QDir::Files | QDir::System);
    QList<quint64> found;
    for (const QString &entry : entries) {
        bool ok = false;
        const quint64 g =
            entry.mid(prefix.size(), entry.size() - prefix.size() - 8).toULongLong(&ok);
        if (ok && g > 0)
            found.append(g);
    }
    std::sort(found.begin(), found.end());

    for (const QString &legacyName :
         {name + QLatin1String(".json"), name + QLatin1String(".2.json")}) {
        if (dir.exists(legacyName))
            legacy.append(dir.filePath(legacyName));
    }
    generation = found.isEmpty() ? 1 : found.last() + 1;
    if (!legacy.isEmpty()) {
        // JSON: what an earlier version kept, or what a developer wrote
        // while the device was stopped. It replaces whatever else is here,
        // and is written as a snapshot before anything else is written, so
        // that it is never read again over later changes.
        journals = found;
        const FileRead read = readLegacy(legacy, document);
        origin = Origin::Loaded;
        if (read.outcome == Outcome::Unreadable) {
            moveAside(legacy.first(), read.reason);
            return;
        }
        startCompaction();
        if (!finishCompaction(true))
            broken = QStringLiteral("%1 cannot be taken over").arg(legacy.first());
        return;
    }
    QString culprit;
    QString reason;
    if (QFileInfo::exists(statePath) || QFileInfo(statePath).isSymLink()) {
        const FileRead read = readRecords(statePath, true, document);
        if (read.outcome == Outcome::Unreadable) {
            culprit = statePath;
            reason = read.reason;
        }
        covered = read.generation;
        stateBytes = read.bytes;
        origin = Origin::Loaded;
    }
    qint64 replayed = 0;
    for (quint64 g : qAsConst(found)) {
        const QString path = journalPath(g);
        if (g <= covered && culprit.isEmpty()) {
            // Held by the snapshot already: a compaction ended before it
            // could remove it.
            ::unlink(QFile::encodeName(path).constData());
            continue;
        }
        journals.append(g);
        if (!culprit.isEmpty())
            continue;
        const FileRead read = readRecords(path, false, document);
        if (read.outcome == Outcome::Unreadable) {
            culprit = path;
            reason = read.reason;
        }
        replayed += read.bytes;
        origin = Origin::Loaded;
    }
    generation = std::max(generation, covered + 1);
    if (!culprit.isEmpty()) {
        moveAside(culprit, reason);
        return;
    }
    // Loading costs as much as reading everything; a snapshot now keeps
    // the next start as short as what is kept.
    if (replayed > std::max(CompactAtLeast, 2 * stateBytes))
        startCompaction();
}

void DataStore::Private::moveAside(const QString &culprit, const QString &reason)
{
    finishCompaction(true);
    closeJournal();
    QStringList files;
    if (QFileInfo::exists(statePath) || QFileInfo(statePath).isSymLink())
        files.append(statePath);
    files += legacy;
    for (quint64 g : qAsConst(journals))
        files.append(journalPath(g));
    // The culprit first: its new name is the one reported.
    files.removeAll(culprit);
    files.prepend(culprit);
    const QString suffix = QLatin1String(".unreadable-") + timestamp();
    QString culpritKept;
    for (const QString &file : qAsConst(files)) {
        QString target = file + suffix;
        for (int n = 2; QFileInfo::exists(target); ++n)
            target = file + suffix + QLatin1Char('-') + QString::number(n);
        if (::rename(QFile::encodeName(file).constData(), QFile::encodeName(target).constData()) !=
            0)
            target.clear();
        if (culpritKept.isNull())
            culpritKept = target.isEmpty()
                              ? QStringLiteral("(cannot be moved: %1)").arg(errnoText(errno))
                              : target;
    }
    qCWarning(lcStore).noquote()
        << QStringLiteral("%1 cannot be read (%2): kept as %3%4; %5 "
                          "starts from its defaults")
               .arg(culprit, reason, culpritKept,
                    files.size() > 1
                        ? QStringLiteral(" with the other %1 files of it").arg(files.size() - 1)
                        : QString(),
                    name);
    document.clear();
    journals.clear();
    legacy.clear();
    covered = 0;
    generation = 1;
    stateBytes = 0;
    origin = Origin::SetAside;
}

bool DataStore::Private::append(const QVariantList &ops, QString *error)
{
    if (!broken.isEmpty()) {
        if (error)
            *error = broken;
        return false;
    }
    QByteArray record;
    if (!appendRecord(&record, ops)) {
        if (error)
            *error = QStringLiteral("%1: the change cannot be written (too deeply nested)")
                         .arg(statePath);
        return false;
    }
    if (fd < 0) {
        const QString path = journalPath(generation);
        const QByteArray fileName = QFile::encodeName(path);
        fd = ::open(fileName.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0 && errno == ENOENT && makeDirectory(directory))
            fd = ::open(fileName.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (error)
                *error = QStringLiteral("%1: %2").arg(path, errnoText(errno));
            return false;
        }
        struct stat info
        {
        };
        ::fstat(fd, &info);
        journalBytes = info.st_size;
        if (journalBytes == 0)
            record.prepend(QByteArray(JournalMagic) + ' ' + QByteArray::number(generation) + '\n');
        if (!journals.contains(generation))
            journals.append(generation);
    }
    // One write: the kernel has the record when it returns, and a crash in
    // the middle of it leaves a record cut short at the end of the file.
    if (!writeAll(fd, record.constData(), record.size())) {
        const int failure = errno;
        // Whatever part went out is taken back, or left at the end of a
        // journal that is not written again.
        if (::ftruncate(fd, journalBytes) != 0)
            ++generation;
        closeJournal();
        if (error)
            *error = QStringLiteral("%1: %2").arg(journalPath(generation), errnoText(failure));
        return false;
    }
    journalBytes += record.size();
    return true;
}

void DataStore::Private::compactIfDue()
{
    finishCompaction(false);
    if (!compaction && journalBytes > std::max(CompactAtLeast, 2 * stateBytes))
        startCompaction();
}

void DataStore::Private::startCompaction()
{
    // The journal so far goes into the snapshot; changes from now on go
    // to the next one, while the snapshot is written on a thread of its
    // own from a copy of the document (which costs nothing until the
    // document changes).
    const quint64 covers = generation;
    closeJournal();
    ++generation;
    QStringList obsolete = legacy;
    for (quint64 g : qAsConst(journals)) {
        if (g <= covers)
            obsolete.append(journalPath(g));
    }
    auto *job = new Compaction;
    job->covers = covers;
    compaction.reset(job);
    job->thread = std::thread([job, path = statePath, document = document, covers, obsolete]() {
        job->ok = writeSnapshot(path, document, covers, obsolete, &job->bytes, &job->error);
        job->done = true;
    });
}

bool DataStore::Private::finishCompaction(bool wait)
{
    if (!compaction || (!wait && !compaction->done))
        return true;
    compaction->thread.join();
    if (compaction->ok) {
        stateBytes = compaction->bytes;
        covered = compaction->covers;
        legacy.clear();
        journals.erase(std::remove_if(journals.begin(), journals.end(),
                                      [this](quint64 g) { return g <= covered; }),
                       journals.end());
    } else {
        // The journals stay and hold everything; the next try comes when
        // the journal has grown as much again.
        qCWarning(lcStore).noquote()
            << QStringLiteral("cannot write %1: %2").arg(statePath, compaction->error);
        stateBytes = std::max(stateBytes, journalBytes);
    }
    const bool ok = compaction->ok;
    compaction.reset();
    return ok;
}

DataStore::Changes &DataStore::Changes::set(const QStringList &path, const QVariant &value)
{
    m_ops.append(QVariant(QVariantList{SetOp, pathList(path), value}));
    return *this;
}

DataStore::Changes &DataStore::Changes::remove(const QStringList &path)
{
    m_ops.append(QVariant(QVariantList{RemoveOp, pathList(path)}));
    return *this;
}

DataStore::DataStore(const QString &dataDirectory, const QString &name) : d(new Private)
{
    d->directory = dataDirectory;
    d->name = name;
    d->statePath = QDir(dataDirectory).filePath(name + QLatin1String(".state"));
}

DataStore::~DataStore()
{
    d->finishCompaction(true);
    d->closeJournal();
}

QString DataStore::fileName() const
{
    return d->statePath;
}

QVariantMap DataStore::load()
{
    if (!d->loaded)
        d->load();
    return d->document;
}

DataStore::Origin DataStore::origin()
{
    if (!d->loaded)
        d->load();
    return d->origin;
}

void DataStore::setAside(const QString &reason)
{
    if (!d->loaded)
        d->load();
    d->moveAside(d->statePath, reason);
}

bool DataStore::commit(const Changes &changes, QString *error)
{
    if (!d->loaded)
        d->load();
    if (changes.isEmpty())
        return true;
    if (!d->append(changes.m_ops, error))
        return false;
    apply(d->document, changes.m_ops);
    d->compactIfDue();
    return true;
}

bool DataStore::set(const QStringList &path, const QVariant &value, QString *error)
{
    return commit(Changes().set(path, value), error);
}

bool DataStore::remove(const QStringList &path, QString *error)
{
    return commit(Changes().remove(path), error);
}

bool DataStore::save(const QVariantMap &data, QString *error)
{
    if (!d->loaded)
        d->load();
    Changes changes;
    const QVariantMap &document = d->document;
    for (auto it = data.cbegin(); it != data.cend(); ++it) {
        const auto old = document.constFind(it.key());
        if (old == document.cend() || old.value() != it.value() ||
            old.value().userType() != it.value().userType())
            changes.set({it.key()}, it.value());
    }
    for (auto it = document.cbegin(); it != document.cend(); ++it) {
        if (!data.contains(it.key()))
            changes.remove({it.key()});
    }
    return commit(changes, error);
}

bool DataStore::save(const QVariantMap &data, const QLoggingCategory &log)
{
    QString error;
    if (save(data, &error))
        return true;
    qCWarning(log).noquote() << QStringLiteral("cannot save %1:").arg(d->statePath) << error;
    return false;
}

void DataStore::flush()
{
    d->finishCompaction(true);
}

bool DataStore::compact()
{
    if (!d->loaded)
        d->load();
    d->finishCompaction(true);
    d->startCompaction();
    return d->finishCompaction(true);
}

QString DataStore::defaultDirectory()
{
    const QByteArray dir = qgetenv("OM_DEVICE_DATA");
    if (!dir.isEmpty())
        return QString::fromLocal8Bit(dir);
    const QByteArray xdg = qgetenv("XDG_DATA_HOME");
    if (!xdg.isEmpty())
        return QString::fromLocal8Bit(xdg) + QLatin1String("/omdevice");
    return QDir::homePath() + QLatin1String("/.local/share/omdevice");
}

bool DataStore::makeDirectory(const QString &path, QString *error)
{
    const QString parent = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(parent)) {
        if (error)
            *error = QStringLiteral("%1: cannot be made").arg(parent);
        return false;
    }
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, errnoText(errno));
        return false;
    }
    // What the services keep is the user's own: a directory made by an
    // earlier version (0755) is closed too.
    struct stat info
    {
    };
    if (::stat(name.constData(), &info) == 0 && info.st_uid == ::geteuid() &&
        (info.st_mode & 07777) != 0700)
        ::chmod(name.constData(), 0700);
    return true;
}

} // namespace omdevice
