// The library spells the names of the services' objects and messages in
// constants of its own; the device and omctl take them from the protocol
// headers of the platform. The two must not drift apart.

#include "control/controlprotocol_p.h"
#include "datalock/adarpdomain_p.h"
#include "homescreen/homescreen_p.h"
#include "notification/notificationssharedconstants.h"
#include "notify/notifyprotocol_p.h"
#include "oms/navigatorprotocol_p.h"
#include "perimeter/perimeterprotocol_p.h"
#include "settings/notificationglobalsettings_p.h"
#include "settings/settingscommon_p.h"

#include <QtTest>

using namespace om::platform;
namespace control = om::controlprotocol;
namespace notify = om::notifyprotocol;

namespace {
// "@name": how a client reads an object's answers.
QString objectNameOf(const QString &path)
{
    return QLatin1Char('@') + path.section(QLatin1Char('/'), -1);
}

QString waiting(const QString &path)
{
    return path + QLatin1String("?wait");
}
} // namespace

class tst_ProtocolNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void libraryMatchesProtocol_data();
    void libraryMatchesProtocol();
    void settingNames();
};

void tst_ProtocolNames::libraryMatchesProtocol_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QString>("protocol");
    const auto row = [](const char *tag, const QString &library, const QString &protocol) {
        QTest::newRow(tag) << library << protocol;
    };

    row("envelope msg", s_attributeMsg, control::keyMsg());
    row("envelope id", s_attributeId, control::keyId());
    row("envelope dat", s_attributeDat, control::keyDat());
    row("envelope res", s_attributeRes, control::keyRes());
    row("envelope err", s_attributeError, control::keyErr());

    row("notify control", s_servicesPath, notify::controlPath());
    row("notify control, waiting", s_notifyControlWaitPath, waiting(notify::controlPath()));
    row("settings control, waiting", PPS_NOTIFY_SETTINGS_CONTROL_PATH,
        waiting(notify::settingsControlPath()));
    row("@control", s_objectControl, objectNameOf(notify::controlPath()));
    row("@settings-control", s_objectSettingsControl, objectNameOf(notify::settingsControlPath()));
    row("notify", s_attributeMsgNotify, notify::notifyMessage());
    row("alert", s_attributeMsgAlert, notify::alertMessage());
    row("update", s_attributeMsgUpdate, notify::updateMessage());
    row("cancel", s_attributeMsgCancel, notify::cancelMessage());
    row("delete", s_attributeMsgDelete, notify::deleteMessage());
    row("choice", s_attributeMsgChoice, notify::choiceMessage());
    row("query", s_attributeMsgQuery, notify::queryMessage());
    row("monitorSettings", s_attributeMsgMonitorSettings, notify::monitorSettingsMessage());
    row("registerSettings", s_attributeMsgRegisterSettings, notify::registerSettingsMessage());
    row("updateGlobalSettings", s_attributeMsgUpdateGlobalSettings,
        notify::updateGlobalSettingsMessage());
    row("updateState", s_attributeMsgUpdateState, notify::updateStateMessage());
    row("itemId", s_attributeItemId, notify::keyItemId());
    row("title", s_attributeTitle, notify::keyTitle());
    row("body", s_attributeBody, notify::keyBody());
    row("timestamp", s_attributeTimestamp, notify::keyTimestamp());
    row("category", s_attributeCategory, notify::keyCategory());
    row("buttons", s_attributeButtons, notify::keyButtons());
    row("button label", s_attributeButtonLabel, notify::keyButtonLabel());
    row("button context", s_attributeButtonId, notify::keyButtonContext());
    row("repeating", s_attributeRepeating, notify::keyRepeating());
    row("repeating on", s_attributeRepeatingOn, notify::repeatingOn());
    row("name", s_attributeName, notify::keyName());
    row("key", s_attributeKey, notify::keyKey());
    row("value", s_attributeValue, notify::keyValue());
    row("mode", s_attributeMode, notify::keyMode());
    row("global", s_attributeQueryTypeGlobal, notify::globalName());

    row("navigator state", NAVIGATOR_STATE_PPS_PATH, om::navigatorprotocol::statePath());
    row("perimeter state, waiting", AdarpDomainPrivate::StatePath,
        waiting(om::perimeterprotocol::statePath()));
    row("perimeter control, waiting", AdarpDomainPrivate::ControlPath,
        waiting(om::perimeterprotocol::controlPath()));
}

void tst_ProtocolNames::libraryMatchesProtocol()
{
    QFETCH(QString, library);
    QFETCH(QString, protocol);
    QCOMPARE(library, protocol);
}

void tst_ProtocolNames::settingNames()
{
    QCOMPARE(notify::globalSettings(),
             (QStringList{s_attributeSound, s_attributeVibrate, s_attributeLed, s_attributePreview,
                          s_attributeVolume, s_attributeMode}));
    QCOMPARE(notify::applicationSettings(),
             (QStringList{s_attributeAlerts, s_attributeSound, s_attributeVibrate, s_attributeLed,
                          s_attributePreview, s_attributeVibrateCount, s_attributeTone}));
}

QTEST_GUILESS_MAIN(tst_ProtocolNames)
#include "tst_protocolnames.moc"
