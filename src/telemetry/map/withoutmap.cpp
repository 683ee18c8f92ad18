#include "mapengine.h"

bool MapEngine::isAvailable() { return false; }

void MapEngine::prepare() { }

void MapEngine::restrict(QObject *, const QString &) { }
