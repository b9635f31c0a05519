import QtQml 2.15
import om.platform 1.0

// Follows the device-wide notification mode, and changes the volume.
QtObject {
    id: root
    property NotificationGlobalSettings settings: NotificationGlobalSettings {
        onModeChanged: root.modeChanges += 1
    }
    property int mode: settings.mode
    property int modeChanges: 0
    function isSilent() { return settings.mode === NotificationMode.Silent }
}
