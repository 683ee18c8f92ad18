import QtQuick
import QtQuick.Controls
import Vornex.Style

/// A time as hours, minutes and whole seconds.
Label {
    required property real seconds

    function timeText(seconds: real): string {
        const whole = Number.isFinite(seconds) ? Math.trunc(seconds) : 0;
        const hours = Math.trunc(whole / 3600);
        const minutes = Math.trunc(whole % 3600 / 60);
        return twoDigits(hours) + ":" + twoDigits(minutes) + ":" + twoDigits(whole % 60);
    }
    function twoDigits(number: real): string {
        return String(number).padStart(2, "0");
    }

    text: timeText(seconds)
    horizontalAlignment: Text.AlignHCenter
    font.pixelSize: Theme.footnoteSize
}
