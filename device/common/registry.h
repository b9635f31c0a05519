#ifndef OMDEVICE_REGISTRY_H
#define OMDEVICE_REGISTRY_H

#include <QList>
#include <QString>

#include <algorithm>

namespace omdevice {

/**
 * The entries of one kind that register themselves while the program
 * starts, each from its own source file (omdeviced's modules, omctl's
 * commands), so that adding one never touches a shared list. An entry has
 * a "name".
 */
template <class Entry> class Registry
{
public:
    static void add(const Entry &entry) { entries().append(entry); }

    /** Every entry, sorted by name. */
    static QList<Entry> all()
    {
        QList<Entry> sorted = entries();
        std::sort(sorted.begin(), sorted.end(),
                  [](const Entry &a, const Entry &b) { return a.name < b.name; });
        return sorted;
    }

    /** The entry named @p name, or null. */
    static const Entry *find(const QString &name)
    {
        for (const Entry &entry : entries()) {
            if (entry.name == name)
                return &entry;
        }
        return nullptr;
    }

    /** Registers an entry where it is defined, as a static object. */
    struct Registrar
    {
        explicit Registrar(const Entry &entry) { add(entry); }
    };

private:
    static QList<Entry> &entries()
    {
        static QList<Entry> list;
        return list;
    }
};

} // namespace omdevice

#endif
