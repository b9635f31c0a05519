// The QML module om.platform: every class of the library that QML can
// create, the enumeration classes (their enumerators by name, as in
// NotificationResult.Selected), the dialog's button type, and the classes
// QML meets as values (replies, the map invokers' base) without creating.

#include "defaultapplicationsettings.h"

#include <om/platform/adarpdomain.h>
#include <om/platform/cancelsubscriptionreply.h>
#include <om/platform/datalockstate.h>
#include <om/platform/devicelockstate.h>
#include <om/platform/digitalgoodreply.h>
#include <om/platform/digitalgoodstate.h>
#include <om/platform/existingpurchasesreply.h>
#include <om/platform/handsfreenavigation.h>
#include <om/platform/homescreen.h>
#include <om/platform/identity/identityservice.h>
#include <om/platform/identity/identityservicelogverbosity.h>
#include <om/platform/identity/identityservicepropertyresult.h>
#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/identityserviceresult.h>
#include <om/platform/identity/identityservicetokenresult.h>
#include <om/platform/identity/ombrelid.h>
#include <om/platform/identity/ombrelidassurancelevel.h>
#include <om/platform/identity/ombrelidchallengeflag.h>
#include <om/platform/identity/ombrelidchallengetype.h>
#include <om/platform/identity/ombrelidpropertytype.h>
#include <om/platform/identity/ombrelprofile.h>
#include <om/platform/identity/ombrelprofilecreatedataflag.h>
#include <om/platform/identity/ombrelprofiledeletedataflag.h>
#include <om/platform/identity/ombrelprofilegetdataflag.h>
#include <om/platform/identity/ombrelprofilelistdataflag.h>
#include <om/platform/identity/ombrelprofilenotification.h>
#include <om/platform/identity/ombrelprofilepropertytype.h>
#include <om/platform/identity/ombrelprofilesetdataflag.h>
#include <om/platform/identity/ombrelprofilesetnotificationflag.h>
#include <om/platform/locationmapinvoker.h>
#include <om/platform/mapinvoker.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/mapsearchmode.h>
#include <om/platform/maptransportationmode.h>
#include <om/platform/mapviewmode.h>
#include <om/platform/notification.h>
#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdialog.h>
#include <om/platform/notificationerror.h>
#include <om/platform/notificationglobalsettings.h>
#include <om/platform/notificationmode.h>
#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationprioritypolicy.h>
#include <om/platform/notificationresult.h>
#include <om/platform/notificationsettingserror.h>
#include <om/platform/notificationtype.h>
#include <om/platform/paymentconnectionmode.h>
#include <om/platform/paymenterrorcode.h>
#include <om/platform/paymentmanager.h>
#include <om/platform/paymentreply.h>
#include <om/platform/platforminfo.h>
#include <om/platform/pricereply.h>
#include <om/platform/purchasereply.h>
#include <om/platform/routemapinvoker.h>
#include <om/platform/subscriptionstatusreply.h>
#include <om/platform/subscriptiontermsreply.h>
#include <om/platform/typicalmapaltitude.h>
#include <om/platform/wallpaperlockstate.h>
#include <om/platform/wallpaperresult.h>
#include <om/system/systemuibutton.h>

#include <QQmlEngine>
#include <QQmlExtensionPlugin>

namespace {

const char *const MadeByLibrary = "made by the library, not created in QML";
const char *const EnumerationsOnly = "an enumeration class: use its enumerators";

template <class T> void enumeration(const char *uri, const char *name)
{
    qmlRegisterUncreatableMetaObject(T::staticMetaObject, uri, 1, 0, name,
                                     QLatin1String(EnumerationsOnly));
}

template <class T> void madeByLibrary(const char *uri, const char *name)
{
    qmlRegisterUncreatableType<T>(uri, 1, 0, name, QLatin1String(MadeByLibrary));
}

} // namespace

class OmPlatformQmlPlugin : public QQmlExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    void registerTypes(const char *uri) override
    {
        Q_ASSERT(QLatin1String(uri) == QLatin1String("om.platform"));
        using namespace om::platform;
        using namespace om::platform::identity;

        // Notifications, settings, home screen, maps, data lock, payments.
        // Notification's newer properties (iconUrl, type) are part of 1.0.
        qmlRegisterType<Notification, 1>(uri, 1, 0, "Notification");
        qmlRegisterType<AdarpDomain>(uri, 1, 0, "AdarpDomain");
        qmlRegisterType<HomeScreen>(uri, 1, 0, "HomeScreen");
        qmlRegisterType<LocationMapInvoker>(uri, 1, 0, "LocationMapInvoker");
        qmlRegisterType<NotificationApplicationSettings>(uri, 1, 0,
                                                         "NotificationApplicationSettings");
        qmlRegisterType<NotificationDialog>(uri, 1, 0, "NotificationDialog");
        qmlRegisterType<NotificationGlobalSettings>(uri, 1, 0, "NotificationGlobalSettings");
        qmlRegisterType<PaymentManager>(uri, 1, 0, "PaymentManager");
        qmlRegisterType<PlatformInfo>(uri, 1, 0, "PlatformInfo");
        qmlRegisterType<RouteMapInvoker>(uri, 1, 0, "RouteMapInvoker");
        qmlRegisterType<om::system::SystemUiButton>(uri, 1, 0, "SystemUiButton");
        qmlRegisterType<DefaultApplicationSettingsObject>(uri, 1, 0,
                                                          "NotificationDefaultApplicationSettings");
        madeByLibrary<MapInvoker>(uri, "MapInvoker");
        madeByLibrary<PaymentReply>(uri, "PaymentReply");
        madeByLibrary<DigitalGoodReply>(uri, "DigitalGoodReply");
        madeByLibrary<PurchaseReply>(uri, "PurchaseReply");
        madeByLibrary<ExistingPurchasesReply>(uri, "ExistingPurchasesReply");
        madeByLibrary<PriceReply>(uri, "PriceReply");
        madeByLibrary<SubscriptionTermsReply>(uri, "SubscriptionTermsReply");
        madeByLibrary<SubscriptionStatusReply>(uri, "SubscriptionStatusReply");
        madeByLibrary<CancelSubscriptionReply>(uri, "CancelSubscriptionReply");

        // Identity.
        qmlRegisterType<IdentityService>(uri, 1, 0, "IdentityService");
        qmlRegisterType<IdentityServiceProvider>(uri, 1, 0, "IdentityServiceProvider");
        qmlRegisterType<OmbrelId>(uri, 1, 0, "OmbrelId");
        qmlRegisterType<OmbrelProfile>(uri, 1, 0, "OmbrelProfile");

        // Enumeration classes.
        enumeration<DataLockState>(uri, "DataLockState");
        enumeration<DeviceLockState>(uri, "DeviceLockState");
        enumeration<DigitalGoodState>(uri, "DigitalGoodState");
        enumeration<HandsFreeNavigation>(uri, "HandsFreeNavigation");
        enumeration<MapNavigationMode>(uri, "MapNavigationMode");
        enumeration<MapSearchMode>(uri, "MapSearchMode");
        enumeration<MapTransportationMode>(uri, "MapTransportationMode");
        enumeration<MapViewMode>(uri, "MapViewMode");
        enumeration<NotificationError>(uri, "NotificationError");
        enumeration<NotificationMode>(uri, "NotificationMode");
        enumeration<NotificationPolicy>(uri, "NotificationPolicy");
        enumeration<NotificationPriorityPolicy>(uri, "NotificationPriorityPolicy");
        enumeration<NotificationResult>(uri, "NotificationResult");
        enumeration<NotificationSettingsError>(uri, "NotificationSettingsError");
        enumeration<NotificationType>(uri, "NotificationType");
        enumeration<PaymentConnectionMode>(uri, "PaymentConnectionMode");
        enumeration<PaymentErrorCode>(uri, "PaymentErrorCode");
        enumeration<TypicalMapAltitude>(uri, "TypicalMapAltitude");
        enumeration<WallpaperLockState>(uri, "WallpaperLockState");
        enumeration<WallpaperResult>(uri, "WallpaperResult");
        enumeration<IdentityServiceLogVerbosity>(uri, "IdentityServiceLogVerbosity");
        enumeration<IdentityServicePropertyResult>(uri, "IdentityServicePropertyResult");
        enumeration<IdentityServiceResult>(uri, "IdentityServiceResult");
        enumeration<IdentityServiceTokenResult>(uri, "IdentityServiceTokenResult");
        enumeration<OmbrelIdAssuranceLevel>(uri, "OmbrelIdAssuranceLevel");
        enumeration<OmbrelIdChallengeFlag>(uri, "OmbrelIdChallengeFlag");
        enumeration<OmbrelIdChallengeType>(uri, "OmbrelIdChallengeType");
        enumeration<OmbrelIdPropertyType>(uri, "OmbrelIdPropertyType");
        enumeration<OmbrelProfileCreateDataFlag>(uri, "OmbrelProfileCreateDataFlag");
        enumeration<OmbrelProfileDeleteDataFlag>(uri, "OmbrelProfileDeleteDataFlag");
        enumeration<OmbrelProfileGetDataFlag>(uri, "OmbrelProfileGetDataFlag");
        enumeration<OmbrelProfileListDataFlag>(uri, "OmbrelProfileListDataFlag");
        enumeration<OmbrelProfileNotification>(uri, "OmbrelProfileNotification");
        enumeration<OmbrelProfilePropertyType>(uri, "OmbrelProfilePropertyType");
        enumeration<OmbrelProfileSetDataFlag>(uri, "OmbrelProfileSetDataFlag");
        enumeration<OmbrelProfileSetNotificationFlag>(uri, "OmbrelProfileSetNotificationFlag");
    }
};

#include "omplatformplugin.moc"
