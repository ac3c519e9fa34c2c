#include "common/missing.h"
#include "system/settings.h"
