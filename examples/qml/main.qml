import QtQml 2.15
import om.platform 1.0

// Posts a notification, reads the device-wide notification mode, and ends.
QtObject {
    property Notification notification: Notification {
        title: "Hello from QML"
        body: "posted by omhello-qml"
    }
    property NotificationGlobalSettings settings: NotificationGlobalSettings {}

    Component.onCompleted: {
        var error = notification.notify()
        if (error !== NotificationError.None) {
            console.log("omhello-qml: notify() failed with error " + error)
            Qt.exit(1)
            return
        }
        console.log("omhello-qml: posted notification " + notification.key)
        var silent = settings.mode === NotificationMode.Silent
        console.log("omhello-qml: the device's notification mode is " + settings.mode
                    + (silent ? " (silent)" : ""))
        Qt.exit(settings.mode === NotificationMode.Unknown ? 1 : 0)
    }
}
