#include "chunk/listener.h"
#include <http/missing.h>
