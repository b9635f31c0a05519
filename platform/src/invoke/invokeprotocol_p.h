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
//
// The user side (the device's owner, for omctl), answered with "dat" or a
// reason in "err":
//   invocations  dat {last}  answered {invocations: [record], total}
//   clear                    answered {cleared}
//   targets                  answered {targets: [{name, actions, mimeTypes}]}
//   maps                     answered with what the maps application shows
//   watch                    then "changed" dat {what: "invocations"} after
//                            every invocation and clear

#include <om/omsys_export.h>
#include <om/system/invokerequest.h>

#include <QString>
#include <QVariantMap>

namespace om {
namespace system {
namespace invokeprotocol {

inline QString controlPath() { return QStringLiteral("/pps/services/invoke/control"); }
inline QString userSidePath() { return QStringLiteral("/pps/simulator/invoke"); }
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

// The user side.
inline QString invocationsMessage() { return QStringLiteral("invocations"); }
inline QString clearMessage() { return QStringLiteral("clear"); }
inline QString targetsMessage() { return QStringLiteral("targets"); }
inline QString mapsMessage() { return QStringLiteral("maps"); }
inline QString keyLast() { return QStringLiteral("last"); }
inline QString keyInvocations() { return QStringLiteral("invocations"); }
inline QString keyTotal() { return QStringLiteral("total"); }
inline QString keyCleared() { return QStringLiteral("cleared"); }
inline QString keyTargets() { return QStringLiteral("targets"); }
inline QString keyName() { return QStringLiteral("name"); }
inline QString keyActions() { return QStringLiteral("actions"); }
inline QString keyMimeTypes() { return QStringLiteral("mimeTypes"); }
// One recorded invocation: its fields as the request had them ("data"
// cut short in a listing), and "time" (ms since the epoch), "dataSize",
// "requestedTarget", the "target" that took it, "error" and "errorText".
inline QString keyTime() { return QStringLiteral("time"); }
inline QString keyDataSize() { return QStringLiteral("dataSize"); }
inline QString keyRequestedTarget() { return QStringLiteral("requestedTarget"); }
inline QString keyRecordError() { return QStringLiteral("error"); }
inline QString keyRecordErrorText() { return QStringLiteral("errorText"); }

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
