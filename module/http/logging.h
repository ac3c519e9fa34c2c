#pragma once

#include <QtCore/QLoggingCategory>

// The categories that more than one class of this folder writes to.

/// "ch.brenlo.kavo-service.context.controller": routing and plain access to contexts.
Q_DECLARE_LOGGING_CATEGORY(controllerLog)

/// "ch.brenlo.kavo-service.context.eventcontroller": both long polls.
Q_DECLARE_LOGGING_CATEGORY(eventControllerLog)
