#pragma once

#include "request.h"

#include <QCoroTask>

class QIODevice;

/// Does what was asked for; results go to the device, the outcome says the rest.
QCoro::Task<Outcome> carryOut(Request request, QIODevice *results);
