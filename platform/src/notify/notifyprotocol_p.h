#ifndef OM_NOTIFYPROTOCOL_P_H
#define OM_NOTIFYPROTOCOL_P_H

// The notification service's objects and messages, shared by the device's
// service and omctl; the library spells the same names in its own
// constants, which a test holds to these.
//
// On the control object (any application):
//   notify  dat {itemId, title, subtitle, ...}   answered dat {itemId}
//   cancel  dat {itemId}?                        not answered
//   delete  dat {itemId}?                        not answered
//   alert   id, dat {itemId, promptChoices}      answered; later "choice"
//   update  id, dat {itemId, promptChoices}      not answered
//   cancel  id, dat {itemId}                     takes a dialog down
//   query / monitorSettings / registerSettings  dat {name, type?}
// On the settings control object (privileged clients):
//   updateGlobalSettings dat {<setting>: value},  updateState dat {key, value}
// On the user side (the device's owner, for omctl):
//   inbox / dialogs  dat {from | last}  answered {items | dialogs, total}
//   choose           dat {dialog, button}
//   open             dat {application, itemId}  answered {invoked?}: the
//                    user opens an item, which runs its invocation
//   clearEffects / remove  dat {application, itemId?}  answered {}
//   watch            then "changed" dat {what: inbox | dialogs}
// On the settings' user side: list, setGlobal, setApplication.

#include <QString>
#include <QStringList>

namespace om {
namespace notifyprotocol {

// One name a line, as a table.
// clang-format off

inline QString controlPath() { return QStringLiteral("/pps/services/notify/control"); }
inline QString settingsControlPath()
{ return QStringLiteral("/pps/services/notify/settings-control"); }
inline QString userSidePath() { return QStringLiteral("/pps/simulator/notifications"); }
inline QString settingsUserSidePath()
{ return QStringLiteral("/pps/simulator/notification-settings"); }

// The control object.
inline QString notifyMessage() { return QStringLiteral("notify"); }
inline QString cancelMessage() { return QStringLiteral("cancel"); }
inline QString deleteMessage() { return QStringLiteral("delete"); }
inline QString alertMessage() { return QStringLiteral("alert"); }
inline QString updateMessage() { return QStringLiteral("update"); }
inline QString choiceMessage() { return QStringLiteral("choice"); }
inline QString queryMessage() { return QStringLiteral("query"); }
inline QString monitorSettingsMessage() { return QStringLiteral("monitorSettings"); }
inline QString registerSettingsMessage() { return QStringLiteral("registerSettings"); }
inline QString settingsChangedMessage() { return QStringLiteral("settingsChanged"); }
// The settings control object.
inline QString updateGlobalSettingsMessage() { return QStringLiteral("updateGlobalSettings"); }
inline QString updateStateMessage() { return QStringLiteral("updateState"); }
// The user side.
inline QString inboxMessage() { return QStringLiteral("inbox"); }
inline QString dialogsMessage() { return QStringLiteral("dialogs"); }
inline QString chooseMessage() { return QStringLiteral("choose"); }
// Following the service: after "follow" the user's side writes "event"
// messages, dat {"event": one of the names below, and what it concerns}.
inline QString followMessage() { return QStringLiteral("follow"); }
inline QString eventMessage() { return QStringLiteral("event"); }
inline QString keyEvent() { return QStringLiteral("event"); }
inline QString eventPosted() { return QStringLiteral("posted"); }
inline QString eventCleared() { return QStringLiteral("cleared"); }
inline QString eventRemoved() { return QStringLiteral("removed"); }
inline QString eventDialogShown() { return QStringLiteral("dialogShown"); }
inline QString eventDialogEnded() { return QStringLiteral("dialogEnded"); }
inline QString eventSettings() { return QStringLiteral("settings"); }
inline QString keyScope() { return QStringLiteral("scope"); }
inline QString openMessage() { return QStringLiteral("open"); }
inline QString clearEffectsMessage() { return QStringLiteral("clearEffects"); }
inline QString removeMessage() { return QStringLiteral("remove"); }
// The settings' user side.
inline QString listMessage() { return QStringLiteral("list"); }
inline QString setGlobalMessage() { return QStringLiteral("setGlobal"); }
inline QString setApplicationMessage() { return QStringLiteral("setApplication"); }

// An item or a dialog, as the application sends it.
inline QString keyItemId() { return QStringLiteral("itemId"); }
inline QString keyTitle() { return QStringLiteral("title"); }
inline QString keyBody() { return QStringLiteral("subtitle"); }
inline QString keyTimestamp() { return QStringLiteral("timestamp"); }
inline QString keyCategory() { return QStringLiteral("type"); }
inline QString keyButtons() { return QStringLiteral("promptChoices"); }
inline QString keyIcon() { return QStringLiteral("iconUrl"); }
// The invocation that opening an item runs.
inline QString keyInvokeTarget() { return QStringLiteral("target"); }
inline QString keyInvokeAction() { return QStringLiteral("targetAction"); }
inline QString keyInvokeData() { return QStringLiteral("payload"); }
inline QString keyInvokeUri() { return QStringLiteral("payloadURI"); }
inline QString keyInvokeMimeType() { return QStringLiteral("payloadType"); }
// Categories that stand for how an item alerts.
inline QString categoryHubOnly() { return QStringLiteral("uib_only"); }
inline QString categoryHubSilent() { return QStringLiteral("uib_silent"); }
inline QString categoryPreviewOnly() { return QStringLiteral("preview_only"); }
inline QString keyButtonLabel() { return QStringLiteral("label"); }
inline QString keyButtonContext() { return QStringLiteral("context"); }
inline QString keyRepeating() { return QStringLiteral("repeating"); }
inline QString repeatingOn() { return QStringLiteral("on"); }

// Settings requests and answers.
inline QString keyName() { return QStringLiteral("name"); }
inline QString keyType() { return QStringLiteral("type"); }
inline QString keyKey() { return QStringLiteral("key"); }
inline QString keyValue() { return QStringLiteral("value"); }
inline QString keyMode() { return QStringLiteral("mode"); }
/** The "name" of the global settings. */
inline QString globalName() { return QStringLiteral("global"); }
/** The global settings, in the order a listing shows them. */
inline QStringList globalSettings()
{
    return {QStringLiteral("sound"),   QStringLiteral("vibrate"), QStringLiteral("led"),
            QStringLiteral("preview"), QStringLiteral("volume"),  QStringLiteral("mode")};
}
/** The settings of an application, in the order a listing shows them. */
inline QStringList applicationSettings()
{
    return {QStringLiteral("alerts"),  QStringLiteral("sound"),     QStringLiteral("vibrate"),
            QStringLiteral("led"),     QStringLiteral("preview"),   QStringLiteral("vib_count"),
            QStringLiteral("tone")};
}

// The user side's listings: "from" asks for entries from that place on;
// an answer holds a page of them and the "total".
inline QString keyFrom() { return QStringLiteral("from"); }
inline QString keyLast() { return QStringLiteral("last"); }
/** "open": the target that took the item's invocation. */
inline QString keyInvoked() { return QStringLiteral("invoked"); }
inline QString keyTotal() { return QStringLiteral("total"); }
inline QString keyItems() { return QStringLiteral("items"); }
// The user side's inbox: application -> items the inbox cap dropped.
inline QString keyDropped() { return QStringLiteral("dropped"); }
inline QString keyDialogs() { return QStringLiteral("dialogs"); }
inline QString keyApplication() { return QStringLiteral("application"); }
inline QString keyAttributes() { return QStringLiteral("attributes"); }
inline QString keyReceived() { return QStringLiteral("received"); }
inline QString keyUpdated() { return QStringLiteral("updated"); }
inline QString keyEffectsCleared() { return QStringLiteral("effectsCleared"); }
inline QString keyShown() { return QStringLiteral("shown"); }
inline QString keyContent() { return QStringLiteral("content"); }
/** Set on an entry too large for one answer, which is shown shortened. */
inline QString keyTruncated() { return QStringLiteral("truncated"); }
// "choose": the dialog (an id or its start) and the button (a context or
// a label).
inline QString keyDialog() { return QStringLiteral("dialog"); }
inline QString keyButton() { return QStringLiteral("button"); }
// "list": the global settings, and per application its "settings" and
// where each comes from ("sources").
inline QString keyApplications() { return QStringLiteral("applications"); }
inline QString keySettings() { return QStringLiteral("settings"); }
inline QString keySources() { return QStringLiteral("sources"); }

// clang-format on

} // namespace notifyprotocol
} // namespace om

#endif
