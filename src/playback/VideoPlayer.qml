import QtQuick
import Vornex.Engine

/// One channel's picture, clear of what moves around it.
VideoSurface {
    required property string name ///< for screen readers

    Accessible.role: Accessible.Graphic
    Accessible.name: name
}
