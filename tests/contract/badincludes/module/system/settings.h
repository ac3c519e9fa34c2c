#include "http/routes.h"
#include <QtCore/QString>
