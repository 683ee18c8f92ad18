import QtQuick

/// A time as hours, minutes and whole seconds.
Text {
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
    font.pixelSize: 11
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
