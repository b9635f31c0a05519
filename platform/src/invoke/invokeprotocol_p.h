#ifndef OM_SYSTEM_INVOKEPROTOCOL_P_H
#define OM_SYSTEM_INVOKEPROTOCOL_P_H

// The messages of the invocation service's control object, shared by the
// client (InvokeManager) and the device's service.
//
// Request:  msg::invoke  id::<n>  dat:json:{fields below}
// Answer:   res::invoke  id::<n>  dat:json:{"target":"<name>"}      taken
//           res::invoke  id::<n>  err:n:<code>  errstr::<text>     refused
//
// The request's fields are left out when empty or at their default; "data"
// is the payload in base64, "sender" the package name of the application.

#include <om/omsys_export.h>
#include <om/system/invokerequest.h>

#include <QString>
#include <QVariantMap>

namespace om {
namespace system {
namespace invokeprotocol {

inline QString controlPath() { return QStringLiteral("/pps/services/invoke/control"); }
inline QString invokeMessage() { return QStringLiteral("invoke"); }

inline QString keyTarget() { return QStringLiteral("target"); }
inline QString keyAction() { return QStringLiteral("action"); }
inline QString keyMimeType() { return QStringLiteral("mimeType"); }
inline QString keyUri() { return QStringLiteral("uri"); }
inline QString keyData() { return QStringLiteral("data"); }
inline QString keyFileTransferMode() { return QStringLiteral("fileTransferMode"); }
inline QString keyPerimeter() { return QStringLiteral("perimeter"); }
inline QString keyTargetTypes() { return QStringLiteral("targetTypes"); }
inline QString keyMetadata() { return QStringLiteral("metadata"); }
inline QString keySender() { return QStringLiteral("sender"); }
inline QString keyError() { return QStringLiteral("err"); }
inline QString keyErrorText() { return QStringLiteral("errstr"); }

/** The "dat" of a request. */
OMSYS_EXPORT QVariantMap encodeRequest(const InvokeRequest &request, const QString &sender);

/**
 * The request in a "dat", and its sender. False, with the reason in
 * *error, when a field has the wrong type or the data is not base64.
 */
OMSYS_EXPORT bool decodeRequest(const QVariantMap &dat, InvokeRequest *request, QString *sender,
                                QString *error);

} // namespace invokeprotocol
} // namespace system
} // namespace om

#endif
