// The settings omdeviced's modules declare, and the checks of --set values
// against them.

#include "common/servicemodule.h"

#include <QStringList>

namespace omdevice {

std::function<QString(const QString &)> Setting::wholeNumber(qint64 min, qint64 max)
{
    return [min, max](const QString &value) {
        bool ok = false;
        const qint64 number = value.toLongLong(&ok);
        if (ok && number >= min && number <= max)
            return QString();
        return QStringLiteral("a whole number from %1 to %2").arg(min).arg(max);
    };
}

std::function<QString(const QString &)> Setting::fileMode()
{
    return [](const QString &value) {
        bool ok = false;
        const int mode = value.toInt(&ok, 8);
        if (ok && mode >= 0 && mode <= 0777)
            return QString();
        return QStringLiteral("a file mode as an octal number from 0 to 0777, such as 0600");
    };
}

std::function<QString(const QString &)> Setting::nameList()
{
    return [](const QString &value) {
        const QStringList names = value.split(QLatin1Char(','));
        for (const QString &name : names) {
            if (name.trimmed().isEmpty())
                return QStringLiteral("a comma-separated list of names, none of them empty");
        }
        return QString();
    };
}

std::function<QString(const QString &)> Setting::text()
{
    return [](const QString &value) {
        return value.isEmpty() ? QStringLiteral("text that is not empty") : QString();
    };
}

ModuleSettings::ModuleSettings(const char *help)
{
    const QStringList lines = QString::fromUtf8(help).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const int eq = line.indexOf(QLatin1Char('='));
        if (line.isEmpty() || line.at(0).isSpace() || eq <= 0) {
            // The further line of the previous setting's meaning.
            if (!m_settings.isEmpty())
                m_settings.last().help += QLatin1Char('\n') + line.trimmed();
            continue;
        }
        const QString rest = line.mid(eq + 1);
        const int gap = rest.indexOf(QLatin1Char(' '));
        const QString valueName = gap < 0 ? rest : rest.left(gap);
        const QString meaning = gap < 0 ? QString() : rest.mid(gap).trimmed();
        m_settings.append(Setting{line.left(eq), valueName, meaning, nullptr});
    }
}

const Setting *findSetting(const QString &key)
{
    static const QList<ModuleInfo> modules = ModuleRegistry::all();
    for (const ModuleInfo &module : modules) {
        for (const Setting &setting : module.settings) {
            if (setting.key == key)
                return &setting;
        }
    }
    return nullptr;
}

QString checkSetting(const QString &key, const QString &value)
{
    const Setting *setting = findSetting(key);
    if (!setting) {
        QStringList keys;
        for (const ModuleInfo &module : ModuleRegistry::all()) {
            for (const Setting &known : module.settings)
                keys.append(known.key);
        }
        keys.sort();
        return QStringLiteral("unknown setting '%1'; the settings are %2").arg(key, keys.join(QLatin1String(", ")));
    }
    if (!setting->check)
        return QString();
    const QString valid = setting->check(value);
    if (valid.isEmpty())
        return QString();
    return QStringLiteral("%1 takes %2, not '%3'").arg(key, valid, value);
}

} // namespace omdevice
