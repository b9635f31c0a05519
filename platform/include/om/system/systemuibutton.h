#ifndef OM_SYSTEM_SYSTEMUIBUTTON_H
#define OM_SYSTEM_SYSTEMUIBUTTON_H

#include <om/omsys_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace system {

/**
 * A button of a prompt that the system shows on an application's behalf.
 * Each button gets a unique id when it is made, in its dynamic property
 * "_om_ppsID", by which the system tells which button the user pressed.
 */
class OMSYS_EXPORT SystemUiButton : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString label READ label WRITE setLabel NOTIFY labelChanged FINAL)

public:
    explicit SystemUiButton(QObject *parent = nullptr);
    explicit SystemUiButton(const QString &label, QObject *parent = nullptr);
    ~SystemUiButton() override;

    QString label() const;
    void setLabel(const QString &label);

Q_SIGNALS:
    void labelChanged(const QString &label);

private:
    QString m_label;
};

} // namespace system
} // namespace om

#endif
