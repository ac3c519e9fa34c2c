#include "system/settings.h"
#include <boost/asio.hpp>
