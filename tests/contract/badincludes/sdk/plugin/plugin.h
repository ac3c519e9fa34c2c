#include "plugin/plugin.h"
#include <memory>
