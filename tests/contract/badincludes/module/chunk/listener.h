#include "app/main.h"

#include <boost/asio.hpp>

#include <QtNetwork/QTcpSocket>
