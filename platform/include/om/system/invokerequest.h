#ifndef OM_SYSTEM_INVOKEREQUEST_H
#define OM_SYSTEM_INVOKEREQUEST_H

#include <om/omsys_export.h>
#include <om/system/filetransfermode.h>
#include <om/system/invoketarget.h>
#include <om/system/securityperimeter.h>

#include <QByteArray>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

namespace om {
namespace system {

class InvokeRequestPrivate;

/**
 * A request to the invocation framework: what to do (action), with what
 * (MIME type and data, or a URI), and to whom (target, target types).
 * A value type; copies share their data until one of them changes.
 */
class OMSYS_EXPORT InvokeRequest
{
public:
    InvokeRequest();
    InvokeRequest(const InvokeRequest &other);
    InvokeRequest &operator=(const InvokeRequest &other);
    ~InvokeRequest();

    bool operator==(const InvokeRequest &other) const;
    bool operator!=(const InvokeRequest &other) const { return !(*this == other); }

    QString target() const;
    void setTarget(const QString &target);

    QString action() const;
    void setAction(const QString &action);

    QString mimeType() const;
    void setMimeType(const QString &mimeType);

    QUrl uri() const;
    void setUri(const QUrl &uri);
    void setUri(const QString &uri);

    QByteArray data() const;
    void setData(const QByteArray &data);

    FileTransferMode::Type fileTransferMode() const;
    void setFileTransferMode(FileTransferMode::Type mode);

    SecurityPerimeter::Type perimeter() const;
    void setPerimeter(SecurityPerimeter::Type perimeter);

    InvokeTarget::Types targetTypes() const;
    void setTargetTypes(InvokeTarget::Types types);

    QVariantMap metadata() const;
    void setMetadata(const QVariantMap &metadata);

private:
    QSharedDataPointer<InvokeRequestPrivate> d;
};

} // namespace system
} // namespace om

Q_DECLARE_METATYPE(om::system::InvokeRequest)

#endif
