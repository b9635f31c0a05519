import QtQml 2.15
import om.platform 1.0

// Shows a dialog with two buttons and keeps the label the user chose.
QtObject {
    id: root
    property string chosen: ""
    property int outcome: NotificationResult.None
    property int finishedCount: 0
    property NotificationDialog dialog: NotificationDialog {
        title: "Keep the draft?"
        body: "asked from QML"
        SystemUiButton { label: "Keep" }
        SystemUiButton { label: "Discard" }
        onFinished: {
            root.finishedCount += 1
            root.outcome = dialog.result
            var button = dialog.buttonSelection()
            root.chosen = button ? button.label : ""
        }
    }
    function ask() { dialog.show() }
}
