#include "deviceprocess.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QtTest>

#include <memory>

using omtest::DeviceProcess;

namespace {

QString omctlOut(const QStringList &arguments)
{
    const DeviceProcess::Result result = DeviceProcess::omctl(arguments);
    return result.exitCode == 0 ? QString::fromUtf8(result.out)
                                : QStringLiteral("omctl failed: ") + QString::fromUtf8(result.err);
}

// The id of the first dialog on screen, as "omctl dialogs" lists it.
QString dialogOnScreen()
{
    const QStringList lines = omctlOut({QStringLiteral("dialogs")}).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1Char('{')))
            return line.section(QLatin1Char(' '), 0, 0);
    }
    return QString();
}

} // namespace

class tst_QmlModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void creatableTypes_data();
    void creatableTypes();
    void madeByTheLibraryOnly_data();
    void madeByTheLibraryOnly();
    void enumerationsByName_data();
    void enumerationsByName();

    void notificationReachesTheInbox();
    void settingFollowsTheUser();
    void dialogAnsweredWithOmctl();

private:
    // Creates the root object of @p document (a file name in the
    // documents' directory, or QML text), or fails the test.
    QObject *create(const QString &document);
    // The errors of a component that cannot be created from @p qml.
    QString errorsOf(const QByteArray &qml);

    std::unique_ptr<DeviceProcess> m_device;
    std::unique_ptr<QQmlEngine> m_engine;
    std::vector<std::unique_ptr<QObject>> m_objects;
};

void tst_QmlModule::init()
{
    qputenv("OM_PACKAGE_NAME", "com.example.qml");
    m_device.reset(new DeviceProcess);
    QVERIFY(m_device->start());
    m_engine.reset(new QQmlEngine);
    m_engine->addImportPath(QStringLiteral(OM_QML_IMPORT_DIR));
}

void tst_QmlModule::cleanup()
{
    m_objects.clear();
    m_engine.reset();
    m_device.reset();
}

QObject *tst_QmlModule::create(const QString &document)
{
    QQmlComponent component(m_engine.get());
    if (document.endsWith(QLatin1String(".qml")))
        component.loadUrl(QUrl::fromLocalFile(QStringLiteral(OM_QML_DOCUMENTS "/") + document));
    else
        component.setData(document.toUtf8(), QUrl(QStringLiteral("inline.qml")));
    QObject *object = component.create();
    if (!object)
        qWarning().noquote() << component.errorString();
    m_objects.emplace_back(object);
    return object;
}

QString tst_QmlModule::errorsOf(const QByteArray &qml)
{
    QQmlComponent component(m_engine.get());
    component.setData(qml, QUrl(QStringLiteral("inline.qml")));
    if (component.isError())
        return component.errorString();
    std::unique_ptr<QObject> object(component.create());
    return object ? QString() : component.errorString();
}

void tst_QmlModule::creatableTypes_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("className");
    const QList<QPair<const char *, const char *>> types{
        {"Notification", "om::platform::Notification"},
        {"NotificationDialog", "om::platform::NotificationDialog"},
        {"SystemUiButton", "om::system::SystemUiButton"},
        {"NotificationGlobalSettings", "om::platform::NotificationGlobalSettings"},
        {"NotificationApplicationSettings", "om::platform::NotificationApplicationSettings"},
        {"NotificationDefaultApplicationSettings",
         "om::platform::DefaultApplicationSettingsObject"},
        {"HomeScreen", "om::platform::HomeScreen"},
        {"PlatformInfo", "om::platform::PlatformInfo"},
        {"LocationMapInvoker", "om::platform::LocationMapInvoker"},
        {"RouteMapInvoker", "om::platform::RouteMapInvoker"},
        {"AdarpDomain", "om::platform::AdarpDomain"},
        {"PaymentManager", "om::platform::PaymentManager"},
        {"IdentityService", "om::platform::identity::IdentityService"},
        {"IdentityServiceProvider", "om::platform::identity::IdentityServiceProvider"},
        {"OmbrelId", "om::platform::identity::OmbrelId"},
        {"OmbrelProfile", "om::platform::identity::OmbrelProfile"},
    };
    for (const auto &type : types)
        QTest::newRow(type.first) << QString::fromLatin1(type.first) << QByteArray(type.second);
}

void tst_QmlModule::creatableTypes()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, className);
    QObject *object = create(QStringLiteral("import om.platform 1.0\n%1 {}\n").arg(type));
    QVERIFY(object);
    QCOMPARE(QByteArray(object->metaObject()->className()), className);
}

void tst_QmlModule::madeByTheLibraryOnly_data()
{
    QTest::addColumn<QString>("type");
    for (const char *type : {"MapInvoker", "PaymentReply", "PurchaseReply", "PriceReply",
                             "ExistingPurchasesReply", "SubscriptionTermsReply",
                             "SubscriptionStatusReply", "CancelSubscriptionReply",
                             "NotificationError"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void tst_QmlModule::madeByTheLibraryOnly()
{
    // Known to QML, so that properties and replies of these types work, but
    // not made by a document.
    QFETCH(QString, type);
    const QString errors =
        errorsOf(QStringLiteral("import om.platform 1.0\n%1 {}\n").arg(type).toUtf8());
    QVERIFY2(errors.contains(QLatin1String("made by the library")) ||
                 errors.contains(QLatin1String("an enumeration class")),
             qPrintable(errors));
}

void tst_QmlModule::enumerationsByName_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<int>("value");
    QTest::newRow("NotificationError") << "NotificationError.ServiceUnavailable" << 4;
    QTest::newRow("NotificationType") << "NotificationType.HubOff" << 3;
    QTest::newRow("NotificationResult") << "NotificationResult.ButtonSelection" << 2;
    QTest::newRow("NotificationMode") << "NotificationMode.PhoneOnly" << 4;
    QTest::newRow("NotificationPolicy") << "NotificationPolicy.Allow" << 1;
    QTest::newRow("NotificationSettingsError")
        << "NotificationSettingsError.ServiceUnavailable" << 4;
    QTest::newRow("DeviceLockState") << "DeviceLockState.PinBlocked" << 4;
    QTest::newRow("DataLockState") << "DataLockState.DataLocked" << 2;
    QTest::newRow("MapTransportationMode") << "MapTransportationMode.Pedestrian" << 2;
    QTest::newRow("PaymentErrorCode") << "PaymentErrorCode.NoNetwork" << 8;
    QTest::newRow("IdentityServiceResult") << "IdentityServiceResult.InvalidParameter" << 22;
}

void tst_QmlModule::enumerationsByName()
{
    QFETCH(QString, expression);
    QFETCH(int, value);
    QObject *object = create(
        QStringLiteral("import QtQml 2.15\nimport om.platform 1.0\nQtObject { property int v: %1 }\n")
            .arg(expression));
    QVERIFY(object);
    QCOMPARE(object->property("v").toInt(), value);
}

void tst_QmlModule::notificationReachesTheInbox()
{
    QObject *root = create(QStringLiteral("notification.qml"));
    QVERIFY(root);
    QVariant error;
    QVERIFY(QMetaObject::invokeMethod(root, "post", Q_RETURN_ARG(QVariant, error)));
    QCOMPARE(error.toInt(), 0); // NotificationError.None
    const QString inbox = omctlOut({QStringLiteral("notifications")});
    QVERIFY2(inbox.contains(QLatin1String("com.example.qml")), qPrintable(inbox));
    QVERIFY2(inbox.contains(QLatin1String("title:    Posted from QML")), qPrintable(inbox));

    QVERIFY(QMetaObject::invokeMethod(root, "remove", Q_RETURN_ARG(QVariant, error)));
    QCOMPARE(error.toInt(), 0);
    QTRY_VERIFY(!omctlOut({QStringLiteral("notifications")}).contains(QLatin1String("Posted from QML")));
}

void tst_QmlModule::settingFollowsTheUser()
{
    QObject *root = create(QStringLiteral("settings.qml"));
    QVERIFY(root);
    QCOMPARE(root->property("mode").toInt(), 3); // the device starts "normal"
    QVariant silent;
    QVERIFY(QMetaObject::invokeMethod(root, "isSilent", Q_RETURN_ARG(QVariant, silent)));
    QCOMPARE(silent.toBool(), false);

    QCOMPARE(omctlOut({QStringLiteral("settings"), QStringLiteral("global"), QStringLiteral("mode"),
                       QStringLiteral("silent")}),
             QStringLiteral("global mode silent\n"));
    QTRY_COMPARE(root->property("mode").toInt(), 1);
    QCOMPARE(root->property("modeChanges").toInt(), 1);
    QVERIFY(QMetaObject::invokeMethod(root, "isSilent", Q_RETURN_ARG(QVariant, silent)));
    QCOMPARE(silent.toBool(), true);
}

void tst_QmlModule::dialogAnsweredWithOmctl()
{
    QObject *root = create(QStringLiteral("dialog.qml"));
    QVERIFY(root);
    QVERIFY(QMetaObject::invokeMethod(root, "ask"));
    QString id;
    QTRY_VERIFY(!(id = dialogOnScreen()).isEmpty());
    const QString listed = omctlOut({QStringLiteral("dialogs")});
    QVERIFY2(listed.contains(QLatin1String("title:    Keep the draft?")), qPrintable(listed));
    QVERIFY2(listed.contains(QLatin1String("button:   Discard")), qPrintable(listed));

    QVERIFY(omctlOut({QStringLiteral("choose"), id, QStringLiteral("Discard")})
                .startsWith(QLatin1String("chose 'Discard'")));
    QTRY_COMPARE(root->property("chosen").toString(), QStringLiteral("Discard"));
    QCOMPARE(root->property("outcome").toInt(), 2); // NotificationResult.ButtonSelection
    // One handler call, though the signal comes in two forms.
    QCOMPARE(root->property("finishedCount").toInt(), 1);
    QCOMPARE(dialogOnScreen(), QString());
}

QTEST_GUILESS_MAIN(tst_QmlModule)
#include "tst_qmlmodule.moc"
