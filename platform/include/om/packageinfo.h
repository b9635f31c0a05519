#ifndef OM_PACKAGEINFO_H
#define OM_PACKAGEINFO_H

#include <om/omsys_export.h>

#include <QObject>
#include <QString>

namespace om {

/** Facts about the running application's package. */
class OMSYS_EXPORT PackageInfo : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString name READ name CONSTANT)

public:
    explicit PackageInfo(QObject *parent = nullptr);
    ~PackageInfo() override;

    /** The package name: OM_PACKAGE_NAME if set, else the file name of the
     *  running executable. */
    QString name() const;
};

} // namespace om

#endif
