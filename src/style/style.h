#pragma once

/// Makes Qt's controls look as this module draws them, whatever the desktop asks for. Before the first QML
/// file.
void applyStyle();
