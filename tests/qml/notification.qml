import QtQml 2.15
import om.platform 1.0

// Posts a notification, and removes it again, as a QML application would.
QtObject {
    id: root
    property Notification item: Notification {
        title: "Posted from QML"
        body: "by a QML document"
        type: NotificationType.PreviewOff
    }
    function post() { return item.notify() }
    function remove() { return item.deleteFromInbox() }
}
