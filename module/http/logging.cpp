#include "http/logging.h"

Q_LOGGING_CATEGORY(controllerLog, "ch.brenlo.kavo-service.context.controller")
Q_LOGGING_CATEGORY(eventControllerLog, "ch.brenlo.kavo-service.context.eventcontroller")
