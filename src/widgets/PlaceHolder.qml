import QtQuick
import QtQuick.Shapes
import Vornex.Style

/// Fills the place of a missing picture.
Shape {
    id: root

    ShapePath {
        strokeWidth: -1
        fillGradient: LinearGradient {
            x2: root.width
            y2: root.height
            GradientStop {
                position: 0
                color: Theme.faded(Theme.gray, 0.2)
            }
            GradientStop {
                position: 1
                color: Theme.faded(Theme.gray, 0.05)
            }
        }
        PathLine {
            x: root.width
        }
        PathLine {
            x: root.width
            y: root.height
        }
        PathLine {
            y: root.height
        }
    }
}
