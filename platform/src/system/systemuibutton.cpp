#include <om/system/systemuibutton.h>

#include <QUuid>
#include <QVariant>

namespace om {
namespace system {

SystemUiButton::SystemUiButton(QObject *parent) : SystemUiButton(QString(), parent) {}

SystemUiButton::SystemUiButton(const QString &label, QObject *parent)
    : QObject(parent), m_label(label)
{
    setProperty("_om_ppsID", QUuid::createUuid().toString());
}

SystemUiButton::~SystemUiButton() = default;

QString SystemUiButton::label() const
{
    return m_label;
}

void SystemUiButton::setLabel(const QString &label)
{
    if (label == m_label)
        return;
    m_label = label;
    Q_EMIT labelChanged(m_label);
}

} // namespace system
} // namespace om
