#pragma once

/// Puts the application into its dark appearance: the control style, the palette, the window icon. Between
/// the making of the QGuiApplication and the first QML file.
void applyAppearance();
